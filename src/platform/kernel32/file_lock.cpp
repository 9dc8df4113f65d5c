// Byte-range locks, by locks of the open file description: they belong to the handle, meet other
// handles of the same process too, and go with it.
//
// They bind those who lock; plain reads and writes of others pass. A handle for reading alone can
// only hold a shared lock: it then makes sure that it is the only one.
#include <algorithm>

#include "file_object.h"
#include "share_modes.h"
#include "system/fork.h"
#include "windows.h"

using namespace platform;

namespace
{

std::mutex& ranges_lock()
{
    return FileObject::m_lock;
}

const AtFork g_at_fork(ForkStep::file_ranges, taken_at_fork<ranges_lock>());

// The part of a range that the kernel can lock: offsets end below the bytes of the share modes.
// False for a range that begins beyond.
bool clip(const FileObject::Range& wanted, struct flock& range)
{
    constexpr uint64_t limit = static_cast<uint64_t>(share_bytes_start);
    if (wanted.offset >= limit)
        return false;
    range = {};
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(wanted.offset);
    range.l_len = static_cast<off_t>(std::min(wanted.length, limit - wanted.offset));
    return true;
}

bool overlap(const FileObject::Range& a, const FileObject::Range& b)
{
    const auto end = [](const FileObject::Range& range)
    { return range.length > UINT64_MAX - range.offset ? UINT64_MAX : range.offset + range.length; };
    return a.offset < end(b) && b.offset < end(a);
}

BOOL lock_range(FileObject& file, struct flock range)
{
    const struct flock whole = range;
    range.l_type = file.writable() ? F_WRLCK : F_RDLCK;
    if (sys::fcntl_lock(file.fd(), F_OFD_SETLK, &range) != 0)
        return errno == EAGAIN || errno == EACCES ? fail_with(ERROR_LOCK_VIOLATION)
                                                  : fail_errno(errno);
    if (file.writable())
        return TRUE;
    range = whole;
    range.l_type = F_WRLCK;
    if (sys::fcntl_lock(file.fd(), F_OFD_GETLK, &range) == 0 && range.l_type == F_UNLCK)
        return TRUE;
    range = whole;
    range.l_type = F_UNLCK;
    sys::fcntl_lock(file.fd(), F_OFD_SETLK, &range);
    return fail_with(ERROR_LOCK_VIOLATION);
}

FileObject::Range joined(DWORD offsetLow, DWORD offsetHigh, DWORD sizeLow, DWORD sizeHigh)
{
    return {(static_cast<uint64_t>(offsetHigh) << 32) | offsetLow,
            (static_cast<uint64_t>(sizeHigh) << 32) | sizeLow};
}

} // namespace

extern "C" BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD sizeLow,
                         DWORD sizeHigh)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    const FileObject::Range wanted = joined(offsetLow, offsetHigh, sizeLow, sizeHigh);
    struct flock range;
    if (!clip(wanted, range))
        return fail_with(ERROR_INVALID_PARAMETER);
    const std::lock_guard guard(object->m_lock);
    for (const FileObject::Range& own : object->m_ranges)
        if (overlap(own, wanted))
            return fail_with(ERROR_LOCK_VIOLATION);
    try
    {
        object->m_ranges.reserve(object->m_ranges.size() + 1);
    }
    catch (const std::bad_alloc&)
    {
        return fail_with(ERROR_NOT_ENOUGH_MEMORY);
    }
    // An empty range locks nothing; to the kernel a length of 0 would mean everything.
    if (wanted.length != 0 && !lock_range(*object, range))
        return FALSE;
    object->m_ranges.push_back(wanted);
    return TRUE;
}

extern "C" BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD sizeLow,
                           DWORD sizeHigh)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    const FileObject::Range wanted = joined(offsetLow, offsetHigh, sizeLow, sizeHigh);
    const std::lock_guard guard(object->m_lock);
    const auto found = std::find(object->m_ranges.begin(), object->m_ranges.end(), wanted);
    struct flock range;
    if (found == object->m_ranges.end() || !clip(wanted, range))
        return fail_with(ERROR_NOT_LOCKED);
    range.l_type = F_UNLCK;
    if (wanted.length != 0 && sys::fcntl_lock(object->fd(), F_OFD_SETLK, &range) != 0)
        return fail_errno(errno);
    object->m_ranges.erase(found);
    return TRUE;
}
