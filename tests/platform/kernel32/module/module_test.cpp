// Modules: loading them by name and their files as data, the system's own, and those that others
// load and unload, whose handles and resources follow; modules by address, the memory around an
// address, and the process's end.
#include <tuple>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test.h"

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/modules.h"
#include "support/wide_text.h"

using test::error_of;
using test::Wide;

namespace
{

HMODULE open_as_data(const Wide& path)
{
    return LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

// The requested name, the file in the folder, and whether the file is found.
TEST(Modules, NamesAreThoseOfBothSystems)
{
    static constexpr std::tuple<const char*, const char*, bool> rows[] = {
        {"editor.dll", "editor.dll", true},   {"editor.dll", "libeditor.so", true},
        {"Editor.DLL", "libEditor.so", true}, {"editor", "editor.dll", true},
        {"editor.", "editor", true},          {"editor", "editor", false},
        {"editor.so", "libeditor.so", false}, {"libeditor.so.1", "libeditor.so.1", true}};
    const std::string plugin = test::read_file(test::module_path("libplugin.so"));
    ASSERT_FALSE(plugin.empty());
    int number = 0;
    for (const auto& [name, file, found] : rows)
    {
        const std::string folder = test::make_folder("names" + std::to_string(number++));
        test::write_file(folder + "/" + file, plugin);
        const HMODULE module = LoadLibraryW(test::windows_form(folder + "/" + name));
        EXPECT_EQ(module != nullptr, found) << name << " for " << file;
        EXPECT_EQ(FreeLibrary(module) != FALSE, found);
    }
}

TEST(Modules, ABareNameIsFoundInTheCurrentFolderAndByTheLoader)
{
    std::filesystem::current_path(PLINTH_TEST_MODULES);
    const HMODULE plugin = LoadLibraryW(L"plugin");
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"plugin.dll"), plugin);
    EXPECT_NE(GetProcAddress(plugin, "plugin_answer"), nullptr);
    EXPECT_EQ(error_of(GetProcAddress(plugin, reinterpret_cast<LPCSTR>(uintptr_t{1}))),
              ERROR_PROC_NOT_FOUND)
        << "functions have no numbers";
    EXPECT_TRUE(FreeLibrary(plugin));
    EXPECT_EQ(GetModuleHandleW(L"plugin.dll"), nullptr);
    EXPECT_EQ(error_of(GetProcAddress(plugin, "plugin_answer")), ERROR_MOD_NOT_FOUND);
    EXPECT_TRUE(FreeLibrary(LoadLibraryW(L"libm.so.6")));
}

TEST(Modules, WhatTheLoaderCanNotUseSaysWhy)
{
    const Wide foreign = test::windows_form(test::module_path("plain64.dll"));
    EXPECT_EQ(error_of(LoadLibraryW(foreign)), ERROR_BAD_EXE_FORMAT) << "code of another system";
    EXPECT_EQ(error_of(LoadLibraryW(L"no-such-module-anywhere")), ERROR_MOD_NOT_FOUND);
}

TEST(ModulesAsData, OnlyModuleFilesOpen)
{
    const std::string folder = test::make_folder_outside("data");
    test::write_file(folder + "/text", "no module at all");
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    const auto error_of_opening = [](const std::string& path)
    { return error_of(open_as_data(test::windows_form(path))); };
    EXPECT_EQ(error_of_opening(folder + "/missing"), ERROR_FILE_NOT_FOUND);
    for (const std::string& path : {folder + "/text", folder + "/pipe", folder})
        EXPECT_EQ(error_of_opening(path), ERROR_BAD_EXE_FORMAT) << path;
}

