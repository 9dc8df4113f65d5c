// The rows of the budget table: which measurements are compared, and the highest cost.
//
// A row names two benchmarks; both run in the same process and in turns, so that a busy machine
// affects both. The ratio of the medians counts.
#pragma once

#include <cstdint>

#include "paths.h"

namespace bench
{

struct Row
{
    const char* path;    // what is measured, for people
    const char* ours;    // name of a benchmark
    const char* peer;    // name of a benchmark; null: no peer, the median itself is compared
    const char* against; // what the peer is, for people
    double budget; // of the ratio, or of the median in nanoseconds if there is no peer; 0: none
};

inline constexpr Row rows[] = {
    {"QV_Log, 100 characters", "log/QV_Log", "log/write", "write(2), O_APPEND", 1.25},
    {"DiagOutputExW, 3 tags, to the log", "trace/log", "trace/write", "write(2) of the record",
     2.0},
    {"  the same", "trace/log", "trace/spdlog", "spdlog, flushed file sink", 1.0},
    {"  the same", "trace/log", "trace/nowhere and write", "no destination, then write(2)", 0},
    {"DiagOutputExW, 2 of %.2f, 1 thread", "threads/1 trace", "threads/1 write",
     "write(2) of the record", 2.0},
    {"  the same", "threads/1 trace", "threads/1 spdlog", "spdlog, flushed file sink", 1.0},
    {"  2 threads at once", "threads/2 trace", "threads/2 write", "2 threads with write(2)", 1.4},
    {"  the same", "threads/2 trace", "threads/2 spdlog", "spdlog, flushed file sink", 1.0},
    {"  4 threads at once", "threads/4 trace", "threads/4 write", "4 threads with write(2)", 1.2},
    {"  the same", "threads/4 trace", "threads/4 spdlog", "spdlog, flushed file sink", 1.0},
    {"DiagOutputExW to a capture, other process", "channel/record", "channel/pingpong",
     "futex ping-pong", 1.0},
    {"  the same from 1 process, to its end", "channel/1 writer", "channel/pingpong",
     "futex ping-pong", 1.0},
    {"  from 4 processes at once, each text", "channel/4 writers", "channel/pingpong",
     "futex ping-pong", 0},
    {"  from 1 process to a viewer that 1 follows", "channel/2 viewers", "channel/1 viewer",
     "a viewer alone", 0},
    {"  the same, 7 follow", "channel/8 viewers", "channel/1 viewer", "a viewer alone", 0},
    {"  the writer's processor time, 1 follows", "channel/2 viewers, writer",
     "channel/1 viewer, writer", "a viewer alone", 1.1},
    {"  the same, 7 follow", "channel/8 viewers, writer", "channel/1 viewer, writer",
     "a viewer alone", 1.1},
    {"  to plinth-trace watch, which shows each", "viewing/watch", "viewing/capture",
     "a capture that counts them", 1.11},
    {"  the same", "viewing/watch", "viewing/listener", "a viewer that only counts", 1.11},
    {"  to its full screen", "viewing/screen", "viewing/capture", "a capture that counts them",
     1.11},
    {"  to the window", "viewing/window", "viewing/capture", "a capture that counts them", 1.11},
    {"DiagOutputExW, no destination", "trace/nowhere", nullptr, "guide: 400 ns", 400},
    {"PLINTH_TRACE, no destination", "trace/PLINTH_TRACE", "trace/calls", "the calls it stands for",
     1.05},
    {"QV_GetTimeCounter", "clock/QV_GetTimeCounter", "clock/clock_gettime", "clock_gettime", 1.5},
    {"QV_ReadFile, 4 KiB", "file/QV_ReadFile", "file/read", "read(2)", 1.10},
    {"QV_WriteFile, 4 KiB", "file/QV_WriteFile", "file/write", "write(2)", 1.10},
    {"QV_OpenFile with QV_CloseFile", "file/QV_OpenFile", "file/open", "open(2), close(2)", 3.3},
    {"QV_CopyFile, 64 MiB, with a callback", "file/async copy", "file/copy, size asked",
     "fstat(2), read(2), write(2) of 4 KiB", 1.10},
    {"  the same", "file/async copy", "file/copy", "read(2), write(2)", 0},
    {"CThreadPool, call to a waiting thread", "pool/hand-over", "pool/ping-pong",
     "condition and semaphore ping-pong", 1.0},
    {"CThreadPool, call to an empty pool", "pool/empty", "pool/pthread_create",
     "pthread_create, detached", 1.1},
    {"QV_DoubleToStringEx, no locale", "number/QV_DoubleToStringEx", "number/snprintf",
     "snprintf, %.*f", 2.0},
    {"QV_GetDataSeg, 1 MiB", "module/QV_GetDataSeg", "module/pread", "open, malloc, pread, close",
     1.3},
    {"a resource into a module of 64 MiB", "module/add", "module/copy",
     "copying the file, with fsync", 1.5},
    {"QV_Sleep, spin, overshoot at 99 %", "clock/QV_Sleep/p99", nullptr, "1 us", 1000},
    {"  the same", "clock/QV_Sleep/p99", "clock/spin/p99", "a loop on clock_gettime", 0},
    {"QV_Send with QV_Recv, 1 KiB, loopback", "socket/QV_Send", "socket/send", "send(2), recv(2)",
     0},
    {"QV_GetMemoryStatus", "memory/QV_GetMemoryStatus", nullptr, "files of the kernel", 0},
    {"QV_Generate_Uuid", "uuid/QV_Generate_Uuid", nullptr, "getrandom(2)", 0},
};

// The rows of the second table: operations a second.
struct Rate
{
    const char* what;
    const char* benchmark;
};

inline constexpr Rate rates[] = {
    {"texts to a capture, 1 writing process", "channel/1 writer"},
    {"texts to a capture, 4 writing processes", "channel/4 writers"},
    {"round trips of the futex ping-pong", "channel/pingpong"},
};

// The other process of a benchmark: main() calls the function of this name if the process was
// started with --child NAME.
int capture_child(const char* shared);
int viewer_child(const char* shared, bool counts); // counts: of texts in the page
int writer_child(const char* shared, uint32_t writers);
int pingpong_child(const char* shared);

} // namespace bench
