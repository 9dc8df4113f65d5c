// Access rights of a file. The checks that a change needs are made, but nothing is changed.
//
// The security functions are looked up by name at each call, because systems without access lists
// lacked some of them.
#include <memory>

#include <windows.h>

#include "plinth_w32_system.h"

namespace
{

constexpr DWORD user_name_limit = 257; // characters, terminator included
constexpr DWORD list_extra = 8;        // bytes more for the new list: the head of one more entry

struct SecurityFunctions
{
    decltype(&LookupAccountNameW) lookupAccountName = nullptr;
    decltype(&GetFileSecurityW) getFileSecurity = nullptr;
    decltype(&InitializeSecurityDescriptor) initializeSecurityDescriptor = nullptr;
    decltype(&GetSecurityDescriptorDacl) getSecurityDescriptorDacl = nullptr;
    decltype(&GetAclInformation) getAclInformation = nullptr;
    decltype(&GetLengthSid) getLengthSid = nullptr;
    decltype(&InitializeAcl) initializeAcl = nullptr;

    bool Find()
    {
        const HMODULE module = GetModuleHandleW(L"advapi32.dll");
        if (!module || !Find(module, "LookupAccountNameW", lookupAccountName) ||
            !Find(module, "GetFileSecurityW", getFileSecurity) ||
            !Find(module, "InitializeSecurityDescriptor", initializeSecurityDescriptor) ||
            !Find(module, "GetSecurityDescriptorDacl", getSecurityDescriptorDacl) ||
            !Find(module, "GetAclInformation", getAclInformation))
            return false;
        Find(module, "GetLengthSid", getLengthSid); // optional
        return Find(module, "InitializeAcl", initializeAcl);
    }

private:
    template <class Function> static bool Find(HMODULE module, const char* name, Function& function)
    {
        function =
            reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
        return function != nullptr;
    }
};

// Scratch memory with the alignment that the system's structures need.
using Memory = std::unique_ptr<uint64_t[]>;

Memory Allocate(size_t bytes)
{
    return std::make_unique<uint64_t[]>(bytes / sizeof(uint64_t) + 1);
}

bool FailedForSize(BOOL good)
{
    return good || GetLastError() == ERROR_INSUFFICIENT_BUFFER;
}

bool LookUpAccount(const SecurityFunctions& call, const wchar_t* user, Memory& sid, DWORD& sidSize)
{
    DWORD domainSize = 0;
    SID_NAME_USE use = SidTypeUnknown;
    if (!FailedForSize(
            call.lookupAccountName(nullptr, user, nullptr, &sidSize, nullptr, &domainSize, &use)))
        return false;
    sid = Allocate(size_t{sidSize} + 1);
    const auto domain = std::make_unique<wchar_t[]>(size_t{domainSize} + 1);
    return call.lookupAccountName(nullptr, user, sid.get(), &sidSize, domain.get(), &domainSize,
                                  &use);
}

bool ReadFileSecurity(const SecurityFunctions& call, const wchar_t* path, Memory& descriptor)
{
    DWORD size = 0;
    if (!FailedForSize(call.getFileSecurity(path, DACL_SECURITY_INFORMATION, nullptr, 0, &size)))
        return false;
    descriptor = Allocate(size);
    return call.getFileSecurity(path, DACL_SECURITY_INFORMATION, descriptor.get(), size, &size);
}

// Creates an empty list with room for one entry more than the file's list, and nothing else.
bool PrepareList(const SecurityFunctions& call, PSECURITY_DESCRIPTOR descriptor, DWORD sidLength)
{
    SECURITY_DESCRIPTOR changed;
    if (!call.initializeSecurityDescriptor(&changed, SECURITY_DESCRIPTOR_REVISION))
        return false;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PACL list = nullptr;
    if (!call.getSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) || !present ||
        !list)
        return false;
    ACL_SIZE_INFORMATION info = {};
    if (!call.getAclInformation(list, &info, sizeof info, AclSizeInformation))
        return false;
    const DWORD size = sidLength + info.AclBytesInUse + list_extra;
    const Memory made = Allocate(size);
    return call.initializeAcl(reinterpret_cast<PACL>(made.get()), size, ACL_REVISION);
}

} // namespace

extern "C" int QV_GetAccessRights(const wchar_t*, unsigned int*)
{
    return QV_ERR_BADARG;
}

extern "C" int QV_SetAccessRights(const wchar_t* path, unsigned int)
{
    wchar_t user[user_name_limit];
    DWORD userSize = user_name_limit;
    if (!GetUserNameW(user, &userSize))
        return QV_ERR_ACCESSRIGHTS;
    SecurityFunctions call;
    if (!call.Find())
        return QV_ERR_NOSYMBOL;

    Memory sid;
    DWORD sidSize = 0;
    Memory descriptor;
    if (!LookUpAccount(call, user, sid, sidSize) || !ReadFileSecurity(call, path, descriptor))
        return QV_ERR_ACCESSRIGHTS;
    const DWORD sidLength = call.getLengthSid ? call.getLengthSid(sid.get()) : sidSize;
    return PrepareList(call, descriptor.get(), sidLength) ? QV_ERR_BADARG : QV_ERR_ACCESSRIGHTS;
}
