// The access list of a file, made from its mode bits.
//
// On Linux only the first class that a user belongs to decides (owner, group or others), while the
// entries of a list add up. So an entry that denies precedes each one that allows less than a later
// class has. A file system that keeps no owner and mode of each file has no lists.
#include <cstring>

#include "access_list.h"
#include "kernel32/file/native_path.h"
#include "system/calls.h"
#include "system/faults.h"

using namespace platform;

namespace
{

constexpr BYTE allowed = 0;
constexpr BYTE denied = 1;

DWORD mask_of(mode_t bits)
{
    return (bits & 4 ? FILE_GENERIC_READ : 0) | (bits & 2 ? FILE_GENERIC_WRITE : 0) |
           (bits & 1 ? FILE_GENERIC_EXECUTE : 0);
}

// A list of up to five entries while it is being made.
class FileList
{
public:
    FileList() { m_head.AclRevision = ACL_REVISION; }

    void add(BYTE type, DWORD mask, const Sid& sid)
    {
        if (mask == 0)
            return;
        const DWORD length = sid_size(&sid);
        const AccessEntry entry = {type, 0, static_cast<WORD>(sizeof entry + length), mask};
        std::memcpy(m_entries + m_used, &entry, sizeof entry);
        std::memcpy(m_entries + m_used + sizeof entry, &sid, length);
        m_used += entry.size;
        ++m_head.AceCount;
    }

    DWORD size() const { return static_cast<DWORD>(sizeof m_head) + m_used; }

    void copy_to(BYTE* target)
    {
        m_head.AclSize = static_cast<WORD>(size());
        std::memcpy(target, &m_head, sizeof m_head);
        std::memcpy(target + sizeof m_head, m_entries, m_used);
    }

private:
    ACL m_head = {};
    BYTE m_entries[5 * (sizeof(AccessEntry) + sizeof(Sid))] = {};
    DWORD m_used = 0;
};

FileList list_of(const struct stat& file)
{
    const mode_t owner = file.st_mode >> 6 & 7;
    const mode_t group = file.st_mode >> 3 & 7;
    const mode_t others = file.st_mode & 7;
    FileList list;
    // Denying must not remove the rights that no mode bit removes: only data rights are denied.
    constexpr DWORD kept = STANDARD_RIGHTS_READ | SYNCHRONIZE | FILE_READ_ATTRIBUTES;
    list.add(denied, mask_of((group | others) & ~owner) & ~kept, user_sid(file.st_uid));
    list.add(allowed, mask_of(owner) | READ_CONTROL | WRITE_DAC, user_sid(file.st_uid));
    list.add(denied, mask_of(others & ~group) & ~kept, group_sid(file.st_gid));
    list.add(allowed, mask_of(group), group_sid(file.st_gid));
    list.add(allowed, mask_of(others), everyone_sid());
    return list;
}

bool has_lists(const char* path)
{
    int error = 0;
    if (api_fault("file lists", error)) // for tests, which have no such file system
        return false;
    constexpr decltype(statfs::f_type) without[] = {0x4d44, 0x2011bab0}; // FAT, exFAT
    struct statfs found;
    if (sys::statfs(path, &found) != 0)
        return true;
    for (const auto type : without)
        if (found.f_type == type)
            return false;
    return true;
}

} // namespace

extern "C" BOOL GetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION wanted,
                                 PSECURITY_DESCRIPTOR descriptor, DWORD size, LPDWORD needed)
{
    int error = 0;
    if (api_fault("GetFileSecurityW", error))
        return fail_with(static_cast<DWORD>(error));
    if (!needed || (wanted & ~DACL_SECURITY_INFORMATION) != 0)
        return fail_with(ERROR_INVALID_PARAMETER);
    const NativePath native(path);
    if (!native.ok())
        return FALSE;
    struct stat found;
    if (sys::stat(native.c_str(), &found) != 0)
        return native.fail(errno);

    SECURITY_DESCRIPTOR_RELATIVE head = {};
    head.Revision = SECURITY_DESCRIPTOR_REVISION;
    head.Control = SE_SELF_RELATIVE;
    FileList list = list_of(found);
    const bool listed = (wanted & DACL_SECURITY_INFORMATION) != 0 && has_lists(native.c_str());
    if (listed)
    {
        head.Control |= SE_DACL_PRESENT;
        head.Dacl = sizeof head;
    }
    *needed = static_cast<DWORD>(sizeof head) + (listed ? list.size() : 0);
    if (!descriptor || size < *needed)
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(descriptor, &head, sizeof head);
    if (listed)
        list.copy_to(static_cast<BYTE*>(descriptor) + sizeof head);
    return TRUE;
}
