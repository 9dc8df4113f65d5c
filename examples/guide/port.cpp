// Code of a Windows application, as it was: threads and events, files and the registry.
#include <windows.h>

#include <process.h>
#include <tchar.h>

#include <cstdio>

#include <plinth_w32_system.h>

namespace
{

unsigned __stdcall worker(void* ready)
{
    HKEY key = nullptr;
    if (RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\Acme\\Guide", &key) == ERROR_SUCCESS)
    {
        const DWORD runs = 1;
        RegSetValueExW(key, L"Runs", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&runs),
                       sizeof runs);
        RegCloseKey(key);
    }
    SetEvent(static_cast<HANDLE>(ready));
    return 0;
}

} // namespace

int main()
{
    const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE thread =
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, worker, ready, 0, nullptr));
    WaitForSingleObject(ready, INFINITE);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    CloseHandle(ready);

    if (CreateFileW(L"C:\\no\\such\\file", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr) ==
        INVALID_HANDLE_VALUE)
        TraceLastOsErr(); // the system's text for it, as a trace record

    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const wchar_t* const name = wcsrchr(program, L'\\');
    char text[MAX_PATH];
    WideCharToMultiByte(CP_ACP, 0, name ? name + 1 : program, -1, text, MAX_PATH, nullptr, nullptr);
    std::printf("%s\n", text);
    return 0;
}
