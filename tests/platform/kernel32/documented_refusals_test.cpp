// What the system's documentation says of refused arguments, sizes without room, and null pointers
// of calls that the library makes.
#include <algorithm>

#include "documented_answers.h"

#include <shlobj.h>

#include "support/environment.h"
#include "support/wide_text.h"

namespace
{

using test::check;
using test::error_of;
using test::Handle;

HANDLE stale_handle()
{
    return HANDLE{test::new_event()}; // closed again
}

TEST(DocumentedRefusals, OfHandlesOfFiles)
{
    const std::string folder = test::make_folder("refusals");
    test::write_file(folder + "/file", "content");
    const auto open = [&](const char* name, DWORD access, DWORD disposition)
    {
        return CreateFileA(test::utf8(test::windows_form(folder + name)).c_str(), access, 0,
                           nullptr, disposition, 0, nullptr);
    };
    const auto opened = [&](const char* name, DWORD access, DWORD disposition)
    { return error_of(HANDLE{Handle(open(name, access, disposition))}); };
    BY_HANDLE_FILE_INFORMATION info = {}, again = {};
    const HANDLE stale = stale_handle();
    const Handle event = test::new_event();
    const Handle file(open("/file", GENERIC_READ, OPEN_EXISTING));
    EXPECT_TRUE(GetFileInformationByHandle(file, &info));
    EXPECT_TRUE(GetFileInformationByHandle(file, &again));
    const auto move = [](HANDLE moved, LONG to, DWORD method)
    {
        SetLastError(0);
        return SetFilePointer(moved, to, nullptr, method) == ~0u ? GetLastError() : 0;
    };
    check({{"none of the name", opened("/none", GENERIC_READ, OPEN_EXISTING), 2},
           {"no folder", opened("/none/file", GENERIC_READ, OPEN_ALWAYS), ERROR_PATH_NOT_FOUND},
           {"one that is there", opened("/file", GENERIC_READ, CREATE_NEW), ERROR_FILE_EXISTS},
           {"a folder as a file", opened("", GENERIC_READ, OPEN_EXISTING), ERROR_ACCESS_DENIED},
           {"no disposition", opened("/file", GENERIC_READ, 9), ERROR_INVALID_PARAMETER},
           {"cut for reading", opened("/none", GENERIC_READ, TRUNCATE_EXISTING), 87},
           {"size", info.nFileSizeLow, 7},
           {"links", info.nNumberOfLinks, 1},
           {"the same file", info.nFileIndexLow, again.nFileIndexLow},
           {"about what was closed", error_of(GetFileInformationByHandle(stale, &info)), 6},
           {"about an event", error_of(GetFileInformationByHandle(event, &info)), 6},
           {"before the start", move(file, -1, FILE_BEGIN), ERROR_NEGATIVE_SEEK},
           {"behind the end", move(file, 90, FILE_END), 0},
           {"no method", move(file, 0, 9), ERROR_INVALID_PARAMETER},
           {"in what was closed", move(stale, 0, FILE_BEGIN), ERROR_INVALID_HANDLE},
           {"what wasn't locked", error_of(UnlockFile(file, 0, 0, 1, 0)), ERROR_NOT_LOCKED},
           {"the size of an event", GetFileSize(event, nullptr), INVALID_FILE_SIZE},
           {"the end of a reader's", error_of(SetEndOfFile(file)), ERROR_ACCESS_DENIED}});
}

TEST(DocumentedRefusals, OfConversionsOfText)
{
    char bytes[16] = "";
    wchar_t units[16] = L"";
    const auto narrow =
        [&](const wchar_t* text, int length, int size, DWORD flags = 0, UINT page = CP_UTF8)
    { return WideCharToMultiByte(page, flags, text, length, bytes, size, nullptr, nullptr); };
    const auto widen =
        [&](const char* text, int length, int size, DWORD flags = 0, UINT page = CP_UTF8)
    { return MultiByteToWideChar(page, flags, text, length, units, size); };
    const wchar_t half[] = {0xD800, 0};
    BOOL used = FALSE;
    check({{"bytes with the terminator", static_cast<DWORD>(narrow(L"\u00E4b", -1, 0)), 4},
           {"and without", static_cast<DWORD>(narrow(L"\u00E4b", 2, 16)), 3},
           {"no room", error_of(narrow(L"\u00E4b", -1, 3)), ERROR_INSUFFICIENT_BUFFER},
           {"nothing", error_of(narrow(L"a", 0, 16)), ERROR_INVALID_PARAMETER},
           {"null", error_of(narrow(nullptr, -1, 16)), ERROR_INVALID_PARAMETER},
           {"no page", error_of(narrow(L"a", -1, 16, 0, 77)), ERROR_INVALID_PARAMETER},
           {"half a character", error_of(narrow(half, -1, 16, WC_ERR_INVALID_CHARS)), 1113},
           {"is replaced", static_cast<DWORD>(narrow(half, -1, 16)), 4},
           {"a flag of other pages", error_of(narrow(L"a", -1, 16, 0x200)), ERROR_INVALID_FLAGS},
           {"what was replaced",
            error_of(WideCharToMultiByte(CP_UTF8, 0, L"a", -1, bytes, 16, nullptr, &used)), 87},
           {"onto itself",
            error_of(WideCharToMultiByte(CP_UTF8, 0, units, 1, reinterpret_cast<char*>(units), 16,
                                         nullptr, nullptr)),
            ERROR_INVALID_PARAMETER},
           {"units with the terminator",
            static_cast<DWORD>(widen("\xC3\xA4"
                                     "b",
                                     -1, 0)),
            3},
           {"no room for units", error_of(widen("abc", -1, 3)), ERROR_INSUFFICIENT_BUFFER},
           {"no bytes", error_of(widen("a", 0, 16)), ERROR_INVALID_PARAMETER},
           {"no bytes at all", error_of(widen(nullptr, -1, 16)), ERROR_INVALID_PARAMETER},
           {"bad bytes", error_of(widen("\xFF", -1, 16, MB_ERR_INVALID_CHARS)), 1113},
           {"are replaced", static_cast<DWORD>(widen("\xFF", -1, 16)), 2},
           {"a flag of other pages", error_of(widen("a", -1, 16, 1)), ERROR_INVALID_FLAGS}});
    const auto compare = [](const char* a, const char* b, DWORD flags)
    { return CompareStringA(LOCALE_SYSTEM_DEFAULT, flags, a, -1, b, -1); };
    check({{"equal", static_cast<DWORD>(compare("a", "A", NORM_IGNORECASE)), CSTR_EQUAL},
           {"less", static_cast<DWORD>(compare("a", "b", 0)), CSTR_LESS_THAN},
           {"with null", error_of(compare("a", nullptr, 0)), ERROR_INVALID_PARAMETER},
           {"by no flag", error_of(compare("a", "a", 0x00800000)), ERROR_INVALID_FLAGS}});
}

TEST(DocumentedRefusals, OfRoomForTexts)
{
    wchar_t text[1024] = L"";
    const DWORD folder = GetCurrentDirectoryW(1024, text);
    const DWORD temporary = GetTempPathW(1024, text);
    const DWORD drives = GetLogicalDriveStringsW(1024, text);
    const SYSTEMTIME noon = {2024, 1, 1, 1, 12, 0, 0, 0};
    const SYSTEMTIME never = {2024, 1, 1, 1, 25, 0, 0, 0};
    const auto time = [&](const SYSTEMTIME& at, int size, DWORD flags = 0)
    { return GetTimeFormatW(LOCALE_USER_DEFAULT, flags, &at, L"HH", text, size); };
    const auto date = [&](const SYSTEMTIME& at, int size)
    { return GetDateFormatW(LOCALE_USER_DEFAULT, 0, &at, L"yyyy", text, size); };
    const SYSTEMTIME no_day = {2023, 2, 3, 29, 0, 0, 0, 0};
    check({{"the current folder asked for", GetCurrentDirectoryW(0, nullptr), folder + 1},
           {"without its terminator", GetCurrentDirectoryW(folder, text), folder + 1},
           {"exactly", GetCurrentDirectoryW(folder + 1, text), folder},
           {"the temporary one", GetTempPathW(temporary, text), temporary + 1},
           {"exactly", GetTempPathW(temporary + 1, text), temporary},
           {"drives asked for", GetLogicalDriveStringsW(0, nullptr), drives + 1},
           {"exactly", GetLogicalDriveStringsW(drives + 1, text), drives},
           {"a time asked for", static_cast<DWORD>(time(noon, 0)), 3},
           {"without room", error_of(time(noon, 2)), ERROR_INSUFFICIENT_BUFFER},
           {"that is none", error_of(time(never, 9)), ERROR_INVALID_PARAMETER},
           {"by both rules", error_of(time(noon, 9, 0x80000000u)), ERROR_INVALID_FLAGS},
           {"a date asked for", static_cast<DWORD>(date(noon, 0)), 5},
           {"that is none", error_of(date(no_day, 9)), ERROR_INVALID_PARAMETER},
           {"a known folder", static_cast<DWORD>(SHGetFolderPathW(nullptr, 0xFF, nullptr, 0, text)),
            static_cast<DWORD>(E_INVALIDARG)},
           {"the drive of a folder", GetDriveTypeW(L"C:\\"), DRIVE_FIXED},
           {"no root", GetDriveTypeW(L"C:\\none\\"), DRIVE_NO_ROOT_DIR},
           {"room of no folder",
            error_of(GetDiskFreeSpaceExW(L"C:\\none\\x", nullptr, nullptr, nullptr)),
            ERROR_PATH_NOT_FOUND}});
}

TEST(DocumentedRefusals, OfMemoryThreadsAndRights)
{
    SYSTEM_INFO system = {};
    GetSystemInfo(&system);
    SECURITY_DESCRIPTOR rights = {};
    const auto zeroes = static_cast<const char*>(LocalAlloc(LMEM_ZEROINIT, 64));
    ASSERT_NE(zeroes, nullptr);
    const ULONGLONG ticks = GetTickCount64();
    const HANDLE stale = stale_handle();
    const HANDLE self = GetCurrentThread();
    DWORD code = 0;
    const auto set_rights = [&]
    { return SetSecurityDescriptorDacl(&rights, TRUE, nullptr, FALSE); };
    check(
        {{"the grain of mappings", system.dwAllocationGranularity, 65'536},
         {"the processor", system.wProcessorArchitecture, PROCESSOR_ARCHITECTURE_AMD64},
         {"zeroes", static_cast<DWORD>(std::count(zeroes, zeroes + 64, 0)), 64},
         {"free", error_of(LocalFree(const_cast<char*>(zeroes)) == nullptr), 0},
         {"free nothing", error_of(LocalFree(nullptr) == nullptr), 0},
         {"no such revision", error_of(InitializeSecurityDescriptor(&rights, 9)), 1305},
         {"the revision", error_of(InitializeSecurityDescriptor(&rights, 1)), 0},
         {"everything for everybody", error_of(set_rights()), 0},
         {"no priority", error_of(SetThreadPriority(self, 99)), ERROR_INVALID_PARAMETER},
         {"of no thread", error_of(SetThreadPriority(stale, 0)), ERROR_INVALID_HANDLE},
         {"its own", error_of(SetThreadPriority(self, THREAD_PRIORITY_NORMAL)), 0},
         {"the code of none", error_of(GetExitCodeThread(stale, &code)), 6},
         {"an unknown state", error_of(SetThreadExecutionState(0x100)), 87},
         {"kept awake", SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED), ES_CONTINUOUS},
         {"no more", SetThreadExecutionState(ES_CONTINUOUS), ES_CONTINUOUS | ES_SYSTEM_REQUIRED},
         {"its own module", error_of(DisableThreadLibraryCalls(GetModuleHandleW(nullptr))), 0}});
    EXPECT_GE(GetTickCount64(), ticks);
    LPSTR text = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, 5, 0, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    EXPECT_EQ(std::string(text).size(), length);
    LocalFree(text);
}

TEST(DocumentedRefusals, OfWindows)
{
    const HWND none = reinterpret_cast<HWND>(LONG_PTR{0x7FFF0});
    const MSG timer = {nullptr, WM_TIMER, 1, 0, 0, {0, 0}};
    BOOL value = FALSE;
    const auto setting = [&](UINT action) { return SystemParametersInfoW(action, 0, &value, 0); };
    check({{"shown", error_of(ShowWindowAsync(none, SW_SHOW)), ERROR_INVALID_WINDOW_HANDLE},
           {"painted", error_of(UpdateWindow(none)), ERROR_INVALID_WINDOW_HANDLE},
           {"its popup", error_of(GetLastActivePopup(none)), ERROR_INVALID_WINDOW_HANDLE},
           {"no setting", error_of(setting(0xFFFF)), ERROR_INVALID_SPI_VALUE},
           {"the screen saver", error_of(setting(SPI_GETSCREENSAVEACTIVE)), 0}});
    EXPECT_EQ(GetActiveWindow(), nullptr);
    EXPECT_FALSE(TranslateMessage(&timer));
    EXPECT_EQ(GetStockObject(WHITE_BRUSH), GetStockObject(WHITE_BRUSH));
    EXPECT_EQ(GetStockObject(999), nullptr);
}

} // namespace
