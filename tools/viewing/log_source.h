// Log files as a source: each line is a record, and so is each part of a line that begins with the
// stamp of a trace record, since a record that the log has cut has no line end.
//
// A folder is followed from the start of its newest file, a file from its own start; both go on
// with the log files that come to the folder later. A file whose name is not that of a log stands
// alone. The stamp gives the time; a line without one has the time of the record before it in its
// file.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>

#include "line_splitter.h"
#include "log_follower.h"
#include "source.h"

namespace trace
{

class LogSource : public Source
{
public:
    // path: of a file or a folder, UTF-8. Failure if there is no such thing, or a folder has no
    // log.
    explicit LogSource(const std::string& path);

    bool next(Record& record, unsigned milliseconds) override;
    bool ended() const override { return m_stopped && m_ready.empty(); }
    void stop() override; // reads no further: a log may be long
    std::string what() const override { return m_what; }

private:
    using Clock = std::chrono::steady_clock;

    // What is known of a file besides its text.
    struct Progress
    {
        LineSplitter lines;
        Time last = unknown_time;
        Clock::time_point grown{};
    };

    LogFollower::Receiver receiver();
    void take_text(Progress& progress, const std::string& text);
    void take_line(Progress& progress, std::string_view line);
    void take_old_rests();
    void add(Progress& progress, std::string_view text);

    std::string m_what;
    std::map<const LogFile*, Progress> m_progress;
    std::deque<Record> m_ready;
    std::unique_ptr<LogFollower> m_follower;
    bool m_stopped = false;
};

} // namespace trace
