// Accounts and security descriptors.
#include <cstdlib>
#include <cstring>
#include <string>

#include <pwd.h>
#include <unistd.h>

#include <windows.h>

#include <aclapi.h>

#include "access_list.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"

using namespace platform;

namespace
{

std::string user_name()
{
    passwd entry;
    passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found)
        return found->pw_name;
    return std::to_string(geteuid()); // a user without an entry
}

bool user_number(const std::string& name, uid_t& number)
{
    passwd entry;
    passwd* found = nullptr;
    char buffer[4096];
    if (getpwnam_r(name.c_str(), &entry, buffer, sizeof buffer, &found) == 0 && found)
    {
        number = found->pw_uid;
        return true;
    }
    number = geteuid();
    return name == std::to_string(number);
}

} // namespace

extern "C" BOOL GetUserNameW(LPWSTR buffer, LPDWORD size)
try
{
    int error = 0;
    if (api_fault("GetUserNameW", error))
        return fail_with(static_cast<DWORD>(error));
    if (!size)
        return fail_with(ERROR_INVALID_PARAMETER);
    const std::string name = user_name();
    const DWORD result = copy_to_caller(name, buffer, *size);
    const bool fits = buffer && result < *size;
    *size = fits ? result + 1 : result;
    return fits ? TRUE : fail_with(ERROR_INSUFFICIENT_BUFFER);
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}

extern "C" BOOL LookupAccountNameW(LPCWSTR, LPCWSTR account, PSID sid, LPDWORD sid_size,
                                   LPWSTR domain, LPDWORD domain_size, PSID_NAME_USE use)
try
{
    int error = 0;
    if (api_fault("LookupAccountNameW", error))
        return fail_with(static_cast<DWORD>(error));
    uid_t number = 0;
    if (!account || !sid_size || !domain_size || !use)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (!user_number(to_utf8(account), number))
        return fail_with(ERROR_NONE_MAPPED);
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    const Sid found = user_sid(number);
    const DWORD domain_needed = copy_to_caller(host, nullptr, 0);
    if (!sid || *sid_size < sizeof found || (domain_needed > *domain_size) || !domain)
    {
        *sid_size = sizeof found;
        *domain_size = domain_needed;
        return fail_with(ERROR_INSUFFICIENT_BUFFER);
    }
    std::memcpy(sid, &found, sizeof found);
    *sid_size = sizeof found;
    *domain_size = copy_to_caller(host, domain, *domain_size);
    *use = SidTypeUser;
    return TRUE;
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}

extern "C" BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision)
{
    int error = 0;
    if (api_fault("InitializeSecurityDescriptor", error))
        return fail_with(static_cast<DWORD>(error));
    if (revision != SECURITY_DESCRIPTOR_REVISION)
        return fail_with(ERROR_UNKNOWN_REVISION);
    auto* const made = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    *made = {};
    made->Revision = static_cast<BYTE>(revision);
    return TRUE;
}

extern "C" BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list,
                                          BOOL defaulted)
{
    int error = 0;
    if (api_fault("SetSecurityDescriptorDacl", error))
        return fail_with(static_cast<DWORD>(error));
    auto* const changed = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    if (!changed || changed->Revision != SECURITY_DESCRIPTOR_REVISION)
        return fail_with(ERROR_INVALID_SECURITY_DESCR);
    changed->Control =
        static_cast<WORD>((present ? SE_DACL_PRESENT : 0) | (defaulted ? SE_DACL_DEFAULTED : 0));
    changed->Dacl = present ? list : nullptr;
    return TRUE;
}

// A descriptor holds pointers, or offsets of data that follows it.
extern "C" BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present,
                                          PACL* list, LPBOOL defaulted)
{
    int error = 0;
    if (api_fault("GetSecurityDescriptorDacl", error))
        return fail_with(static_cast<DWORD>(error));
    if (!descriptor || !present || !list || !defaulted)
        return fail_with(ERROR_INVALID_PARAMETER);
    const auto* const relative = static_cast<const SECURITY_DESCRIPTOR_RELATIVE*>(descriptor);
    if (relative->Revision != SECURITY_DESCRIPTOR_REVISION)
        return fail_with(ERROR_UNKNOWN_REVISION);
    *present = (relative->Control & SE_DACL_PRESENT) != 0;
    if (!*present)
        return TRUE;
    *defaulted = (relative->Control & SE_DACL_DEFAULTED) != 0;
    if (!(relative->Control & SE_SELF_RELATIVE))
        *list = static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Dacl;
    else
        *list = relative->Dacl
                    ? reinterpret_cast<ACL*>(static_cast<BYTE*>(descriptor) + relative->Dacl)
                    : nullptr;
    return TRUE;
}

extern "C" DWORD SetEntriesInAclW(ULONG count, PEXPLICIT_ACCESS_W entries, PACL, PACL* result)
{
    int error = 0;
    if (api_fault("SetEntriesInAclW", error))
        return static_cast<DWORD>(error);
    if (!entries || !result)
        return ERROR_INVALID_PARAMETER;
    size_t size = sizeof(ACL);
    for (ULONG i = 0; i < count; ++i)
    {
        const TRUSTEE_W& trustee = entries[i].Trustee;
        if (trustee.TrusteeForm != TRUSTEE_IS_SID || !trustee.ptstrName ||
            sid_size(trustee.ptstrName) == 0)
            return ERROR_INVALID_PARAMETER;
        size += sizeof(AccessEntry) + sid_size(trustee.ptstrName);
    }
    if (size > UINT16_MAX)
        return ERROR_INVALID_PARAMETER;
    auto* const list = static_cast<ACL*>(LocalAlloc(LMEM_ZEROINIT, size));
    if (!list)
        return ERROR_NOT_ENOUGH_MEMORY;
    list->AclRevision = ACL_REVISION;
    list->AclSize = static_cast<WORD>(size);
    list->AceCount = static_cast<WORD>(count);
    BYTE* at = reinterpret_cast<BYTE*>(list + 1);
    for (ULONG i = 0; i < count; ++i)
    {
        const void* const sid = entries[i].Trustee.ptstrName;
        const DWORD length = sid_size(sid);
        const AccessEntry entry = {0, static_cast<BYTE>(entries[i].grfInheritance),
                                   static_cast<WORD>(sizeof entry + length),
                                   entries[i].grfAccessPermissions};
        std::memcpy(at, &entry, sizeof entry);
        std::memcpy(at + sizeof entry, sid, length);
        at += sizeof entry + length;
    }
    *result = list;
    return ERROR_SUCCESS;
}
