// Several log files that grow, and the new ones of their folder: another program's, or the next one
// of the same after a split or at midnight.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "log_files.h"

namespace trace
{

class LogFollower
{
public:
    struct Receiver
    {
        std::function<void(const LogFile&, const std::string& text)> text;
        // What was in the file is gone, and what it holds now is read from its start.
        std::function<void(const LogFile&)> gap;
        // The file is not looked at any more: it was removed, or has been quiet for longest when
        // there were too many.
        std::function<void(const LogFile&)> closed;
        std::function<void(const std::string& why)> problem; // with one file of many
    };

    // known: the files of the folder that are not to be shown. An empty folder name: only the file
    // is followed.
    LogFollower(std::string folder, std::set<LogName> known, Receiver receiver);

    void add(std::unique_ptr<LogFile> file);

    // Hands on what has come since the last look: of each file at most one block, so that the
    // caller can do something else in between. False if nothing came.
    bool look();

private:
    using Clock = std::chrono::steady_clock;

    struct Followed
    {
        std::unique_ptr<LogFile> file;
        Clock::time_point grown;
        bool removed = false;
    };

    bool read(Followed& followed);
    void look_for_new();
    std::vector<Followed>::iterator close(std::vector<Followed>::iterator followed);

    std::string m_folder;
    std::set<LogName> m_known;
    Receiver m_receiver;
    std::vector<Followed> m_files;
    Clock::time_point m_looked{};
};

} // namespace trace
