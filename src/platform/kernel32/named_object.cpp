#include "named_object.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "debug_channel.h"
#include "system/calls.h"
#include "system/last_error.h"
#include "system/root.h"

namespace platform
{

namespace
{

constexpr off_t holder_byte = off_t{1} << 62; // beyond any content

struct flock holder_range(short type)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = holder_byte;
    range.l_len = 1;
    return range;
}

// Without the prefixes that name a session's objects: here all belong to the user.
std::string_view plain_name(std::string_view name)
{
    for (const std::string_view prefix : {"Local\\", "Global\\"})
        if (name.substr(0, prefix.size()) == prefix)
            return name.substr(prefix.size());
    return name;
}

constexpr NamedKind other_kind(NamedKind kind)
{
    return kind == NamedKind::event ? NamedKind::mapping : NamedKind::event;
}

bool is_held_at(const std::string& path)
{
    const int fd = sys::open(path.c_str(), O_RDWR | O_NOFOLLOW);
    if (fd < 0)
        return false;
    const bool held = is_held(fd);
    sys::close(fd);
    return held;
}

} // namespace

std::string named_object_path(NamedKind kind, const char* name)
{
    if (shared_folder().empty())
        return "";
    std::string path = shared_folder() + "/" + static_cast<char>(kind) + "-";
    for (const char c : plain_name(name))
    {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '-';
        char encoded[4];
        std::snprintf(encoded, sizeof encoded, plain ? "%c" : "%%%02X",
                      static_cast<unsigned char>(c));
        path += encoded;
    }
    return path;
}

bool is_held(int fd)
{
    struct flock range = holder_range(F_WRLCK);
    return sys::fcntl_lock(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

SharedGate::SharedGate() : m_fd(-1)
{
    if (shared_folder().empty())
        return;
    m_fd = sys::open((shared_folder() + "/gate").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    struct flock range = holder_range(F_WRLCK);
    if (m_fd >= 0 && sys::fcntl_lock(m_fd, F_OFD_SETLKW, &range) != 0)
    {
        sys::close(m_fd);
        m_fd = -1;
    }
}

SharedGate::~SharedGate()
{
    if (m_fd >= 0)
        sys::close(m_fd);
}

DWORD NamedObject::create(NamedKind kind, const char* name, size_t size)
{
    return join(kind, name, size, true);
}

DWORD NamedObject::open(NamedKind kind, const char* name)
{
    return join(kind, name, 0, false);
}

DWORD NamedObject::join(NamedKind kind, const char* name, size_t size, bool may_create)
{
    const std::string path = named_object_path(kind, name);
    if (path.empty() || path.size() - path.rfind('/') > 255)
        return path.empty() ? ERROR_NO_SYSTEM_RESOURCES : ERROR_FILENAME_EXCED_RANGE;
    const bool is_listener =
        kind == NamedKind::event && plain_name(name) == debug_channel_listener_event;
    if (is_listener)
        debug_channel_prepare();
    const SharedGate gate;
    if (!gate.ok())
        return ERROR_NO_SYSTEM_RESOURCES;
    if (is_held_at(named_object_path(other_kind(kind), name)))
        return ERROR_INVALID_HANDLE;

    const int fd = sys::open(path.c_str(), O_RDWR | O_NOFOLLOW | (may_create ? O_CREAT : 0), 0600);
    if (fd < 0)
        return system_error(errno);
    const bool existed = is_held(fd);
    struct stat found;
    struct flock hold = holder_range(F_RDLCK);
    DWORD error = 0;
    if (!existed && !may_create)
        error = ERROR_FILE_NOT_FOUND; // what a dead holder left
    else if (!existed &&
             (sys::ftruncate(fd, 0) != 0 || sys::ftruncate(fd, static_cast<off_t>(size)) != 0))
        error = system_error(errno);
    else if (sys::fstat(fd, &found) != 0 || sys::fcntl_lock(fd, F_OFD_SETLK, &hold) != 0)
        error = system_error(errno);
    if (error)
    {
        if (!existed)
            sys::unlink(path.c_str());
        sys::close(fd);
        return error;
    }
    m_fd = fd;
    m_existed = existed;
    m_size = static_cast<size_t>(found.st_size);
    m_path = path;
    m_is_listener = is_listener;
    if (m_is_listener && !existed)
        debug_channel_listener_came();
    return 0;
}

void NamedObject::close()
{
    if (m_fd < 0)
        return;
    const SharedGate gate;
    // The last holder takes the file along.
    if (gate.ok() && !is_held(m_fd))
    {
        sys::unlink(m_path.c_str());
        if (m_is_listener)
            debug_channel_listener_went();
    }
    sys::close(m_fd);
    m_fd = -1;
}

} // namespace platform
