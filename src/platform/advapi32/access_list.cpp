// Access lists: making an empty one and measuring one.
#include "access_list.h"

#include <cstring>

#include "system/faults.h"
#include "system/last_error.h"

using namespace platform;

namespace
{

bool is_revision(DWORD revision)
{
    return revision >= MIN_ACL_REVISION && revision <= MAX_ACL_REVISION;
}

// The bytes used by head and entries, or 0 if they don't fit within the list.
DWORD bytes_in_use(const ACL& list)
{
    const BYTE* const start = reinterpret_cast<const BYTE*>(&list);
    DWORD used = sizeof list;
    if (list.AclSize < used)
        return 0;
    for (WORD i = 0; i < list.AceCount; ++i)
    {
        AccessEntry entry;
        if (list.AclSize - used < sizeof entry)
            return 0;
        std::memcpy(&entry, start + used, sizeof entry);
        if (entry.size < sizeof entry || entry.size > list.AclSize - used)
            return 0;
        used += entry.size;
    }
    return used;
}

} // namespace

extern "C" BOOL InitializeAcl(PACL list, DWORD size, DWORD revision)
{
    int error = 0;
    if (api_fault("InitializeAcl", error))
        return fail_with(static_cast<DWORD>(error));
    if (size < sizeof *list)
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    if (!list || size > UINT16_MAX || !is_revision(revision))
        return fail_with(ERROR_INVALID_PARAMETER);
    *list = {static_cast<BYTE>(revision), 0, static_cast<WORD>(size & ~3u), 0, 0};
    return TRUE;
}

extern "C" BOOL GetAclInformation(PACL list, LPVOID info, DWORD size, ACL_INFORMATION_CLASS kind)
{
    int error = 0;
    if (api_fault("GetAclInformation", error))
        return fail_with(static_cast<DWORD>(error));
    if (!list || !info || kind != AclSizeInformation)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (size < sizeof(ACL_SIZE_INFORMATION))
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    const DWORD used = is_revision(list->AclRevision) ? bytes_in_use(*list) : 0;
    if (used == 0)
        return fail_with(ERROR_INVALID_ACL);
    *static_cast<ACL_SIZE_INFORMATION*>(info) = {list->AceCount, used, list->AclSize - used};
    return TRUE;
}

extern "C" DWORD GetLengthSid(PSID sid)
{
    return sid_size(sid);
}
