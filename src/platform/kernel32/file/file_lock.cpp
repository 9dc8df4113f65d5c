// Byte-range locks, made with locks of the open file description: they belong to the handle,
// conflict with other handles of the same process too, and are released when it is closed.
//
// They only bind callers that lock; plain reads and writes ignore them. A handle without write
// access can only hold a shared lock: it then makes sure that it is the only holder.
#include <algorithm>

#include "file_object.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/fork_count.h"
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

FileObject::Range joined(DWORD offset_low, DWORD offset_high, DWORD size_low, DWORD size_high)
{
    return {(static_cast<uint64_t>(offset_high) << 32) | offset_low,
            (static_cast<uint64_t>(size_high) << 32) | size_low, fork_count()};
}

// 0 or an errno.
int unlock_range(const FileObject& file, const FileObject::Range& locked)
{
    struct flock range;
    if (locked.length == 0 || !clip(locked, range))
        return 0;
    range.l_type = F_UNLCK;
    return sys::fcntl_lock(file.fd(), F_OFD_SETLK, &range) == 0 ? 0 : errno;
}

} // namespace

// A forked child releases only the locks that it took itself, none of its parent's.
DWORD FileObject::close()
{
    if (!m_file.is_own())
        for (const Range& range : m_ranges)
            if (range.process == fork_count())
                unlock_range(*this, range);
    return (m_own ? m_own->close() : m_file.close()) == 0 ? 0 : system_error(errno);
}

void FileObject::keep_as_own(const struct stat& found, const char* path,
                             const ShareRequest& request)
{
    m_own.reset(new (std::nothrow) OwnClaimedFile);
    if (m_own)
        m_own->take(std::move(m_file), found, path, request);
}

extern "C" BOOL LockFile(HANDLE file, DWORD offset_low, DWORD offset_high, DWORD size_low,
                         DWORD size_high)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    const FileObject::Range wanted = joined(offset_low, offset_high, size_low, size_high);
    struct flock range;
    if (wanted.length != 0 && wanted.offset > UINT64_MAX - (wanted.length - 1))
        return fail_with(ERROR_INVALID_LOCK_RANGE);
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
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
    // An empty range locks nothing; to the kernel a length of 0 would mean everything.
    if (wanted.length != 0 && !lock_range(*object, range))
        return FALSE;
    object->m_ranges.push_back(wanted);
    object->m_file.hold_range();
    return TRUE;
}

extern "C" BOOL UnlockFile(HANDLE file, DWORD offset_low, DWORD offset_high, DWORD size_low,
                           DWORD size_high)
{
    const Pin<FileObject> object(file);
    if (!object)
        return FALSE;
    const FileObject::Range wanted = joined(offset_low, offset_high, size_low, size_high);
    const std::lock_guard guard(object->m_lock);
    const auto found =
        std::find_if(object->m_ranges.begin(), object->m_ranges.end(),
                     [&wanted](const FileObject::Range& range) { return range.is(wanted); });
    if (found == object->m_ranges.end())
        return fail_with(ERROR_NOT_LOCKED);
    if (const int error = unlock_range(*object, wanted))
        return fail_errno(error);
    object->m_ranges.erase(found);
    return TRUE;
}
