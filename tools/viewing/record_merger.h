// The records of many log files as one stream, in the order of their times.
//
// A record reaches its file only some moments after its stamp. So a record waits until it is 250 ms
// old, by its stamp or by the time when its bytes were found, and until all files have been read to
// their ends after that. Within a file the order is that of its bytes; equal times are ordered by
// date and number of the files. A record that is written more than 250 ms after its stamp may come
// late.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "log_reader.h"

namespace trace
{

class RecordMerger
{
public:
    static constexpr std::chrono::milliseconds wait{250};

    // The next sweep looks for the reader's records.
    void add(std::shared_ptr<LogReader> reader)
    {
        reader->set_turn(m_added++);
        m_idle.push_back(std::move(reader));
    }

    // Looks at all files whose ends had been reached; to be called again and again. Records that
    // are too young now wait for the next call.
    void sweep(const Moment& now);

    // The next record, false if none may be returned yet.
    bool next(Record& record, const Moment& now);

    // The reader of the record that next has returned last.
    const std::shared_ptr<LogReader>& giver() const { return m_giver; }

    // The files are not followed any more. reads: they are still read to their ends.
    void finish(bool reads);

    // Paths of all files that may have further records.
    std::set<std::string> paths() const;

    // Whether no record with a time up to this one is left, as far as known.
    bool is_past(Time time) const;

    // The failures since the last call, in words for people. A file with a failure is tried again,
    // and the failure is reported only once while it lasts.
    std::deque<std::string> take_problems() { return std::exchange(m_problems, {}); }
    // The files that have gone and have given their last record since the last call.
    std::vector<std::shared_ptr<LogReader>> take_done() { return std::exchange(m_done, {}); }
    // Whether the last try failed.
    bool has_failed(const std::shared_ptr<LogReader>& reader) const
    {
        return m_failed.contains(reader);
    }

private:
    using Reader = std::shared_ptr<LogReader>;
    struct Earlier
    {
        bool operator()(const Reader& a, const Reader& b) const;
    };

    struct Failed
    {
        std::string problem;
        std::chrono::steady_clock::time_point retry;
    };

    bool is_free(const LogReader& reader) const;
    bool look(const Reader& reader, const Moment& now, LogReader::Head& head);
    void place(const Reader& reader, LogReader::Head head, const Moment& now);
    void note_done(const Reader& reader);
    void limit_open_idle();

    std::set<Reader, Earlier> m_heads; // with a record
    std::set<Reader, Earlier> m_open;  // those of them that are open
    std::vector<Reader> m_idle;        // read to their ends, or not to be read now
    std::map<Reader, Failed> m_failed; // those of them that couldn't be read
    std::vector<Reader> m_done;
    size_t m_added = 0;
    size_t m_open_idle = 0; // about how many in m_idle are open
    Reader m_giver;
    Moment m_swept{};
    bool m_follows = true;
    std::deque<std::string> m_problems;
};

} // namespace trace