TEST(ModulesAsData, HaveAHandleOfTheirOwnEachTime)
{
    const Wide path =
        test::windows_form(test::copy_module(test::make_folder("data"), "module64.dll"));
    const HMODULE first = open_as_data(path);
    const HMODULE second = open_as_data(path);
    ASSERT_TRUE(first && second);
    EXPECT_NE(first, second);
    wchar_t name[512];
    EXPECT_NE(GetModuleFileNameW(first, name, 512), 0u);
    EXPECT_EQ(test::utf8(name), path.utf8());
    EXPECT_EQ(GetProcAddress(first, "answer"), nullptr) << "no code of it is loaded";
    EXPECT_EQ(error_of(test::open_file(path, GENERIC_WRITE)), ERROR_SHARING_VIOLATION)
        << "nobody cuts it meanwhile";
    EXPECT_TRUE(FreeLibrary(first));
    EXPECT_FALSE(FreeLibrary(first));
    EXPECT_TRUE(FreeLibrary(second));
}

TEST(SystemModules, AreFoundWithoutRegardToCaseAndExtension)
{
    const HMODULE found = GetModuleHandleW(L"advapi32.dll");
    ASSERT_NE(found, nullptr);
    for (const HMODULE again : {GetModuleHandleW(L"AdvApi32"), LoadLibraryW(L"ADVAPI32.DLL")})
        EXPECT_EQ(again, found);
    EXPECT_TRUE(FreeLibrary(found));
    EXPECT_NE(GetModuleHandleW(L"User32.dll"), found);
    EXPECT_EQ(GetModuleHandleW(L"C:\\tmp\\advapi32.dll"), nullptr) << "somebody else's file";
    EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(found, "GetUserNameW")),
              reinterpret_cast<void*>(&GetUserNameW));
    EXPECT_EQ(error_of(GetProcAddress(found, "getusernamew")), ERROR_PROC_NOT_FOUND)
        << "function names have their case";
}

// Loads a shared object by the loader itself, without the interface; it is unloaded with the last
// owner.
std::shared_ptr<void> load_elsewhere(const std::string& path)
{
    std::shared_ptr<void> module(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL), dlclose);
    EXPECT_NE(module, nullptr) << dlerror();
    return module;
}

// Null, with the last error, if there is none.
const char* place_of_text(HMODULE module)
{
    const HRSRC found = FindResourceW(module, L"Whose", MAKEINTRESOURCEW(10));
    return static_cast<const char*>(LockResource(found ? LoadResource(module, found) : nullptr));
}

std::string text_of(HMODULE module)
{
    const char* const text = place_of_text(module);
    return text ? std::string(text, 1) : "none, error " + std::to_string(GetLastError());
}

class ForeignModules : public testing::Test
{
protected:
    const std::string m_folder = test::make_folder("foreign");
    const std::string m_first = test::copy_module(m_folder, "libfirst.so");
    const std::string m_second = test::copy_module(m_folder, "libsecond.so");
};

TEST_F(ForeignModules, TheHandleOfOneThatWasUnloadedIsNone)
{
    HMODULE module = nullptr;
    wchar_t name[512];
    {
        const auto first = load_elsewhere(m_first);
        module = GetModuleHandleW(L"first.dll");
        EXPECT_EQ(text_of(module), "1");
        EXPECT_NE(GetModuleFileNameW(module, name, 512), 0u);
        EXPECT_FALSE(DeleteFileW(test::windows_form(m_first))) << "its file is open";
    }
    EXPECT_EQ(text_of(module), "none, error 126");
    EXPECT_EQ(error_of(GetModuleFileNameW(module, name, 512)), ERROR_MOD_NOT_FOUND);
    EXPECT_TRUE(DeleteFileW(test::windows_form(m_first))) << "its file isn't any more";
}

TEST_F(ForeignModules, OneThatIsLoadedAnewFromAReplacedFileHasItsNewResources)
{
    const auto put = [&](const std::string& module)
    {
        std::filesystem::copy_file(module, m_folder + "/new");
        std::filesystem::rename(m_folder + "/new", m_first);
    };
    const std::string original = test::module_path("libfirst.so");
    // Repeated until the module has the same address again, at once unless that is taken.
    bool same = false;
    for (int attempt = 0; attempt < 200 && !same; ++attempt)
    {
        SCOPED_TRACE(attempt);
        HMODULE former = nullptr;
        {
            const auto first = load_elsewhere(m_first);
            former = GetModuleHandleW(L"first.dll");
            ASSERT_EQ(text_of(former), "1");
        }
        put(m_second);
        {
            const auto again = load_elsewhere(m_first);
            same = GetModuleHandleW(L"first.dll") == former;
            EXPECT_EQ(text_of(GetModuleHandleW(L"first.dll")), "2");
        }
        put(original);
    }
    EXPECT_TRUE(same) << "the place was never the same";
}

