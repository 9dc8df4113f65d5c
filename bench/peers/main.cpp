// Prints each operation of the library and its peers'. The two sides of a row are measured in turns
// in the same run, and the shortest time of each side counts: on a busy machine other programs only
// ever add to a time.
#include "peers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>

namespace peers
{

namespace
{

using Measure = double (*)();

struct Row
{
    const char* what;
    Measure ours;
    const char* peer;
    Measure theirs;
};

constexpr Row rows[] = {
    {"a stamped record, in the kernel", plinth_record, "Boost.Log, flushed", boost_flushed},
    {"the same", plinth_record, "Boost.Log, buffered", boost_buffered},
    {"the same", plinth_record, "Boost.Log, asynchronous", boost_asynchronous},
    {"a text without a stamp", plinth_text, "Boost.Log, flushed", boost_flushed},
    {"reading 4 KiB", plinth_read, "libuv", uv_read},
    {"reading 4 KiB", plinth_read, "Qt, QFile", qt_read},
    {"writing 4 KiB", plinth_write, "libuv", uv_write},
    {"writing 4 KiB", plinth_write, "Qt, QFile", qt_write},
    {"opening and closing", plinth_open, "libuv", uv_open},
    {"opening and closing", plinth_open, "Qt, QFile", qt_open},
    {"a call on another thread and back", plinth_pool, "libuv, uv_queue_work", uv_work},
    {"a call on another thread and back", plinth_pool, "Qt, QThreadPool", qt_pool},
    {"an asynchronous write of 4 KiB", plinth_transfer, "libuv", uv_transfer},
    {"error of a timer's period of 5 ms", plinth_timer, "libuv", uv_timer},
    {"error of a timer's period of 5 ms", plinth_timer, "Qt, QTimer", qt_timer},
};

constexpr int rounds = 15;

void print(const Row& row, int count)
{
    double ours = std::numeric_limits<double>::infinity();
    double theirs = ours;
    for (int i = 0; i < count; ++i)
    {
        ours = std::min(ours, row.ours());
        theirs = std::min(theirs, row.theirs());
    }
    std::printf("%-34s %10.0f %10.0f %7.2f  %s\n", row.what, ours, theirs, ours / theirs, row.peer);
    std::fflush(stdout);
}

} // namespace

std::string path_of(const char* name)
{
    // The launcher makes a folder for each run.
    const char* const root = std::getenv("PLINTH_ROOT");
    require(root != nullptr, "PLINTH_ROOT is not set");
    return std::string(root) + "/" + name;
}

const std::string& source_file()
{
    static const std::string made = []
    {
        const std::string path = path_of("source");
        std::ofstream(path) << std::string(block_size, 'x');
        return path;
    }();
    return made;
}

} // namespace peers

int main(int argc, char** argv)
try
{
    const bool quick = argc > 1 && std::string(argv[1]) == "--quick";
    std::printf("%-34s %10s %10s %7s  %s\n", "operation", "plinth, ns", "peer, ns", "ratio",
                "peer");
    for (const peers::Row& row : peers::rows)
        peers::print(row, quick ? 1 : peers::rounds);
    return 0;
}
catch (const std::exception& failure)
{
    std::fprintf(stderr, "plinth_peers: %s\n", failure.what());
    return 1;
}
