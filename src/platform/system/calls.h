// Every Linux call of the stand-in, each through one named entry.
//
// An entry has the signature of the call, counts it and lets a test make it fail with an errno or
// move fewer bytes. Entries of calls that a signal may interrupt without harm (read, write, open,
// the locks) restart by themselves. The stand-in calls Linux only through these entries; add an
// entry rather than calling directly. Entries that open, make, move, delete or change something by
// its path keep the rules of guarded_paths.h.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <iconv.h>
#include <link.h>
#include <linux/futex.h>
#include <locale.h>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

#include "guarded_paths.h"
#include "loads.h"
#include "plain_calls.h"

namespace platform::sys
{

// Opening a FIFO may wait for ever for its other side; a signal ends the wait with EINTR.
inline bool is_fifo(const char* path)
{
    struct stat found;
    return ::stat(path, &found) == 0 && S_ISFIFO(found.st_mode);
}
// For a file of the program's, which gets the number that the kernel chooses. found, if not null:
// receives the file's status.
inline int open_for_program(const char* path, int flags, mode_t mode = 0,
                            struct stat* found = nullptr)
{
    const GuardedPath guarded(path);
    for (;;)
    {
        const int fd = intercepted("open") ? -1
                       : guarded           ? guarded.open(flags, mode, found)
                                           : ::open(path, flags | O_CLOEXEC, mode);
        if (fd >= 0 && found && !guarded && sys::fstat(fd, found) != 0)
        {
            const int error = errno;
            ::close(fd);
            errno = error;
            return -1;
        }
        if (fd >= 0 || errno != EINTR)
            return fd;
        if (is_fifo(path))
        {
            errno = EINTR;
            return -1;
        }
    }
}
// For a file of the library's.
inline int open(const char* path, int flags, mode_t mode = 0, struct stat* found = nullptr)
{
    return above_standard_streams(open_for_program(path, flags, mode, found));
}
inline FILE* fopen(const char* path, const char* mode)
{
    return intercepted("open") ? nullptr : std::fopen(path, mode);
}
inline FILE* fdopen(int fd, const char* mode)
{
    return intercepted("fdopen") ? nullptr : ::fdopen(fd, mode);
}
inline ssize_t write(int fd, const void* buffer, size_t size)
{
    return restarted([&] { return intercepted("write", &size) ? -1 : ::write(fd, buffer, size); });
}
inline off_t lseek(int fd, off_t offset, int whence)
{
    return intercepted("lseek") ? -1 : ::lseek(fd, offset, whence);
}
inline int ftruncate(int fd, off_t size)
{
    return restarted([&] { return intercepted("ftruncate") ? -1 : ::ftruncate(fd, size); });
}
inline ssize_t pread(int fd, void* buffer, size_t size, off_t offset)
{
    return restarted(
        [&] { return intercepted("pread", &size) ? -1 : ::pread(fd, buffer, size, offset); });
}
inline ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset)
{
    return restarted(
        [&] { return intercepted("pwrite", &size) ? -1 : ::pwrite(fd, buffer, size, offset); });
}
inline int fallocate(int fd, int mode, off_t offset, off_t size)
{
    return restarted(
        [&] { return intercepted("fallocate") ? -1 : ::fallocate(fd, mode, offset, size); });
}
// Whether an errno of fallocate means that it is not supported: not on this file system, or not in
// this sandbox.
inline bool lacks_fallocate(int error)
{
    return error == EOPNOTSUPP || error == ENOSYS || error == EPERM || error == EINVAL;
}
inline int fsync(int fd)
{
    return intercepted("fsync") ? -1 : ::fsync(fd);
}
inline int stat(const char* path, struct stat* result)
{
    return intercepted("stat") ? -1 : ::stat(path, result);
}
inline int lstat(const char* path, struct stat* result)
{
    return intercepted("lstat") ? -1 : ::lstat(path, result);
}
inline int statx(int dir, const char* path, int flags, unsigned mask, struct statx* result)
{
    return intercepted("statx") ? -1 : ::statx(dir, path, flags, mask, result);
}
inline int fcntl_lock(int fd, int command, struct flock* range)
{
    return restarted([&] { return intercepted("fcntl") ? -1 : ::fcntl(fd, command, range); });
}
inline int renameat2(const char* from, const char* to, unsigned flags)
{
    if (intercepted("rename"))
        return -1;
    const PlaceInFolder source(from);
    if (!source.ok())
        return -1;
    const PlaceInFolder target(to);
    return target.ok()
               ? ::renameat2(source.folder(), source.name(), target.folder(), target.name(), flags)
               : -1;
}
inline int rename(const char* from, const char* to)
{
    return renameat2(from, to, 0);
}
// The path of an open file without a name (O_TMPFILE): the kernel's link to it.
struct OpenFileLink
{
    explicit OpenFileLink(int fd) { std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd); }
    char path[32];
};
inline bool can_link_open_file(int fd)
{
    return !intercepted("access") && ::access(OpenFileLink(fd).path, F_OK) == 0;
}
inline int link_open_file(int fd, const char* path)
{
    return intercepted("linkat")
               ? -1
               : ::linkat(AT_FDCWD, OpenFileLink(fd).path, AT_FDCWD, path, AT_SYMLINK_FOLLOW);
}
inline int unlink(const char* path)
{
    if (intercepted("unlink"))
        return -1;
    const PlaceInFolder place(path);
    return place.ok() ? ::unlinkat(place.folder(), place.name(), 0) : -1;
}
inline int mkdir(const char* path, mode_t mode)
{
    if (intercepted("mkdir"))
        return -1;
    const PlaceInFolder place(path);
    return place.ok() ? ::mkdirat(place.folder(), place.name(), mode) : -1;
}
inline int rmdir(const char* path)
{
    if (intercepted("rmdir"))
        return -1;
    const PlaceInFolder place(path);
    return place.ok() ? ::unlinkat(place.folder(), place.name(), AT_REMOVEDIR) : -1;
}
inline DIR* opendir(const char* path)
{
    if (intercepted("opendir"))
        return nullptr;
    const GuardedPath guarded(path);
    if (!guarded)
        return ::opendir(path);
    const int fd = guarded.open(O_RDONLY | O_DIRECTORY, 0);
    DIR* const directory = fd < 0 ? nullptr : ::fdopendir(fd);
    if (fd >= 0 && !directory)
        ::close(fd);
    return directory;
}
inline dirent* readdir(DIR* directory)
{
    return intercepted("readdir") ? nullptr : ::readdir(directory);
}
inline int closedir(DIR* directory)
{
    return ::closedir(directory);
}
inline int futimens(int fd, const timespec times[2])
{
    return intercepted("utimensat") ? -1 : ::futimens(fd, times);
}
inline int chmod(const char* path, mode_t mode)
{
    if (intercepted("chmod"))
        return -1;
    const GuardedPath guarded(path);
    return guarded ? guarded.chmod(mode) : ::chmod(path, mode);
}
inline int fchmod(int fd, mode_t mode)
{
    return intercepted("chmod") ? -1 : ::fchmod(fd, mode);
}
inline int fchown(int fd, uid_t user, gid_t group)
{
    return intercepted("chown") ? -1 : ::fchown(fd, user, group);
}
inline int access(const char* path, int mode)
{
    return intercepted("access") ? -1 : ::faccessat(AT_FDCWD, path, mode, AT_EACCESS);
}
inline ssize_t readlink(const char* path, char* buffer, size_t size)
{
    return intercepted("readlink") ? -1 : ::readlink(path, buffer, size);
}
inline char* realpath(const char* path, char (&buffer)[4096])
{
    if (intercepted("realpath"))
        return nullptr;
    const GuardedPath guarded(path);
    return guarded ? guarded.realpath(buffer) : ::realpath(path, buffer);
}
inline char* getcwd(char* buffer, size_t size)
{
    return intercepted("getcwd") ? nullptr : ::getcwd(buffer, size);
}
inline int chdir(const char* path)
{
    if (intercepted("chdir"))
        return -1;
    const GuardedPath guarded(path);
    return guarded ? guarded.chdir() : ::chdir(path);
}
inline int statvfs(const char* path, struct statvfs* result)
{
    return intercepted("statvfs") ? -1 : ::statvfs(path, result);
}
inline int statfs(const char* path, struct statfs* result)
{
    return intercepted("statfs") ? -1 : ::statfs(path, result);
}
// Returns the lowest free number from first on.
inline int duplicate(int fd, int first = first_inner_number)
{
    return intercepted("dup") ? -1 : ::fcntl(fd, F_DUPFD_CLOEXEC, first);
}
inline int status_flags(int fd)
{
    return intercepted("fcntl") ? -1 : ::fcntl(fd, F_GETFL);
}
inline int memfd_create(const char* name)
{
    return intercepted("memfd_create") ? -1
                                       : above_standard_streams(::memfd_create(name, MFD_CLOEXEC));
}
inline ssize_t fgetxattr(int fd, const char* name, void* value, size_t size)
{
    return intercepted("getxattr") ? -1 : ::fgetxattr(fd, name, value, size);
}
inline int fsetxattr(int fd, const char* name, const void* value, size_t size, int flags)
{
    return intercepted("setxattr") ? -1 : ::fsetxattr(fd, name, value, size, flags);
}
inline ssize_t getxattr(const char* path, const char* name, void* value, size_t size)
{
    return intercepted("getxattr") ? -1 : ::getxattr(path, name, value, size);
}
inline ssize_t copy_file_range(int from, int to, size_t size)
{
    return restarted(
        [&]
        {
            return intercepted("copy_file_range", &size)
                       ? -1
                       : ::copy_file_range(from, nullptr, to, nullptr, size, 0);
        });
}
inline void* mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset)
{
    return intercepted("mmap") ? MAP_FAILED : ::mmap(address, size, protection, flags, fd, offset);
}
// Reads the process's own memory. It fails if the memory can't be read, where a plain access would
// end the process.
inline ssize_t read_memory(uintptr_t address, void* buffer, size_t size)
{
    const iovec to{buffer, size};
    const iovec from{reinterpret_cast<void*>(address), size};
    return intercepted("process_vm_readv") ? -1
                                           : ::process_vm_readv(::getpid(), &to, 1, &from, 1, 0);
}
inline int munmap(void* address, size_t size)
{
    // Unmapped even so: the kernel has no reason to refuse a whole view, and a view that stayed
    // would keep the content of its file.
    const bool fails = intercepted("munmap");
    return ::munmap(address, size) != 0 || fails ? -1 : 0;
}
inline int clock_nanosleep(clockid_t clock, int flags, const timespec* time)
{
    return ::clock_nanosleep(clock, flags, time, nullptr);
}
inline int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*start)(void*), void* argument)
{
    if (intercepted("pthread_create"))
        return errno;
    return ::pthread_create(thread, attributes, start, argument);
}
inline int sigaction(int signal, const struct sigaction* action, struct sigaction* former = nullptr)
{
    return intercepted("sigaction") ? -1 : ::sigaction(signal, action, former);
}
#if defined(__SANITIZE_THREAD__)
// The C library's other name for sigaction, which ThreadSanitizer does not intercept.
extern "C" int __sigaction(int signal, const struct sigaction* action, struct sigaction* former);
inline int sigaction_unwatched(int signal, const struct sigaction* action)
{
    return intercepted("sigaction") ? -1 : __sigaction(signal, action, nullptr);
}
#endif
inline pid_t fork()
{
    return intercepted("fork") ? -1 : ::fork();
}
inline int pipe(int (&ends)[2])
{
    return intercepted("pipe") ? -1 : ::pipe2(ends, O_CLOEXEC);
}
inline pid_t waitpid(pid_t process, int* status)
{
    return restarted([&] { return ::waitpid(process, status, 0); });
}
inline int send_signal(pid_t thread, int signal)
{
    return intercepted("tgkill")
               ? -1
               : static_cast<int>(::syscall(SYS_tgkill, ::getpid(), thread, signal));
}
inline int sched_setscheduler(pid_t thread, int policy, const sched_param* parameters)
{
    return intercepted("sched_setscheduler") ? -1
                                             : ::sched_setscheduler(thread, policy, parameters);
}
inline int set_nice(pid_t thread, int nice)
{
    return intercepted("setpriority")
               ? -1
               : ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread), nice);
}
inline int sched_yield()
{
    return ::sched_yield();
}
inline locale_t newlocale(int categories, const char* name)
{
    return intercepted("newlocale") ? nullptr : ::newlocale(categories, name, nullptr);
}
inline iconv_t iconv_open(const char* to, const char* from)
{
    return intercepted("iconv_open") ? reinterpret_cast<iconv_t>(-1) : ::iconv_open(to, from);
}
inline void* dlopen(const char* path, int flags)
{
    const Load load;
    return intercepted("dlopen") ? nullptr : ::dlopen(path, flags);
}
inline int dlclose(void* module)
{
    const Load load;
    return intercepted("dlclose") ? -1 : ::dlclose(module);
}
inline void* dlsym(void* module, const char* name)
{
    return intercepted("dlsym") ? nullptr : ::dlsym(module, name);
}
inline int dladdr(const void* address, Dl_info* info)
{
    return intercepted("dladdr") ? 0 : ::dladdr(address, info);
}
// found: the symbol's entry in the module's own table.
inline int dladdr1(const void* address, Dl_info* info, void** found)
{
    return intercepted("dladdr") ? 0 : ::dladdr1(address, info, found, RTLD_DL_SYMENT);
}
// Held while the stand-in reads the loader's list: otherwise a forked child could find the list's
// lock taken.
inline std::mutex g_loader_list;
inline int dl_iterate_phdr(int (*each)(dl_phdr_info*, size_t, void*), void* argument)
{
    const std::lock_guard guard(g_loader_list);
    return intercepted("dl_iterate_phdr") ? 0 : ::dl_iterate_phdr(each, argument);
}
inline int syslog(int priority, const char* text)
{
    if (intercepted("syslog"))
        return -1;
    ::syslog(priority, "%s", text);
    return 0;
}
inline int tcflush(int fd, int queue)
{
    return intercepted("tcflush") ? -1 : ::tcflush(fd, queue);
}
inline int dlinfo(void* module, int request, void* result)
{
    return intercepted("dlinfo") ? -1 : ::dlinfo(module, request, result);
}

