// The system's version, the build's word size, the local option, and the main thread's identity.
#include <atomic>
#include <cstdio>
#include <cstring>

#include <windows.h>

#include <tchar.h>

#include "frame.h"

OSVERSIONINFOW CQvWinVersion::s_osVersionInfo = {sizeof(OSVERSIONINFOW), 0, 0, 0, 0, {}};

namespace
{

constexpr const char* source_name = "src\\w32_system\\qvwinversion";

// Plain words that any thread reads and writes without a lock.
std::atomic<bool> s_localOptionKnown{false};
std::atomic<bool> s_localOption{false};
std::atomic<bool> s_mainThreadRecorded{false};
std::atomic<unsigned int> s_mainThreadId{0};

bool IsVersion(DWORD platform, DWORD major, DWORD minor)
{
    const OSVERSIONINFOW& info = CQvWinVersion::s_osVersionInfo;
    return info.dwPlatformId == platform && info.dwMajorVersion == major &&
           info.dwMinorVersion == minor;
}

// Platform 2 and a version after major.0: the same major with a minor above 0, or a later major.
bool IsAfter(DWORD major)
{
    const OSVERSIONINFOW& info = CQvWinVersion::s_osVersionInfo;
    return CQvWinVersion::IsWinNT() && (info.dwMajorVersion > major ||
                                        (info.dwMajorVersion == major && info.dwMinorVersion != 0));
}

bool ReadLocalOption()
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Quorvane\\Misc", 0, KEY_READ, &key) !=
        ERROR_SUCCESS)
        return false;
    DWORD number = 0;
    DWORD size = sizeof number;
    const LONG result = RegQueryValueExW(key, L"LocalOptions", nullptr, nullptr,
                                         reinterpret_cast<LPBYTE>(&number), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS && number == 1;
}

} // namespace

bool CQvWinVersion::IsWin95()
{
    return IsVersion(VER_PLATFORM_WIN32_WINDOWS, 4, 0);
}

bool CQvWinVersion::IsWin98()
{
    return IsVersion(VER_PLATFORM_WIN32_WINDOWS, 4, 10);
}

bool CQvWinVersion::IsWinME()
{
    return IsVersion(VER_PLATFORM_WIN32_WINDOWS, 4, 90);
}

bool CQvWinVersion::IsWin35()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 3, 51);
}

bool CQvWinVersion::IsWin40()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 4, 0);
}

bool CQvWinVersion::IsWin2k()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 5, 0);
}

bool CQvWinVersion::IsWinXP()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 5, 1);
}

bool CQvWinVersion::IsWinXPOrGreater()
{
    return IsAfter(5);
}

bool CQvWinVersion::IsWinVista()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 6, 0);
}

bool CQvWinVersion::IsWinVistaOrGreater()
{
    return IsWinNT() && s_osVersionInfo.dwMajorVersion >= 6;
}

bool CQvWinVersion::IsWin7()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 6, 1);
}

bool CQvWinVersion::IsWin7OrGreater()
{
    return IsAfter(6);
}

bool CQvWinVersion::IsWin8()
{
    return IsVersion(VER_PLATFORM_WIN32_NT, 6, 2);
}

bool CQvWinVersion::IsWinNT()
{
    return s_osVersionInfo.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

void CQvWinVersion::GetOSVersionInfo(OSVERSIONINFOW& info)
{
    std::memcpy(&info, &s_osVersionInfo, sizeof info);
}

CQvWinVersion& CQvWinVersion::operator=(const CQvWinVersion&)
{
    return *this;
}

extern "C" bool QV_Is64Bit(void)
{
    return sizeof(void*) == 8;
}

extern "C" bool QV_Is32Bit(void)
{
    return !QV_Is64Bit();
}

extern "C" bool QV_Is64BitWindows(void)
{
    return QV_Is64Bit(); // a 64-bit build runs only on 64-bit systems
}

void QV_SetLocalOption(bool value)
{
    s_localOption = value;
    s_localOptionKnown = true;
}

bool QV_IsLocalOption(const wchar_t*)
{
    if (!s_localOptionKnown)
        QV_SetLocalOption(ReadLocalOption());
    return s_localOption;
}

unsigned int QV_GetMainThreadId()
{
    if (!s_mainThreadRecorded)
    {
        s_mainThreadId = GetCurrentThreadId();
        s_mainThreadRecorded = true;
    }
    return s_mainThreadId;
}

bool QV_CompareThreadId(unsigned int first, unsigned int second, const wchar_t* message)
{
    if (first == second)
        return true;
    if (message)
    {
        DiagOutputExW_hlp(source_name, __LINE__);
        DiagOutputExW(L"%s", message);
    }
    return false;
}

bool QV_CheckMainThreadId(const wchar_t* message, const char* sourceFile, int line)
{
    if (!s_mainThreadRecorded)
        return false;
    if (GetCurrentThreadId() == s_mainThreadId)
        return true;
    if (message)
    {
        DiagOutputExW_hlp(source_name, __LINE__);
        DiagOutputExW(L"%s", message);
    }
    if (sourceFile)
    {
        constexpr size_t limit = 1024;
        wchar_t wide[limit];
        _snwprintf(wide, limit, L"%hs", sourceFile);
        wide[limit - 1] = L'\0';
        DiagOutputExW_hlp(source_name, __LINE__);
        DiagOutputExW(L"Error File: %s, Error Line: %d", wide, line);
    }
    return false;
}
