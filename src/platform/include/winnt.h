// Constants and structures of the kernel interface: access words, attributes, security, versions.
#ifndef PLINTH_PLATFORM_WINNT_H
#define PLINTH_PLATFORM_WINNT_H

#include "windef.h"

typedef union LARGE_INTEGER
{
    __extension__ struct
    {
        DWORD LowPart;
        LONG HighPart;
    };
    struct
    {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
} LARGE_INTEGER;

typedef union ULARGE_INTEGER
{
    __extension__ struct
    {
        DWORD LowPart;
        DWORD HighPart;
    };
    struct
    {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
} ULARGE_INTEGER, *PULARGE_INTEGER;

#define MAXLONG 0x7fffffff
#define UNREFERENCED_PARAMETER(parameter) ((void)(parameter))
#ifdef __cplusplus
// Only for an array; a pointer doesn't compile.
template <class Item, size_t Count> char (&plinth_array_of_size(Item (&)[Count]))[Count];
#define ARRAYSIZE(array) (sizeof(plinth_array_of_size(array)))
#else
#define ARRAYSIZE(array) (sizeof(array) / sizeof((array)[0]))
#endif

#define LANG_NEUTRAL 0x00
#define SUBLANG_NEUTRAL 0x00
#define MAKELANGID(primary, sub) ((WORD)(((WORD)(sub) << 10) | (WORD)(primary)))

PLINTH_CONSTANT(DELETE, 0x00010000u);
PLINTH_CONSTANT(READ_CONTROL, 0x00020000u);
#define WRITE_DAC 0x00040000u
#define WRITE_OWNER 0x00080000u
PLINTH_CONSTANT(SYNCHRONIZE, 0x00100000u);
#define STANDARD_RIGHTS_REQUIRED 0x000F0000u
#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u
#define FILE_READ_DATA 0x0001u
#define FILE_LIST_DIRECTORY 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u
#define STANDARD_RIGHTS_READ READ_CONTROL
#define FILE_GENERIC_READ 0x00120089u
#define FILE_GENERIC_WRITE 0x00120116u
#define FILE_GENERIC_EXECUTE 0x001200A0u

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400u

#define PAGE_NOACCESS 0x01u
#define PAGE_READONLY 0x02u
#define PAGE_READWRITE 0x04u
#define PAGE_WRITECOPY 0x08u
#define SECTION_MAP_WRITE 0x0002u
#define SECTION_MAP_READ 0x0004u
#define SECTION_ALL_ACCESS 0x000F001Fu
#define EVENT_MODIFY_STATE 0x0002u
#define EVENT_ALL_ACCESS 0x001F0003u
#define SEMAPHORE_MODIFY_STATE 0x0002u
#define SEMAPHORE_ALL_ACCESS 0x001F0003u

#define VER_PLATFORM_WIN32_WINDOWS 1u
#define VER_PLATFORM_WIN32_NT 2u

typedef struct OSVERSIONINFOW
{
    DWORD dwOSVersionInfoSize; // 276
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
} OSVERSIONINFOW, *LPOSVERSIONINFOW;

#define VER_NT_WORKSTATION 1
typedef struct OSVERSIONINFOEXW
{
    DWORD dwOSVersionInfoSize; // 284
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
} OSVERSIONINFOEXW, *LPOSVERSIONINFOEXW;

typedef struct RTL_CRITICAL_SECTION
{
    void* DebugInfo;
    LONG LockCount;      // the futex word of the stand-in
    LONG RecursionCount; // only the owner changes it
    HANDLE OwningThread; // thread id of the owner, 0 for none
    HANDLE LockSemaphore;
    ULONG_PTR SpinCount;
} RTL_CRITICAL_SECTION, CRITICAL_SECTION, *LPCRITICAL_SECTION, *PCRITICAL_SECTION;

typedef PVOID PSID;
typedef PVOID PSECURITY_DESCRIPTOR;

typedef struct ACL
{
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize;
    WORD AceCount;
    WORD Sbz2;
} ACL, *PACL;

#define ACL_REVISION 2u
#define MIN_ACL_REVISION 2u
#define MAX_ACL_REVISION 4u

typedef enum ACL_INFORMATION_CLASS
{
    AclRevisionInformation = 1,
    AclSizeInformation
} ACL_INFORMATION_CLASS;

typedef struct ACL_SIZE_INFORMATION
{
    DWORD AceCount;
    DWORD AclBytesInUse;
    DWORD AclBytesFree;
} ACL_SIZE_INFORMATION;

typedef struct SECURITY_DESCRIPTOR
{
    BYTE Revision;
    BYTE Sbz1;
    WORD Control;
    PSID Owner;
    PSID Group;
    PACL Sacl;
    PACL Dacl;
} SECURITY_DESCRIPTOR;

// The same with offsets from its start instead of pointers, 0 for none: SE_SELF_RELATIVE.
typedef struct SECURITY_DESCRIPTOR_RELATIVE
{
    BYTE Revision;
    BYTE Sbz1;
    WORD Control;
    DWORD Owner;
    DWORD Group;
    DWORD Sacl;
    DWORD Dacl;
} SECURITY_DESCRIPTOR_RELATIVE;

typedef DWORD SECURITY_INFORMATION;
#define DACL_SECURITY_INFORMATION 0x00000004u

#define SECURITY_DESCRIPTOR_REVISION 1u
#define SECURITY_DESCRIPTOR_MIN_LENGTH 40u
#define SE_DACL_PRESENT 0x0004u
#define SE_DACL_DEFAULTED 0x0008u
#define SE_SELF_RELATIVE 0x8000u

typedef enum SID_NAME_USE
{
    SidTypeUser = 1,
    SidTypeGroup,
    SidTypeDomain,
    SidTypeAlias,
    SidTypeWellKnownGroup,
    SidTypeDeletedAccount,
    SidTypeInvalid,
    SidTypeUnknown,
    SidTypeComputer
} SID_NAME_USE,
    *PSID_NAME_USE;

#define IMAGE_FILE_MACHINE_AMD64 0x8664u
#define CONTEXT_AMD64 0x00100000u
#define CONTEXT_CONTROL (CONTEXT_AMD64 | 0x1u)
#define CONTEXT_INTEGER (CONTEXT_AMD64 | 0x2u)
#define CONTEXT_FLOATING_POINT (CONTEXT_AMD64 | 0x8u)
#define CONTEXT_FULL (CONTEXT_CONTROL | CONTEXT_INTEGER | CONTEXT_FLOATING_POINT)

typedef struct M128A
{
    ULONGLONG Low;
    LONGLONG High;
} M128A;

typedef struct CONTEXT
{
    DWORD64 P1Home;
    DWORD64 P2Home;
    DWORD64 P3Home;
    DWORD64 P4Home;
    DWORD64 P5Home;
    DWORD64 P6Home;
    DWORD ContextFlags;
    DWORD MxCsr;
    WORD SegCs;
    WORD SegDs;
    WORD SegEs;
    WORD SegFs;
    WORD SegGs;
    WORD SegSs;
    DWORD EFlags;
    DWORD64 Dr0;
    DWORD64 Dr1;
    DWORD64 Dr2;
    DWORD64 Dr3;
    DWORD64 Dr6;
    DWORD64 Dr7;
    DWORD64 Rax;
    DWORD64 Rcx;
    DWORD64 Rdx;
    DWORD64 Rbx;
    DWORD64 Rsp;
    DWORD64 Rbp;
    DWORD64 Rsi;
    DWORD64 Rdi;
    DWORD64 R8;
    DWORD64 R9;
    DWORD64 R10;
    DWORD64 R11;
    DWORD64 R12;
    DWORD64 R13;
    DWORD64 R14;
    DWORD64 R15;
    DWORD64 Rip;
    M128A FltSave[32];
    M128A VectorRegister[26];
    DWORD64 VectorControl;
    DWORD64 DebugControl;
    DWORD64 LastBranchToRip;
    DWORD64 LastBranchFromRip;
    DWORD64 LastExceptionToRip;
    DWORD64 LastExceptionFromRip;
} CONTEXT, *PCONTEXT, *LPCONTEXT;

#define PAGE_EXECUTE 0x10u
#define PAGE_EXECUTE_READ 0x20u
#define PAGE_EXECUTE_READWRITE 0x40u
#define MEM_COMMIT 0x00001000u
#define MEM_FREE 0x00010000u
#define MEM_PRIVATE 0x00020000u
#define MEM_MAPPED 0x00040000u
#define MEM_IMAGE 0x01000000u

typedef struct MEMORY_BASIC_INFORMATION
{
    PVOID BaseAddress;
    PVOID AllocationBase;
    DWORD AllocationProtect;
    WORD PartitionId;
    SIZE_T RegionSize;
    DWORD State;
    DWORD Protect;
    DWORD Type;
} MEMORY_BASIC_INFORMATION, *PMEMORY_BASIC_INFORMATION;

#define EVENTLOG_SUCCESS 0x0000u
#define EVENTLOG_ERROR_TYPE 0x0001u
#define EVENTLOG_WARNING_TYPE 0x0002u
#define EVENTLOG_INFORMATION_TYPE 0x0004u
#define EVENTLOG_AUDIT_SUCCESS 0x0008u
#define EVENTLOG_AUDIT_FAILURE 0x0010u

#define PROCESSOR_INTEL_PENTIUM 586u
#define PROCESSOR_AMD_X8664 8664u
#define PROCESSOR_ARCHITECTURE_AMD64 9u

#define REG_NONE 0u
#define REG_SZ 1u
#define REG_EXPAND_SZ 2u
#define REG_BINARY 3u
#define REG_DWORD 4u
#define REG_MULTI_SZ 7u
#define REG_QWORD 11u
#define REG_OPTION_NON_VOLATILE 0x0000u
#define REG_OPTION_VOLATILE 0x0001u
#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u
#define KEY_QUERY_VALUE 0x0001u
#define KEY_SET_VALUE 0x0002u
#define KEY_CREATE_SUB_KEY 0x0004u
#define KEY_ENUMERATE_SUB_KEYS 0x0008u
#define KEY_NOTIFY 0x0010u
#define KEY_READ 0x20019u
#define KEY_WRITE 0x20006u
#define KEY_ALL_ACCESS 0xF003Fu

#define DLL_PROCESS_DETACH 0u
#define DLL_PROCESS_ATTACH 1u
#define DLL_THREAD_ATTACH 2u
#define DLL_THREAD_DETACH 3u

#ifdef __cplusplus
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(OSVERSIONINFOW) == 276);
static_assert(sizeof(OSVERSIONINFOEXW) == 284);
static_assert(sizeof(CONTEXT) == 1232 && offsetof(CONTEXT, Rip) == 248);
static_assert(sizeof(MEMORY_BASIC_INFORMATION) == 48);
static_assert(sizeof(CRITICAL_SECTION) == 40 && sizeof(SECURITY_DESCRIPTOR) == 40);
static_assert(sizeof(SECURITY_DESCRIPTOR_RELATIVE) == 20);
static_assert(sizeof(ACL) == 8 && sizeof(ACL_SIZE_INFORMATION) == 12);
#endif

#endif
