// Log files as a source: the records of all files of the inputs as one stream, in the order of
// their times (record_merger.h), cut by the rules of record_cutter.h. Files that come later are
// included.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "log_bounds.h"
#include "log_inputs.h"
#include "record_merger.h"
#include "source.h"

namespace trace
{

class LogSource : public Source
{
public:
    // Called for each file before it is read, so that the caller can resume it.
    using Begin = std::function<void(LogReader& reader, const Moment& now)>;

    // Called when a file that was removed or replaced has returned its last record. is_replaced:
    // the path names another file, of which no record was read yet; otherwise no file was found
    // there.
    using End = std::function<void(const std::string& path, bool is_replaced)>;

    // Failure if an input can't be read. moment: the clocks; tests have their own.
    explicit LogSource(LogInputs inputs, LogBounds bounds = {},
                       MomentSource moment = current_moment, Begin begin = {}, End end = {});

    bool next(Record& record, unsigned milliseconds) override;
    bool ended() const override;
    void stop() override; // reads no more: a log may be long
    std::string what() const override { return m_inputs.what(); }

    bool has_files() const { return !m_files.empty(); } // at the last look

    // Paths of the files that existed at the last look, and of removed ones that are not read to
    // their ends yet.
    std::set<std::string> read_paths() const;

    // The reader of the record that next has returned last; null for reports that belong to no
    // file.
    const LogReader* giver() const { return m_giver.get(); }

private:
    using Reader = std::shared_ptr<LogReader>;

    void sweep(const Moment& now);
    std::vector<Reader> look_for_files(const Moment& now);
    void lose(const Reader& reader);
    void note_done();
    void take_problems();
    void note_end(const Moment& now);
    bool take(Record& record, const Moment& now);
    bool is_wanted(const Record& record) const;

    LogInputs m_inputs;
    LogBounds m_bounds;
    MomentSource m_moment;
    Begin m_begin;
    End m_end;
    Reader m_giver;
    RecordMerger m_merger;
    std::map<std::string, Reader> m_files; // by path
    std::deque<Record> m_ready;
    std::string m_problem; // that was reported last
    std::chrono::steady_clock::time_point m_next_sweep{};
    bool m_is_first = true;
    bool m_stopped = false;
    bool m_is_over = false; // all records within the bounds were returned
};

} // namespace trace
