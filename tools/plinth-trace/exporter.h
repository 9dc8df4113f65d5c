// plinth-trace export at work: writes records from the input files to the output, and keeps in the
// cursor how far the files have come.
//
// The reader of a pipe may not have kept yet what was written to the pipe. So with a pipe the
// cursor lags by more bytes than a pipe and its reader hold, until the input has ended: if the
// reader is killed, these records are exported again.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cursor.h"
#include "export_format.h"
#include "export_output.h"
#include "log_source.h"

namespace trace
{

struct ExportOptions
{
    std::vector<std::string> inputs{};
    bool may_be_missing = false; // a program may make the inputs later
    LogBounds bounds{};
    ExportFormat format = ExportFormat::json;
    std::optional<std::string> cursor{};
    std::optional<std::string> output{};
    std::optional<size_t> largest{};
};

class Exporter
{
public:
    explicit Exporter(ExportOptions options);

    // Runs until the input ends or the user ends the export; returns the exit code.
    int run();

private:
    using Clock = std::chrono::steady_clock;

    // How far the files had come when `written` bytes had been written.
    struct Step
    {
        uint64_t written;
        CursorChanges changes;
    };

    void begin(LogReader& reader, const Moment& now);
    void end(const std::string& path, bool is_replaced);
    void keep(const std::string& path); // takes back that the file is to be forgotten
    void tell(const std::string& path, const char* what);
    void tell_vanished();
    bool take(unsigned milliseconds);
    void add(const Record& record);
    void settle(uint64_t kept_back);
    void save();
    void finish();

    ExportOptions m_options;
    const std::string m_host;
    std::optional<Cursor> m_cursor;
    ExportOutput m_output;
    uint64_t m_kept_back; // bytes
    bool m_is_running = false;
    std::vector<std::string> m_replaced; // paths that named other files when this export started
    std::set<std::string> m_undecided;   // paths whose files couldn't be read then
    CursorChanges m_changed;             // since the last step
    uint64_t m_written = 0;              // bytes
    std::deque<Step> m_steps;
    LogSource m_source; // reads the cursor, and calls begin and end from its constructor on

    Clock::time_point m_next_save = Clock::now();
    std::string m_problem; // with the cursor, last reported
};

} // namespace trace
