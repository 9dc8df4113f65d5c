// Opening and closing files: the translation of the library's flag language into the system's
// access, share and disposition words, and the owner-only security descriptor.
#include <memory>
#include <new>

#include <windows.h>

#include <aclapi.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

// FILE_FLAG_RANDOM_ACCESS: callers read and write blocks in any order.
constexpr DWORD open_attributes = FILE_FLAG_RANDOM_ACCESS | FILE_ATTRIBUTE_NORMAL;

constexpr DWORD all_rights = 0x1FFFFF;
constexpr DWORD user_name_limit = 257; // characters, terminator included

DWORD AccessWord(unsigned int access)
{
    return (access & QV_OPEN_READ ? GENERIC_READ : 0) |
           (access & QV_OPEN_WRITE ? GENERIC_WRITE : 0);
}

DWORD ShareWord(unsigned int share)
{
    return (share & QV_SHARE_READ ? FILE_SHARE_READ : 0) |
           (share & QV_SHARE_WRITE ? FILE_SHARE_WRITE : 0);
}

DWORD Disposition(unsigned int access)
{
    const struct
    {
        unsigned int bits;
        DWORD disposition;
    } rules[] = {
        {QV_OPEN_CREATE | QV_OPEN_ALWAYS, CREATE_ALWAYS},
        {QV_OPEN_CREATE, CREATE_NEW},
        {QV_OPEN_ALWAYS, OPEN_ALWAYS},
        {QV_OPEN_TRUNCATE, TRUNCATE_EXISTING},
    };
    for (const auto& rule : rules)
        if ((access & rule.bits) == rule.bits)
            return rule.disposition;
    return OPEN_EXISTING;
}

struct LocalFreeer
{
    void operator()(void* memory) const { LocalFree(memory); }
};

// A descriptor that grants all rights to the current user only. It owns memory that the system
// keeps pointers to, so it outlives the call that opens the file.
class OwnerOnlySecurity
{
public:
    // QV_OK or QV_ERR_SYSTEM.
    int Build()
    {
        wchar_t user[user_name_limit];
        DWORD userSize = user_name_limit;
        if (!GetUserNameW(user, &userSize))
            return QV_ERR_SYSTEM;

        // The first call returns the sizes, the second fills the buffers. A look-up that fails
        // leaves an identifier of zeroes, which is no user: SetEntriesInAclW refuses it.
        DWORD sidSize = 0;
        DWORD domainSize = 0;
        SID_NAME_USE use = SidTypeUnknown;
        LookupAccountNameW(nullptr, user, nullptr, &sidSize, nullptr, &domainSize, &use);
        m_sid.reset(new (std::nothrow) BYTE[sidSize ? sidSize : 1]());
        m_domain.reset(new (std::nothrow) wchar_t[domainSize + 1]());
        if (!m_sid || !m_domain)
            return QV_ERR_SYSTEM;
        LookupAccountNameW(nullptr, user, m_sid.get(), &sidSize, m_domain.get(), &domainSize, &use);

        EXPLICIT_ACCESSW entry = {};
        entry.grfAccessPermissions = all_rights;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = NO_INHERITANCE;
        entry.Trustee.MultipleTrusteeOperation = NO_MULTIPLE_TRUSTEE;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
        entry.Trustee.ptstrName = reinterpret_cast<LPWSTR>(m_sid.get());
        PACL list = nullptr;
        if (SetEntriesInAclW(1, &entry, nullptr, &list) != ERROR_SUCCESS)
            return QV_ERR_SYSTEM;
        m_list.reset(list);

        m_descriptor.reset(LocalAlloc(LMEM_ZEROINIT, SECURITY_DESCRIPTOR_MIN_LENGTH));
        if (!m_descriptor ||
            !InitializeSecurityDescriptor(m_descriptor.get(), SECURITY_DESCRIPTOR_REVISION) ||
            !SetSecurityDescriptorDacl(m_descriptor.get(), TRUE, list, FALSE))
            return QV_ERR_SYSTEM;

        m_attributes.nLength = sizeof m_attributes;
        m_attributes.lpSecurityDescriptor = m_descriptor.get();
        m_attributes.bInheritHandle = FALSE;
        return QV_OK;
    }

    SECURITY_ATTRIBUTES* Attributes() { return &m_attributes; }

private:
    std::unique_ptr<BYTE[]> m_sid;
    std::unique_ptr<wchar_t[]> m_domain;
    std::unique_ptr<void, LocalFreeer> m_list;
    std::unique_ptr<void, LocalFreeer> m_descriptor;
    SECURITY_ATTRIBUTES m_attributes = {};
};

int Open(const wchar_t* path, unsigned int access, unsigned int share,
         SECURITY_ATTRIBUTES* attributes, QvFile* file)
{
    const HANDLE handle = CreateFileW(path, AccessWord(access), ShareWord(share), attributes,
                                      Disposition(access), open_attributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return QV_ERR_OPENFILE;
    *file = handle;
    return QV_OK;
}

} // namespace

extern "C" int QV_OpenFile(const wchar_t* path, unsigned int access, unsigned int share,
                           int security, QvFile* file)
{
    if (!file)
        return QvRefuse(QV_ERR_NULLPTR, L"file==NULL", L"QV_OpenFile: No place for the file.",
                        source_name, __LINE__);
    if (security == QV_SECURITY_DEFAULT)
        return Open(path, access, share, nullptr, file);
    if (security != QV_SECURITY_OWNER_ONLY)
        return QvRefuse(QV_ERR_BADARG, L"security!=QV_SECURITY_OWNER_ONLY",
                        L"QV_OpenFile: Wrong security.", source_name, __LINE__);

    OwnerOnlySecurity owner;
    const int status = owner.Build();
    return status == QV_OK ? Open(path, access, share, owner.Attributes(), file) : status;
}

extern "C" int QV_CloseFile(QvFile file)
{
    return CloseHandle(file) ? QV_OK : QV_ERR_CLOSEFILE;
}