inline ssize_t getrandom(void* buffer, size_t size)
{
    return restarted(
        [&] { return intercepted("getrandom", &size) ? -1 : ::getrandom(buffer, size, 0); });
}
inline int getrlimit(__rlimit_resource_t resource, rlimit* result)
{
    return intercepted("getrlimit") ? -1 : ::getrlimit(resource, result);
}

// Sockets. Of the calls that may wait, those are not restarted where a restart would begin the
// time-out anew (poll) or is wrong (connect).
inline int socket(int family, int type, int protocol)
{
    return intercepted("socket") ? -1 : ::socket(family, type | SOCK_CLOEXEC, protocol);
}
inline int bind(int fd, const sockaddr* address, socklen_t length)
{
    return intercepted("bind") ? -1 : ::bind(fd, address, length);
}
inline int connect(int fd, const sockaddr* address, socklen_t length)
{
    return intercepted("connect") ? -1 : ::connect(fd, address, length);
}
inline int listen(int fd, int backlog)
{
    return intercepted("listen") ? -1 : ::listen(fd, backlog);
}
inline int accept(int fd, sockaddr* address, socklen_t* length, int flags)
{
    return restarted(
        [&] {
            return intercepted("accept") ? -1
                                         : ::accept4(fd, address, length, flags | SOCK_CLOEXEC);
        });
}
inline int shutdown(int fd, int how)
{
    return intercepted("shutdown") ? -1 : ::shutdown(fd, how);
}
inline ssize_t send(int fd, const void* buffer, size_t size, int flags, const sockaddr* to,
                    socklen_t length)
{
    return restarted(
        [&]
        {
            return intercepted("send", &size)
                       ? -1
                       : ::sendto(fd, buffer, size, flags | MSG_NOSIGNAL, to, length);
        });
}
inline ssize_t recv(int fd, void* buffer, size_t size, int flags, sockaddr* from, socklen_t* length)
{
    return restarted(
        [&] {
            return intercepted("recv", &size) ? -1
                                              : ::recvfrom(fd, buffer, size, flags, from, length);
        });
}
inline int ppoll(pollfd* entries, nfds_t count, const timespec* timeout)
{
    return intercepted("poll") ? -1 : ::ppoll(entries, count, timeout, nullptr);
}
inline int getsockopt(int fd, int level, int option, void* value, socklen_t* length)
{
    return intercepted("getsockopt") ? -1 : ::getsockopt(fd, level, option, value, length);
}
inline int setsockopt(int fd, int level, int option, const void* value, socklen_t length)
{
    return intercepted("setsockopt") ? -1 : ::setsockopt(fd, level, option, value, length);
}
inline int ioctl(int fd, unsigned long request, int* argument)
{
    return intercepted("ioctl") ? -1 : ::ioctl(fd, request, argument);
}
inline int getsockname(int fd, sockaddr* address, socklen_t* length)
{
    return intercepted("getsockname") ? -1 : ::getsockname(fd, address, length);
}
inline int getpeername(int fd, sockaddr* address, socklen_t* length)
{
    return intercepted("getpeername") ? -1 : ::getpeername(fd, address, length);
}
inline int gethostname(char* name, size_t size)
{
    return intercepted("gethostname") ? -1 : ::gethostname(name, size);
}