TEST_F(ForeignModules, ResourcesOfOneThatStaysLoadedStayWhereTheyAre)
{
    const auto first = load_elsewhere(m_first);
    const HMODULE module = GetModuleHandleW(L"first.dll");
    const char* const text = place_of_text(module);
    ASSERT_NE(text, nullptr);
    const auto load_and_unload_another = [&]
    {
        const auto second = load_elsewhere(m_second);
        EXPECT_EQ(text_of(GetModuleHandleW(L"second.dll")), "2");
    };
    load_and_unload_another();
    EXPECT_EQ(place_of_text(module), text);
    std::filesystem::rename(m_first, m_folder + "/moved");
    load_and_unload_another();
    EXPECT_EQ(place_of_text(module), text) << "also without a name";
    std::filesystem::copy_file(m_second, m_first);
    load_and_unload_another();
    EXPECT_EQ(place_of_text(module), text) << "also when another file has the name";
}

// The module is loaded by a relative path, and the current folder then changes. Its resources may
// be unknown, but are never read from the new file.
TEST_F(ForeignModules, KeepTheirPathAndResourcesWhateverBecomesOfTheFile)
{
    for (const char* const fate : {"stays", "is replaced", "is removed"})
    {
        SCOPED_TRACE(fate);
        std::filesystem::current_path(test::make_folder(fate));
        const std::string path = std::filesystem::current_path() / "libfirst.so";
        std::filesystem::copy_file(m_first, path);
        std::filesystem::copy_file(m_second, "new");
        const auto first = load_elsewhere("./libfirst.so");
        if (fate == std::string("is replaced"))
            std::filesystem::rename("new", path);
        if (fate == std::string("is removed"))
            std::filesystem::remove(path);
        std::filesystem::current_path("/");
        const HMODULE module = GetModuleHandleW(L"first.dll");
        wchar_t name[512] = {};
        EXPECT_NE(GetModuleFileNameW(module, name, 512), 0u);
        EXPECT_EQ(test::native_form(name), path);
        const std::string text = text_of(module);
        EXPECT_TRUE(text == "1" || (text == "none, error 2" && fate != std::string("stays")))
            << text;
        EXPECT_EQ(error_of(GetProcAddress(module, "nothing")), ERROR_PROC_NOT_FOUND);
    }
}

