// Registry calls, on top of the hive files. A result of 0 is success, any other is the system
// error.
#ifndef PLINTH_PLATFORM_WINREG_H
#define PLINTH_PLATFORM_WINREG_H

#include "winbase.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002u)
#define HKEY_USERS ((HKEY)(ULONG_PTR)0x80000003u)

    typedef DWORD REGSAM;

    PLINTH_PLATFORM_API LONG WINAPI RegOpenKeyW(HKEY key, LPCWSTR path, PHKEY result);
    PLINTH_PLATFORM_API LONG WINAPI RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD options,
                                                  DWORD access, PHKEY result);
    PLINTH_PLATFORM_API LONG WINAPI RegCreateKeyW(HKEY key, LPCWSTR path, PHKEY result);
    PLINTH_PLATFORM_API LONG WINAPI RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD reserved,
                                                    LPWSTR keyClass, DWORD options, REGSAM access,
                                                    LPSECURITY_ATTRIBUTES security, PHKEY result,
                                                    LPDWORD disposition);
    PLINTH_PLATFORM_API LONG WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name,
                                                  LPDWORD nameSize, LPDWORD reserved,
                                                  LPWSTR keyClass, LPDWORD classSize,
                                                  LPFILETIME written);
    PLINTH_PLATFORM_API LONG WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name,
                                                  LPDWORD nameSize, LPDWORD reserved, LPDWORD type,
                                                  LPBYTE data, LPDWORD dataSize);
    PLINTH_PLATFORM_API LONG WINAPI RegCloseKey(HKEY key);
    PLINTH_PLATFORM_API LONG WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved,
                                                     LPDWORD type, LPBYTE data, LPDWORD size);
    PLINTH_PLATFORM_API LONG WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved,
                                                   DWORD type, const BYTE* data, DWORD size);
    PLINTH_PLATFORM_API LONG WINAPI RegDeleteValueW(HKEY key, LPCWSTR name);

    PLINTH_PLATFORM_API BOOL WINAPI GetUserNameW(LPWSTR buffer, LPDWORD size);
    PLINTH_PLATFORM_API BOOL WINAPI LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid,
                                                       LPDWORD sidSize, LPWSTR domain,
                                                       LPDWORD domainSize, PSID_NAME_USE use);
    PLINTH_PLATFORM_API BOOL WINAPI GetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION wanted,
                                                     PSECURITY_DESCRIPTOR descriptor, DWORD size,
                                                     LPDWORD needed);
    PLINTH_PLATFORM_API BOOL WINAPI GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor,
                                                              LPBOOL present, PACL* list,
                                                              LPBOOL defaulted);
    PLINTH_PLATFORM_API BOOL WINAPI InitializeAcl(PACL list, DWORD size, DWORD revision);
    PLINTH_PLATFORM_API BOOL WINAPI GetAclInformation(PACL list, LPVOID info, DWORD size,
                                                      ACL_INFORMATION_CLASS kind);
    PLINTH_PLATFORM_API DWORD WINAPI GetLengthSid(PSID sid);
    PLINTH_PLATFORM_API BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor,
                                                                 DWORD revision);
    PLINTH_PLATFORM_API BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor,
                                                              BOOL present, PACL list,
                                                              BOOL defaulted);

#ifdef __cplusplus
}
#endif

#endif
