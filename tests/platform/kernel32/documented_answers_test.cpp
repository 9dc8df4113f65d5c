// Documented answers of calls that the library makes and no other test here covers: each row is one
// call and its answer, mostly the error, 0 for none.
#include <thread>
#include <tuple>

#include "documented_answers.h"

#include <aclapi.h>

#include "support/environment.h"
#include "support/modules.h"
#include "support/wide_text.h"

namespace
{

using test::check;
using test::error_of;
using test::Handle;

TEST(DocumentedAnswers, OfSearchesAlongAPath)
{
    const std::string folder = test::make_folder("search");
    for (const char* const name : {"/a.txt", "/plain"})
        test::write_file(folder + name, "");
    const test::Wide list = test::windows_form(folder) + L";C:\\none";
    const test::Wide whole = test::windows_form(folder + "/plain");
    const DWORD length = static_cast<DWORD>(whole.size());
    wchar_t found[1024] = L"";
    LPWSTR part = nullptr;
    const auto search = [&](const wchar_t* name, const wchar_t* extension, DWORD size = 1024)
    { return SearchPathW(list, name, extension, size, found, &part); };
    check({{"a file", search(L"plain", nullptr), length},
           {"a whole path", search(whole, nullptr), length},
           {"with an extension", error_of(search(L"a", L".txt")), 0},
           {"that the name has already", error_of(search(L"a.txt", L".bin")), 0},
           {"that the file hasn't", error_of(search(L"plain", L".txt")), ERROR_FILE_NOT_FOUND},
           {"no file", error_of(search(L"none", nullptr)), ERROR_FILE_NOT_FOUND},
           {"without room for the terminator", search(L"plain", nullptr, length), length + 1}});
    search(L"plain", nullptr);
    EXPECT_EQ(test::utf8(part), "plain");
}

TEST(DocumentedAnswers, OfAccountsAndTheirLists)
{
    wchar_t user[256] = L"", domain[256] = L"";
    DWORD size = 256;
    ASSERT_TRUE(GetUserNameW(user, &size));
    BYTE sid[68] = {};
    SID_NAME_USE use = SidTypeUnknown;
    const auto look_up = [&](const wchar_t* name, DWORD sid_size, DWORD& domain_size) {
        return error_of(
            LookupAccountNameW(nullptr, name, sid, &sid_size, domain, &domain_size, &use));
    };
    DWORD none = 0, exact = 0, unknown = 256;
    check({{"no room", look_up(user, 0, none), ERROR_INSUFFICIENT_BUFFER},
           {"room for the identifier alone", look_up(user, sizeof sid, exact), 122},
           {"room as told", look_up(user, sizeof sid, exact), 0},
           {"the domain, without its terminator", exact, none - 1},
           {"a user", static_cast<DWORD>(use), SidTypeUser},
           {"nobody", look_up(L"no such account", sizeof sid, unknown), ERROR_NONE_MAPPED}});

    EXPLICIT_ACCESSW entry = {GENERIC_ALL, SET_ACCESS, NO_INHERITANCE, {}};
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.ptstrName = reinterpret_cast<LPWSTR>(sid);
    PACL list = nullptr;
    EXPECT_EQ(SetEntriesInAclW(1, &entry, nullptr, &list), DWORD{ERROR_SUCCESS});
    ACL_SIZE_INFORMATION info = {};
    EXPECT_TRUE(GetAclInformation(list, &info, sizeof info, AclSizeInformation));
    EXPECT_EQ(info.AceCount, 1u);
    EXPECT_EQ(LocalFree(list), nullptr);
    BYTE nobody[sizeof sid] = {};
    entry.Trustee.ptstrName = reinterpret_cast<LPWSTR>(nobody);
    EXPECT_NE(SetEntriesInAclW(1, &entry, nullptr, &list), DWORD{ERROR_SUCCESS});
}

TEST(DocumentedAnswers, OfTheTextsOfErrors)
{
    constexpr DWORD system = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t text[256] = L"";
    LPWSTR made = nullptr;
    const auto place = reinterpret_cast<LPWSTR>(&made);
    const auto format = [](DWORD flags, DWORD error, LPWSTR to, DWORD size)
    { return FormatMessageW(flags, nullptr, error, 0, to, size, nullptr); };
    const DWORD length = format(system, ERROR_ACCESS_DENIED, text, 256);
    EXPECT_TRUE(test::utf8(text).ends_with(".\r\n"));
    check({{"the characters without the terminator", static_cast<DWORD>(test::utf8(text).size()),
            length},
           {"made", format(system | FORMAT_MESSAGE_ALLOCATE_BUFFER, 5, place, 0), length},
           {"exact room", format(system, 5, text, length + 1), length},
           {"no room", error_of(format(system, 5, text, length)), ERROR_INSUFFICIENT_BUFFER},
           {"unknown", error_of(format(system, 0x2FFFFFFF, text, 256)), ERROR_MR_MID_NOT_FOUND}});
    EXPECT_EQ(test::utf8(made), test::utf8(text));
    LocalFree(made);
}

TEST(DocumentedAnswers, OfTheSystem)
{
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    check({{"version", error_of(GetVersionExW(&version)), 0},
           {"its size stays", version.dwOSVersionInfoSize, sizeof version},
           {"the family", version.dwPlatformId, VER_PLATFORM_WIN32_NT}});
    OSVERSIONINFOEXW longer = {};
    auto* const start = reinterpret_cast<OSVERSIONINFOW*>(&longer);
    for (const auto& [size, error] : {std::pair{0u, 122u}, {280u, 122u}, {288u, 122u}, {284u, 0u}})
    {
        longer.dwOSVersionInfoSize = size;
        EXPECT_EQ(error_of(GetVersionExW(start)), error) << size;
    }
    EXPECT_EQ(longer.wProductType, VER_NT_WORKSTATION);

    const UINT before = SetErrorMode(SEM_FAILCRITICALERRORS);
    std::thread([] { EXPECT_EQ(SetErrorMode(0), UINT{SEM_FAILCRITICALERRORS}); }).join();
    EXPECT_EQ(SetErrorMode(before), 0u) << "it is the process's";
}

TEST(DocumentedAnswers, OfMappings)
{
    const std::string folder = test::make_folder("mappings");
    test::write_file(folder + "/empty", "");
    test::write_file(folder + "/file", "content");
    const Handle empty(test::open_file(test::windows_form(folder + "/empty"), GENERIC_READ));
    const Handle reader(test::open_file(test::windows_form(folder + "/file"), GENERIC_READ));
    const Handle event(CreateEventW(nullptr, TRUE, FALSE, L"a name that is taken"));
    const auto map = [](HANDLE file, DWORD protection, DWORD size, const wchar_t* name = nullptr) {
        return error_of(
            HANDLE{Handle(CreateFileMappingW(file, nullptr, protection, 0, size, name))});
    };
    check({{"nothing of an empty file", map(empty, PAGE_READONLY, 0), ERROR_FILE_INVALID},
           {"writing what is open to be read", map(reader, PAGE_READWRITE, 0), ERROR_ACCESS_DENIED},
           {"memory of no size", map(INVALID_HANDLE_VALUE, PAGE_READWRITE, 0), 87},
           {"a name of another kind",
            map(INVALID_HANDLE_VALUE, PAGE_READWRITE, 9, L"a name that is taken"),
            ERROR_INVALID_HANDLE},
           {"a file", map(reader, PAGE_READONLY, 0), 0}});
    const Handle first(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, 4, 0, 9, L"twice"));
    const Handle second(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, 4, 0, 9, L"twice"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(HANDLE{second});
}

BOOL CALLBACK stop(HMODULE, LPCWSTR, LPCWSTR, WORD, LONG_PTR)
{
    return FALSE;
}

TEST(DocumentedAnswers, OfListingAndChangingResources)
{
    const HMODULE module = LoadLibraryExW(test::windows_form(test::module_path("module64.dll")),
                                          nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    const LPCWSTR raw = MAKEINTRESOURCEW(10);
    const auto list = [&](LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW call)
    { return error_of(EnumResourceLanguagesW(module, type, name, call, 0)); };
    const HANDLE stale = HANDLE{Handle(CreateEventW(nullptr, TRUE, FALSE, nullptr))};
    const Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    char byte = 0;
    const auto change = [&](HANDLE update)
    { return error_of(UpdateResourceW(update, raw, MAKEINTRESOURCEW(1), 0, &byte, 1)); };
    const HMODULE plain = LoadLibraryExW(test::windows_form(test::module_path("plain64.dll")),
                                         nullptr, LOAD_LIBRARY_AS_DATAFILE);
    check({{"a module without any", error_of(EnumResourceLanguagesW(plain, raw, raw, stop, 0)),
            ERROR_RESOURCE_DATA_NOT_FOUND},
           {"no such type", list(L"NONE", MAKEINTRESOURCEW(1), stop), 1813},
           {"no such name", list(raw, L"NONE", stop), ERROR_RESOURCE_NAME_NOT_FOUND},
           {"stopped", list(raw, L"ALPHA", stop), ERROR_RESOURCE_ENUM_USER_STOP},
           {"no function", list(raw, MAKEINTRESOURCEW(1), nullptr), ERROR_INVALID_PARAMETER},
           {"change by null", change(nullptr), ERROR_INVALID_HANDLE},
           {"by what has been closed", change(stale), ERROR_INVALID_HANDLE},
           {"by an event", change(event), ERROR_INVALID_HANDLE}});
    FreeLibrary(plain);
    FreeLibrary(module);
}

TEST(DocumentedAnswers, OfMessagesWithALimit)
{
    WNDCLASSEXW described = {};
    described.cbSize = sizeof described;
    described.lpfnWndProc = DefWindowProcW;
    described.lpszClassName = L"documented answers";
    ASSERT_NE(RegisterClassExW(&described), 0);
    const HWND window = CreateWindowExW(0, described.lpszClassName, L"title", 0, 0, 0, 1, 1,
                                        nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    DWORD_PTR length = 0;
    const auto send = [&](HWND to, DWORD_PTR* result)
    { return error_of(SendMessageTimeoutW(to, WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, 10, result)); };
    check({{"its own thread's window", send(window, &length), 0},
           {"the result", static_cast<DWORD>(length), 5},
           {"without a place for it", send(window, nullptr), 0}});
    DestroyWindow(window);
    check({{"a window that has gone", send(window, &length), ERROR_INVALID_WINDOW_HANDLE},
           {"none", send(nullptr, &length), ERROR_INVALID_WINDOW_HANDLE}});
}

} // namespace
