#include "named_object.h"

#include <cstdio>
#include <new>

#include "kernel32/file/file_status.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/fork_count.h"
#include "system/hash.h"
#include "system/last_error.h"
#include "system/root.h"
#include "system/timed_lock.h"

namespace platform
{

namespace
{

constexpr off_t holder_byte = off_t{1} << 62; // beyond any content
constexpr size_t longest_name = 260;          // characters
constexpr size_t longest_file_name = 200;     // bytes; a longer name is cut and ends in a hash
constexpr size_t reserved_at_once = 1u << 20; // bytes

constinit const ObjectWatcher* g_watcher = nullptr; // set before any object is made

struct flock holder_range(short type)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = holder_byte;
    range.l_len = 1;
    return range;
}

bool mark_as_held(int fd)
{
    struct flock range = holder_range(F_RDLCK);
    return sys::fcntl_lock(fd, F_OFD_SETLK, &range) == 0;
}

// Removes the prefixes that name a session's objects: here all belong to the user.
std::string_view plain_name(std::string_view name)
{
    for (const std::string_view prefix : {"Local\\", "Global\\"})
        if (name.substr(0, prefix.size()) == prefix)
            return name.substr(prefix.size());
    return name;
}

size_t characters(std::string_view utf8)
{
    size_t count = 0;
    for (const char c : utf8)
        count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return count;
}

// Any text as a file name: a character other than a plain letter, digit, '_' or '-' becomes %XX.
std::string file_name(std::string_view name)
{
    std::string encoded;
    for (const char c : name)
    {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '-';
        char unit[4];
        std::snprintf(unit, sizeof unit, plain ? "%c" : "%%%02X", static_cast<unsigned char>(c));
        encoded += unit;
    }
    if (encoded.size() > longest_file_name)
    {
        char tail[40];
        std::snprintf(tail, sizeof tail, ".%016llx%016llx",
                      static_cast<unsigned long long>(fnv1a(name)),
                      static_cast<unsigned long long>(fnv1a(name, 0x9E3779B97F4A7C15u)));
        encoded.resize(longest_file_name);
        encoded += tail;
    }
    return encoded;
}

// 0 if no process holds an object of another kind under the name.
DWORD refuse_other_kinds(NamedKind kind, const char* name)
{
    for (const NamedKind other : {NamedKind::event, NamedKind::mapping, NamedKind::semaphore})
        if (const Held state = other == kind ? Held::no : held(other, name); state != Held::no)
            return state == Held::yes ? ERROR_INVALID_HANDLE : system_error(errno);
    return 0;
}

} // namespace

ObjectWatcher::ObjectWatcher(NamedKind kind, std::string_view name, const Actions& actions)
    : m_kind(kind), m_name(name), m_actions(actions)
{
    g_watcher = this;
}

std::string named_object_path(NamedKind kind, const char* name)
{
    if (shared_folder().empty())
        return "";
    return shared_folder() + "/" + static_cast<char>(kind) + "-" + file_name(plain_name(name));
}

int open_own(const std::string& path, bool makes)
{
    const int flags = O_RDWR | O_NOFOLLOW | (makes ? O_CREAT : 0);
    const int fd = sys::open(path.c_str(), flags, 0600);
    if (fd >= 0 || !makes || (errno != ELOOP && errno != EACCES))
        return fd;
    if (sys::unlink(path.c_str()) != 0)
        sys::rmdir(path.c_str());
    return sys::open(path.c_str(), flags, 0600);
}

int reserve_shared(int fd, size_t size)
{
    if (size <= reserved_at_once)
    {
        if (sys::fallocate(fd, 0, 0, static_cast<off_t>(size)) == 0)
            return 0;
        if (!sys::lacks_fallocate(errno))
            return -1;
    }
    struct stat found;
    if (sys::fstat(fd, &found) != 0)
        return -1;
    const auto wanted = static_cast<off_t>(size);
    return found.st_size >= wanted ? 0 : sys::ftruncate(fd, wanted);
}

Held held(int fd)
{
    struct flock range = holder_range(F_WRLCK);
    if (sys::fcntl_lock(fd, F_OFD_GETLK, &range) != 0)
        return Held::unknown;
    return range.l_type == F_UNLCK ? Held::no : Held::yes;
}

Held held(NamedKind kind, const char* name, struct stat* found)
{
    const std::string path = named_object_path(kind, name);
    const int fd = path.empty() ? -1 : sys::open(path.c_str(), O_RDWR | O_NOFOLLOW, 0, found);
    if (fd < 0)
        return path.empty() || errno == ENOENT || errno == ELOOP || errno == EACCES ? Held::no
                                                                                    : Held::unknown;
    const Held state = held(fd);
    const int error = errno;
    sys::close(fd);
    errno = error;
    return state;
}

SharedGate::SharedGate(bool wanted) : m_fd(-1)
{
    try
    {
        if (wanted && !shared_folder().empty())
            take();
    }
    catch (const std::exception& exception)
    {
        failed_by(exception, FALSE); // without memory, work that needs the gate isn't done
    }
}

