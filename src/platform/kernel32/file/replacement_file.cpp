#include "replacement_file.h"

#include <atomic>
#include <string_view>
#include <utility>

#include "share_modes.h"
#include "system/calls.h"
#include "system/descriptor.h"
#include "system/directory.h"
#include "temporary_file.h"

namespace platform
{

namespace
{

// Far from the bytes that callers lock, and from those of the share modes.
constexpr off_t owner_byte = share_bytes_start + 0x1000;
constexpr int attempts = 8;
constexpr unsigned large_folder = 1'000; // entries; searched for leftovers at most once per pause
constexpr int64_t pause = 10;            // s
constexpr mode_t private_mode = 0600;

bool lock_owner_byte(int fd, short type)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = owner_byte;
    range.l_len = 1;
    return sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0;
}

std::string folder_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

bool is_temporary_name(std::string_view name)
{
    constexpr size_t digits = 16;
    constexpr std::string_view beginning(temporary_beginning);
    return name.starts_with(beginning) && name.size() == beginning.size() + digits &&
           name.find_first_not_of("0123456789abcdef", beginning.size()) == std::string_view::npos;
}

// Removes only a file of the same user. A process that still writes the file holds the lock; one
// that has just made the file and finds it locked here chooses another name.
void remove_if_left(const std::string& path)
{
    struct stat found;
    const Descriptor file(
        sys::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0, &found));
    if (file >= 0 && S_ISREG(found.st_mode) && found.st_uid == geteuid() && found.st_nlink == 1 &&
        lock_owner_byte(file, F_RDLCK))
        sys::unlink(path.c_str());
}

int64_t seconds_now()
{
    timespec now{};
    sys::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// Searching a large folder costs more than a small copy.
void remove_leftovers(const std::string& folder)
{
    static std::atomic<ino_t> large{0};
    static std::atomic<int64_t> looked{0};
    struct stat found;
    if (sys::stat(folder.c_str(), &found) != 0 ||
        (large == found.st_ino && seconds_now() - looked < pause))
        return;
    Directory directory(folder.c_str());
    unsigned count = 0;
    for (; const dirent* const entry = directory.next(); ++count)
        if (is_temporary_name(entry->d_name))
            remove_if_left(folder + entry->d_name);
    if (count >= large_folder)
    {
        large = found.st_ino;
        looked = seconds_now();
    }
}

} // namespace

ReplacementFile::ReplacementFile(const std::string& target) : m_target(target), m_has_lock(true)
{
    if (!open_nameless(folder_of(target)) && !open_named())
        m_error = errno;
}

ReplacementFile::ReplacementFile(const std::string& target, const char* beginning, mode_t mode)
    : m_target(target), m_has_lock(false)
{
    std::string name = temporary_beside(target, beginning);
    m_fd = name.empty() ? -1 : sys::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode);
    if (m_fd < 0)
        m_error = errno;
    else
        m_name = std::move(name);
}

ReplacementFile::~ReplacementFile()
{
    if (!m_name.empty())
        sys::unlink(m_name.c_str());
    if (m_fd < 0)
        return;
    if (m_has_lock)
        lock_owner_byte(m_fd, F_UNLCK); // a child that was started meanwhile shares the lock
    sys::close(m_fd);
}

// The guarded folders have rules of their own for names.
bool ReplacementFile::open_nameless(const std::string& folder)
{
    if (GuardedPath(m_target.c_str()))
        return false;
    m_fd = sys::open(folder.c_str(), O_RDWR | O_TMPFILE, private_mode);
    if (m_fd < 0 || sys::can_link_open_file(m_fd))
        return m_fd >= 0;
    sys::close(m_fd);
    m_fd = -1;
    return false;
}

bool ReplacementFile::open_named()
{
    remove_leftovers(folder_of(m_target));
    for (int attempt = 0; attempt < attempts; ++attempt)
    {
        std::string name = temporary_beside(m_target);
        m_fd = sys::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, private_mode);
        if (m_fd < 0)
            return false;
        m_name = std::move(name); // moved, as a copy could fail and leave the file open
        // Locked by a process that takes the file for a leftover.
        if (lock_owner_byte(m_fd, F_WRLCK) || (errno != EAGAIN && errno != EACCES))
            return true;
        sys::close(m_fd);
        m_fd = -1;
        m_name.clear();
    }
    return false;
}

bool ReplacementFile::give_name()
{
    remove_leftovers(folder_of(m_target));
    lock_owner_byte(m_fd, F_WRLCK);
    std::string name = temporary_beside(m_target);
    if (sys::link_open_file(m_fd, name.c_str()) != 0)
        return false;
    m_name = std::move(name);
    return true;
}

int ReplacementFile::put(bool replaces)
{
    if (m_name.empty())
    {
        if (sys::link_open_file(m_fd, m_target.c_str()) == 0)
            return 0;
        if (errno != EEXIST || !replaces || !give_name())
            return errno;
    }
    if ((replaces ? sys::rename(m_name.c_str(), m_target.c_str())
                  : rename_to_new(m_name.c_str(), m_target.c_str())) != 0)
        return errno;
    m_name.clear();
    return 0;
}

int ReplacementFile::put_synced()
{
    return sys::fsync(m_fd) == 0 ? put(true) : errno;
}

int rename_to_new(const char* from, const char* to)
{
    if (sys::renameat2(from, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return -1;
    struct stat found;
    if (sys::lstat(to, &found) == 0)
    {
        errno = EEXIST;
        return -1;
    }
    return sys::rename(from, to);
}

} // namespace platform
