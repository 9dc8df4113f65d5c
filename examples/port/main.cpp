// keeper SOURCE TARGET: keeps a copy of a folder's files. Copies those that are new or have
// changed, on several threads; Ctrl+C ends it early. The log has what it did.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <plinth_w32_system.h>

#include "copies.h"
#include "files.h"
#include "settings.h"
#include "texts.h"

namespace
{

enum ExitCode
{
    exit_good,
    exit_failed,
    exit_usage
};

constexpr DWORD longest_path = 4096; // characters

// Ends the work early. Never closed: the console may call the handler until the process ends.
HANDLE g_stop = nullptr;

BOOL WINAPI on_console_event(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        return FALSE;
    SetEvent(g_stop);
    return TRUE;
}

// The path with its variables replaced, and with its drive, which the functions that make folders
// need.
std::wstring full_path(const wchar_t* typed)
{
    wchar_t text[longest_path];
    DWORD size = ExpandEnvironmentStringsW(typed, text, longest_path);
    const std::wstring path = size == 0 || size > longest_path ? typed : text;
    size = GetFullPathNameW(path.c_str(), longest_path, text, nullptr);
    return size == 0 || size >= longest_path ? path : text;
}

int fail(const std::wstring& message)
{
    PLINTH_TRACE(L"failed: %s", message.c_str());
    std::wcerr << message << std::endl;
    return exit_failed;
}

// Writes the result for each file to the log, and the totals to the console.
int report(const std::vector<SourceFile>& files, const std::vector<int>& statuses)
{
    unsigned failed = 0;
    ULONGLONG bytes = 0;
    for (size_t i = 0; i < files.size(); ++i)
    {
        PLINTH_TRACE(L"%s\t%I64u bytes\tstatus %d", files[i].name.c_str(), files[i].size,
                     statuses[i]);
        if (statuses[i] == QV_OK)
            bytes += files[i].size;
        else
            ++failed;
    }
    const auto count = static_cast<unsigned>(files.size());
    const std::wstring done = text_of(text_done, count - failed, count, bytes, failed);
    PLINTH_TRACE(L"%s", done.c_str());
    std::wcout << done << std::endl;
    if (WaitForSingleObject(g_stop, 0) == WAIT_OBJECT_0)
        return fail(text_of(text_interrupted));
    return failed == 0 ? exit_good : exit_failed;
}

int keep(const std::wstring& source, const std::wstring& target)
{
    Settings settings;
    const LONG error = settings.load_and_count();
    if (error != ERROR_SUCCESS)
        return fail(text_of(text_settings_failed, static_cast<unsigned>(error)));
    std::vector<SourceFile> files;
    if (!find_files(source, settings, files))
    {
        TraceLastOsErr();
        return fail(text_of(text_no_folder, source.c_str()));
    }
    PLINTH_TRACE(L"%u files", static_cast<unsigned>(files.size()));
    files = outdated(files, target);
    if (files.empty())
    {
        std::wcout << text_of(text_nothing_to_do) << std::endl;
        return exit_good;
    }
    const auto threads = static_cast<unsigned>(std::min<size_t>(settings.threads, files.size()));
    return report(files, Copies(source, target, files, g_stop).run(threads));
}

} // namespace

int wmain(int count, wchar_t** words)
{
    if (count != 3)
    {
        std::wcerr << text_of(text_usage) << std::endl;
        return exit_usage;
    }
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(on_console_event, TRUE);
    QV_Log(L"keeper: begins\r\n");
    const int result = keep(full_path(words[1]), full_path(words[2]));
    QV_Log((L"keeper: ends with " + std::to_wstring(result) + L"\r\n").c_str());
    return result;
}
