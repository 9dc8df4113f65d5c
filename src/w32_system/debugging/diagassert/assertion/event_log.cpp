// The event functions are looked up by name, once. The first report looks them up without a lock,
// because that loads modules, and sets a flag when all are stored. Two threads that report first at
// the same time both look, and find the same.
#include "event_log.h"

#include <atomic>
#include <cstdio>
#include <vector>

#include <windows.h>

#include <tchar.h>

namespace
{

constexpr const wchar_t* source_name = L"BugslayerUtil";
constexpr const wchar_t* source_module = L"BUGSLAYERUTIL.DLL";
constexpr const wchar_t* source_key =
    L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\%s";
constexpr WORD error_type = 1;
constexpr DWORD event_id = 0xE0020040u;
constexpr DWORD all_types = 7; // errors, warnings, information

using RegisterFunction = HANDLE(WINAPI*)(LPCWSTR, LPCWSTR);
using ReportFunction = BOOL(WINAPI*)(HANDLE, WORD, WORD, DWORD, PSID, WORD, DWORD, LPCWSTR*,
                                     LPVOID);
using DeregisterFunction = BOOL(WINAPI*)(HANDLE);

// Set by the first report, then only read. The flag is set last.
constinit std::atomic<RegisterFunction> s_registerEventSource{nullptr};
constinit std::atomic<ReportFunction> s_reportEvent{nullptr};
constinit std::atomic<DeregisterFunction> s_deregisterEventSource{nullptr};
constinit std::atomic<int32_t> s_convertNewlines{0};
constinit std::atomic<int32_t> s_eventSourceChecked{0};

template <class Function> Function ByName(HMODULE module, const char* name)
{
    return module
               ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)))
               : nullptr;
}

bool RegisterUnder(const wchar_t* path)
{
    wchar_t name[256];
    _snwprintf(name, 256, source_key, source_name);
    HKEY key = nullptr;
    if (RegCreateKeyW(HKEY_LOCAL_MACHINE, name, &key) != 0)
        return false;
    const DWORD types = all_types;
    const bool good = RegSetValueExW(key, L"EventMessageFile", 0, REG_EXPAND_SZ,
                                     reinterpret_cast<const BYTE*>(path),
                                     static_cast<DWORD>((wcslen(path) + 1) * sizeof *path)) == 0 &&
                      RegSetValueExW(key, L"TypesSupported", 0, REG_DWORD,
                                     reinterpret_cast<const BYTE*>(&types), sizeof types) == 0;
    RegCloseKey(key);
    return good;
}

bool RegisterSourceOfModule()
{
    wchar_t path[MAX_PATH];
    const HMODULE module = GetModuleHandleW(source_module);
    const DWORD length = module ? GetModuleFileNameW(module, path, MAX_PATH) : 0;
    return length != 0 && length < MAX_PATH && RegisterUnder(path);
}

// Windows NT 4.0 shows an LF without a CR as a box.
bool NeedsCarriageReturns()
{
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExW(&version) && version.dwMajorVersion == 4 &&
           version.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

// False if reports can't be sent to the event log.
bool LookUp()
{
    const HMODULE module = LoadLibraryW(L"ADVAPI32.DLL");
    const auto report = ByName<ReportFunction>(module, "ReportEventW");
    s_registerEventSource = ByName<RegisterFunction>(module, "RegisterEventSourceW");
    s_deregisterEventSource = ByName<DeregisterFunction>(module, "DeregisterEventSource");
    s_reportEvent = report;
    if (report)
    {
        if (!RegisterSourceOfModule())
            return false;
        s_convertNewlines = NeedsCarriageReturns();
    }
    s_eventSourceChecked = 1;
    return true;
}

bool Send(const wchar_t* text)
{
    const RegisterFunction open = s_registerEventSource;
    const HANDLE source = open ? open(nullptr, source_name) : nullptr;
    if (!source)
        return false;
    const bool good = s_reportEvent.load()(source, error_type, 0, event_id, nullptr, 1, 0, &text,
                                           nullptr) != FALSE;
    if (const DeregisterFunction close = s_deregisterEventSource)
        close(source);
    return good;
}

} // namespace

int ReportToEventLog(const wchar_t* text)
{
    if (s_eventSourceChecked == 0 && !LookUp())
        return 0;
    if (!s_reportEvent.load())
        return 1;
    if (s_convertNewlines == 0)
        return Send(text);
    std::vector<wchar_t> converted;
    for (; *text; ++text)
    {
        if (*text == L'\n')
            converted.push_back(L'\r');
        converted.push_back(*text);
    }
    converted.push_back(L'\0');
    return Send(converted.data());
}