void SharedGate::take()
{
    const std::string path = shared_folder() + "/gate";
    m_fd = open_own(path, true);
    // A session manager may have removed the user's shared memory at a logout.
    if (m_fd < 0 && errno == ENOENT && sys::mkdir(shared_folder().c_str(), 0700) == 0)
        m_fd = open_own(path, true);
    const int error = m_fd < 0 ? 0 : lock_within(gate_patience, m_fd, holder_byte, 1);
    if (error)
    {
        m_gave_up = error == ETIMEDOUT;
        sys::close(m_fd);
        m_fd = -1;
    }
}

SharedGate::~SharedGate()
{
    if (m_fd < 0)
        return;
    unlock(m_fd, holder_byte, 1);
    sys::close(m_fd);
}

DWORD NamedObject::create(NamedKind kind, const char* name, size_t size, std::string_view start)
{
    const Content content{size, start};
    return join(kind, name, &content);
}

DWORD NamedObject::open(NamedKind kind, const char* name)
{
    return join(kind, name, nullptr);
}

DWORD NamedObject::join(NamedKind kind, const char* name, const Content* content)
{
    if (shared_folder().empty())
        return ERROR_NO_SYSTEM_RESOURCES;
    const std::string_view plain = plain_name(name);
    if (characters(plain) > longest_name)
        return ERROR_FILENAME_EXCED_RANGE;
    if (plain.find('\\') != std::string_view::npos) // a folder of objects, and there are none
        return ERROR_PATH_NOT_FOUND;
    m_watcher = g_watcher && g_watcher->watches(kind, plain) ? g_watcher : nullptr;
    if (m_watcher)
        m_watcher->actions().prepare();
    try
    {
        m_path = named_object_path(kind, name);
        const SharedGate gate;
        return gate.ok() ? join_under_gate(kind, name, content) : ERROR_NO_SYSTEM_RESOURCES;
    }
    catch (const std::bad_alloc&)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

DWORD NamedObject::join_under_gate(NamedKind kind, const char* name, const Content* content)
{
    if (const DWORD error = refuse_other_kinds(kind, name))
        return error;
    int fd = sys::open(m_path.c_str(), O_RDWR | O_NOFOLLOW);
    if (fd < 0 && errno != ENOENT && errno != ELOOP && errno != EACCES)
        return system_error(errno);
    if (fd >= 0)
    {
        const Held state = held(fd);
        if (state == Held::yes)
        {
            m_existed = true;
            return hold(fd);
        }
        const int error = errno;
        sys::close(fd);
        if (state == Held::unknown)
            return system_error(error);
    }
    if (!content)
        return ERROR_FILE_NOT_FOUND;

    // An existing file was left by a dead holder or by a foreign program.
    if (sys::unlink(m_path.c_str()) != 0 && errno != ENOENT && sys::rmdir(m_path.c_str()) != 0)
        return system_error(errno);
    fd = sys::open(m_path.c_str(), O_RDWR | O_NOFOLLOW | O_CREAT | O_EXCL, 0600);
    if (fd < 0)
        return system_error(errno);
    DWORD error = 0;
    if (reserve_shared(fd, content->size) != 0 ||
        sys::pwrite(fd, content->start.data(), content->start.size(), 0) !=
            static_cast<ssize_t>(content->start.size()))
    {
        error = system_error(errno);
        sys::close(fd);
    }
    else
        error = hold(fd);
    if (error)
        sys::unlink(m_path.c_str());
    else if (m_watcher)
        m_watcher->actions().came();
    return error;
}

// Becomes a holder of the file, which is closed on failure. Needs the gate.
DWORD NamedObject::hold(int fd)
{
    struct stat found;
    if (sys::fstat(fd, &found) != 0 || !mark_as_held(fd))
    {
        const DWORD error = system_error(errno);
        sys::close(fd);
        return error;
    }
    m_file.take(fd, found, m_path.c_str(), mark_as_held);
    m_forks = fork_count();
    m_size = static_cast<size_t>(found.st_size);
    return 0;
}

// The file may have been removed by hand, and another object may have its name now.
bool NamedObject::is_still_named() const
{
    struct stat there;
    return sys::lstat(m_path.c_str(), &there) == 0 && m_file.is_file(there);
}

void NamedObject::close()
{
    if (!m_file.taken())
        return;
    // A forked child shares its parent's hold: when the child releases it, nothing ends.
    const bool is_own = m_forks == fork_count();
    const SharedGate gate(is_own);
    // The last holder removes the file.
    const int fd = m_file.checked_number();
    if (is_own && fd >= 0 && gate.ok() && held(fd) == Held::no && is_still_named())
    {
        sys::unlink(m_path.c_str());
        if (m_watcher)
            m_watcher->actions().went();
    }
    m_file.close();
}

} // namespace platform
