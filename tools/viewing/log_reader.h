// One log file, read record by record while it grows.
//
// The reader holds one block of the file, or one record if that is longer. `rest` frees this text
// and closes the file: of ten thousand files only few are open at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "log_files.h"
#include "log_progress.h"
#include "log_text.h"
#include "moment.h"
#include "record.h"
#include "record_cutter.h"
#include "stamp_clock.h"

namespace trace
{

class LogReader
{
public:
    // How long the last record of a file waits for more text.
    static constexpr std::chrono::milliseconds patience{250};
    // The same if more text has come, but each time with a line end.
    static constexpr std::chrono::seconds most_patience{1};

    enum class Head
    {
        none,    // all was read
        partial, // a record has begun, but more of it may come
        whole,
    };

    // place: of the input that names the file, for two files with the same name.
    LogReader(LogName name, size_t place) : m_name(std::move(name)), m_place(place)
    {
        m_clock.created(m_name.created ? file_time(m_name.created) : unknown_time);
    }

    const LogName& name() const { return m_name; }
    size_t place() const { return m_place; }
    // Decides which reader comes first if two are equal in everything else.
    void set_turn(size_t turn) { m_turn = turn; }
    size_t turn() const { return m_turn; }

    // Reads until a record is whole or the file ends. Fails if the file can't be read.
    Head look(const Moment& now);

    // About the record that look has found.
    Time key() const { return m_key; } // the time it is sorted by: from a plausible stamp
    uint64_t offset() const { return m_start + m_at * unit_size(m_form); }
    std::chrono::steady_clock::time_point arrival() const; // at this time or before
    Record take();
    void pass(); // like take, without making a record
    std::chrono::steady_clock::time_point grown() const { return m_grown; }
    // Since when the record that look has found has been partial.
    std::chrono::steady_clock::time_point partial_since() const { return m_partial_since; }

    // Moves to the first record at this place or after it. Fails if the file can't be read.
    void seek(uint64_t offset, const Moment& now);

    // The time of the last stamp, if a short look at the file's end finds it; otherwise
    // unknown_time. Leaves the reader at the start. Fails if the file can't be read.
    Time last_time(const Moment& now);

    // Of the record that take has returned last: where it begins, and the progress after it.
    uint64_t taken_offset() const { return m_taken_offset; }
    const LogProgress& progress() const { return m_progress; }
    // The file's mark; known once a record was taken.
    const LogMark& mark() const { return m_mark; }

    enum class Resumed
    {
        not_yet, // the file couldn't be read
        done,
        other_file, // the file is read from its start
    };

    // Continues after the record at which another reader had this progress, unless the file is
    // another one. Fails if the file can't be read; then it resumes when the file is opened later.
    void resume(const LogProgress& progress, const LogMark& mark, const Moment& now);
    Resumed resumed() const { return m_resumed; } // the result of resume

    // Takes the result of a look at the folder.
    void found(const LogName& name, const Moment& now);
    // The path names another file by now, or none: the rest counts as whole.
    void gone() { m_is_gone = true; }
    bool is_gone() const { return m_is_gone; }
    // Moves to the end, by the known size, without reading the file. The text before is only
    // examined when more has come.
    void skip_all();
    // There may be something to report though the file has not grown, such as a failure to read it.
    void look_again() { m_must_look = true; }
    // The file is not followed: what is at its end counts as whole. reads: read up to the end;
    // otherwise only the held text is used.
    void finish(bool reads);

    void rest();
    bool is_open() const { return m_file != nullptr; }
    bool may_have_more() const
    {
        return m_file || m_must_look || m_name.size != m_start + m_raw.size();
    }

private:
    using Ticks = std::chrono::steady_clock::time_point;

    std::string_view text() const;
    bool is_whole(const Moment& now);
    bool fill(const Moment& now);
    bool open(const Moment& now);
    void resume_former(const Moment& now);
    void drop_taken();
    std::string witness() const;
    bool learn_form();
    void restart();
    void skip_line_end();
    void find_key(const Moment& now);
    void believe(Time stamp, const Moment& now);
    Record take_gap();
    void note_progress();
    LogMark mark_of(uint64_t length) const;
    LogMark new_mark() const;
    void look_back(uint64_t offset, const Moment& now);
    void look_back_over_hour(uint64_t offset, const Moment& now);
    uint64_t certain_place_before(uint64_t offset) const;
    std::string outline_at(uint64_t offset, uint64_t characters) const;
    void learn_from(uint64_t from, uint64_t to, const Moment& now);
    size_t first_record() const;

    LogName m_name;
    const size_t m_place;
    size_t m_turn = 0;
    std::unique_ptr<LogFile> m_file;
    LogForm m_form = LogForm::ansi;

    std::string m_before;  // the last bytes before m_start, as far as they were read
    uint64_t m_start = 0;  // place of the held text in the file
    std::string m_raw;     // the held text
    std::string m_outline; // outline of m_raw if that is UTF-16
    size_t m_at = 0;       // where the head begins, in characters of the held text

    RecordCutter m_cutter;
    Cut m_cut;
    bool m_is_cut = false;      // the head's end is known
    StampClock m_clock;         // as it was before the head
    StampClock m_head_clock;    // and after it
    Time m_last = unknown_time; // of the last stamp
    Time m_key = 0;

    LogMark m_mark;
    LogProgress m_progress; // its numbers count what take has returned
    uint64_t m_taken_offset = 0;

    Resumed m_resumed = Resumed::done; // not_yet: m_former is still to be resumed
    LogMark m_former_mark;
    LogProgress m_former;

    Ticks m_grown{};           // when the newest text was read, or written if that is known
    uint64_t m_known = 0;      // bytes that the file had
    Ticks m_known_at{};        // at this time
    Ticks m_written_at{};      // and were written at this time
    bool m_has_shrunk = false; // reported when the held text was taken
    bool m_must_look = false;
    bool m_is_skipped = false; // the text before m_start was never read
    bool m_skips_end = false;  // the record was returned without its line end, which may still come
    bool m_is_gone = false;
    bool m_is_finished = false;
    bool m_reads = true;
    uint64_t m_partial = UINT64_MAX; // where a partial record was seen to begin
    Ticks m_partial_since{};
};

} // namespace trace