// Look-ups into a caller's buffer: an errno, ERANGE if the buffer is too small. They load modules
// of the C library, and take locks of it that a forked child would find taken.
inline int gethostbyname(const char* name, hostent* entry, char* buffer, size_t size,
                         hostent** result, int* why)
{
    const Load load;
    *result = nullptr;
    *why = HOST_NOT_FOUND;
    if (intercepted("gethostbyname"))
        return errno;
    return ::gethostbyname_r(name, entry, buffer, size, result, why);
}
inline int gethostbyaddr(const void* address, socklen_t length, int family, hostent* entry,
                         char* buffer, size_t size, hostent** result, int* why)
{
    const Load load;
    *result = nullptr;
    *why = HOST_NOT_FOUND;
    if (intercepted("gethostbyaddr"))
        return errno;
    return ::gethostbyaddr_r(address, length, family, entry, buffer, size, result, why);
}
inline int getservbyname(const char* name, const char* protocol, servent* entry, char* buffer,
                         size_t size, servent** result)
{
    const Load load;
    *result = nullptr;
    return intercepted("getservbyname")
               ? errno
               : ::getservbyname_r(name, protocol, entry, buffer, size, result);
}
inline int getservbyport(int port, const char* protocol, servent* entry, char* buffer, size_t size,
                         servent** result)
{
    const Load load;
    *result = nullptr;
    return intercepted("getservbyport")
               ? errno
               : ::getservbyport_r(port, protocol, entry, buffer, size, result);
}
inline int getprotobyname(const char* name, protoent* entry, char* buffer, size_t size,
                          protoent** result)
{
    const Load load;
    *result = nullptr;
    return intercepted("getprotobyname") ? errno
                                         : ::getprotobyname_r(name, entry, buffer, size, result);
}
inline int getprotobynumber(int number, protoent* entry, char* buffer, size_t size,
                            protoent** result)
{
    const Load load;
    *result = nullptr;
    return intercepted("getprotobynumber")
               ? errno
               : ::getprotobynumber_r(number, entry, buffer, size, result);
}

// Words shared between processes use the shared futex operations, words of one process the private
// ones.
inline long futex_waitv(struct futex_waitv* words, unsigned count, const timespec* deadline)
{
    return intercepted("futex_waitv")
               ? -1
               : ::syscall(SYS_futex_waitv, words, count, 0u, deadline, CLOCK_MONOTONIC);
}
inline long futex(void* word, int operation, uint32_t value, const timespec* timeout)
{
    return ::syscall(SYS_futex, word, operation, value, timeout, nullptr, FUTEX_BITSET_MATCH_ANY);
}

} // namespace platform::sys
