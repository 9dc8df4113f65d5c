// The Linux calls that guarded paths, loads, clocks and the kernel's own files need themselves, and
// the check that every entry begins with. All others include calls.h, which includes these too.
#pragma once

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include "faults.h"

namespace platform::sys
{

// True if the call must fail now: errno is set. The limit is the most that a transfer may move.
inline bool intercepted(const char* name, size_t* limit = nullptr)
{
    Fault fault;
    if (!fault_applies(name, true, fault))
        return false;
    if (fault.error == 0)
    {
        if (limit && fault.limit < *limit)
            *limit = fault.limit;
        return false;
    }
    errno = fault.error;
    return true;
}

template <class Call> auto restarted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

inline int fstat(int fd, struct stat* result)
{
    return intercepted("fstat") ? -1 : ::fstat(fd, result);
}
// Descriptors 0 to 2 are the program's standard streams, also if it started with them closed: its
// output must not get into a file of the library's.
inline constexpr int first_inner_number = 3;
inline int above_standard_streams(int fd)
{
    const int moved =
        fd < 0 || fd >= first_inner_number ? -1 : ::fcntl(fd, F_DUPFD_CLOEXEC, first_inner_number);
    if (moved < 0)
        return fd;
    ::close(fd);
    return moved;
}
// For one of the kernel's own text files: its path has no link, no FIFO and no other user's
// entries.
inline int open_kernel_file(const char* path)
{
    return above_standard_streams(restarted(
        [path] { return intercepted("open") ? -1 : ::open(path, O_RDONLY | O_CLOEXEC); }));
}
inline int close(int fd)
{
    if (intercepted("close"))
    {
        ::close(fd); // a close that fails has closed the descriptor too
        return -1;
    }
    return ::close(fd);
}
inline ssize_t read(int fd, void* buffer, size_t size)
{
    return restarted([&] { return intercepted("read", &size) ? -1 : ::read(fd, buffer, size); });
}
inline int clock_gettime(clockid_t clock, timespec* result)
{
    return intercepted("clock_gettime") ? -1 : ::clock_gettime(clock, result);
}
inline int set_timer_slack(unsigned long nanoseconds)
{
    return intercepted("prctl") ? -1 : ::prctl(PR_SET_TIMERSLACK, nanoseconds);
}

} // namespace platform::sys