// The program survives only as long as it doesn't run code of the cut module, which its normal end
// would do.
const test::ChildMain g_cut("cut a loaded module",
                            [](int, char** argv)
                            {
                                dlopen(argv[0], RTLD_NOW);
                                std::filesystem::resize_file(argv[0], 0);
                                const bool none = !GetModuleHandleW(L"nothing");
                                const std::string heap(1'000, 'x');
                                MEMORY_BASIC_INFORMATION info{};
                                VirtualQueryEx(GetCurrentProcess(), heap.data(), &info,
                                               sizeof info);
                                _exit(none && info.Type == MEM_PRIVATE ? 0 : 1);
                                return 0;
                            });

TEST_F(ForeignModules, OneWhoseFileIsCutDoesNotDisturbTheOthers)
{
    EXPECT_EQ(test::ChildProcess("cut a loaded module", {m_first}).wait(), 0);
}

int g_data = 1;

MEMORY_BASIC_INFORMATION region_of(const void* address)
{
    MEMORY_BASIC_INFORMATION info{};
    EXPECT_EQ(VirtualQueryEx(GetCurrentProcess(), address, &info, sizeof info), sizeof info);
    return info;
}

HMODULE module_of(const void* address)
{
    return static_cast<HMODULE>(region_of(address).AllocationBase);
}

TEST(LoadedModule, HasItsLowestAddressForAHandleAndTellsItsPath)
{
    const HMODULE program = module_of(&g_data);
    for (const HMODULE handle : {program, GetModuleHandleW(nullptr), HMODULE{nullptr}})
    {
        wchar_t path[MAX_PATH] = {};
        EXPECT_NE(GetModuleFileNameW(handle, path, MAX_PATH), 0u);
        EXPECT_EQ(test::native_form(path), test::program());
    }
    EXPECT_NE(GetProcAddress(GetModuleHandleW(nullptr), "GetProcAddress"), nullptr);
    const HMODULE platform = module_of(reinterpret_cast<const void*>(&GetLastError));
    char narrow[MAX_PATH];
    ASSERT_NE(GetModuleFileNameA(platform, narrow, MAX_PATH), 0u);
    EXPECT_NE(std::string(narrow).find("\\libplinth_platform.so"), std::string::npos);
    EXPECT_EQ(GetModuleFileNameA(platform, narrow, 8), 8u);
    EXPECT_EQ(std::strlen(narrow), 7u) << "cut and terminated";
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    const auto within = reinterpret_cast<HMODULE>(reinterpret_cast<uintptr_t>(platform) + 4096);
    EXPECT_EQ(error_of(GetModuleFileNameA(within, narrow, MAX_PATH)), ERROR_MOD_NOT_FOUND);
}

TEST(LoadedModule, IsFoundByItsNameInTheFormsOfBothSystems)
{
    const HMODULE platform = module_of(reinterpret_cast<const void*>(&GetLastError));
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(platform, path, MAX_PATH);
    const std::string native = test::native_form(path);
    const test::Wide file(native.substr(native.rfind('/') + 1)); // its name ends in a version
    for (const wchar_t* const name : {L"PLINTH_PLATFORM.DLL", file.c_str(), L"Plinth_Platform"})
        EXPECT_EQ(GetModuleHandleW(name), platform) << test::utf8(name);
    EXPECT_EQ(error_of(GetModuleHandleW(L"plinth_plat.dll")), ERROR_MOD_NOT_FOUND);
}

TEST(MemoryRegion, TellsImagesMemoryAndGapsApart)
{
    EXPECT_EQ(region_of(&g_data).Type, MEM_IMAGE);
    EXPECT_EQ(region_of(&g_data).Protect, PAGE_READWRITE);
    EXPECT_EQ(region_of(reinterpret_cast<const void*>(&region_of)).Protect, PAGE_EXECUTE_READ);
    char* const pages =
        static_cast<char*>(mmap(nullptr, 3 * 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_EQ(mprotect(pages, 4096, PROT_NONE), 0);
    ASSERT_EQ(munmap(pages + 2 * 4096, 4096), 0);
    EXPECT_EQ(region_of(pages).Protect, PAGE_NOACCESS);
    const MEMORY_BASIC_INFORMATION second = region_of(pages + 4096 + 7);
    EXPECT_EQ(std::tuple(second.Type, second.State, second.Protect),
              std::tuple(MEM_PRIVATE, MEM_COMMIT, PAGE_READONLY));
    EXPECT_EQ(second.BaseAddress, pages + 4096);
    EXPECT_EQ(region_of(nullptr).State, MEM_FREE);
    munmap(pages, 2 * 4096);
}

int end_from_thread(int, char** argv)
{
    std::atexit([] { test::say("at exit"); });
    if (std::string(argv[0]) == "again")
        std::atexit([] { ExitProcess(9); });
    std::thread([] { ExitProcess(7); }).detach();
    for (;;)
        pause();
}
const test::ChildMain end_from_thread_main("end-from-thread", end_from_thread);

TEST(ExitProcess, EndsInOrderFromAnyThreadAndAtOnceFromWithinTheEnd)
{
    test::ChildProcess once("end-from-thread", {"once"});
    EXPECT_EQ(once.line(), "at exit");
    EXPECT_EQ(once.wait(), 7);
    test::ChildProcess again("end-from-thread", {"again"});
    EXPECT_EQ(again.line(), "") << "handlers that were still to run don't";
    EXPECT_EQ(again.wait(), 9);
}

} // namespace
