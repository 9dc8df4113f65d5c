// Loaded modules by name and by address, the memory around an address, and the process's end.
#include <cerrno>
#include <cstring>
#include <thread>
#include <tuple>

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"

namespace
{

using test::error_of;

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
    EXPECT_EQ(std::memcmp(reinterpret_cast<const char*>(program), "\177ELF", 4), 0);
    wchar_t path[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(program, path, MAX_PATH), 0u);
    EXPECT_EQ(test::native_form(path), test::program());
    const HMODULE platform = module_of(reinterpret_cast<const void*>(&GetLastError));
    ASSERT_NE(platform, program);
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
    for (const wchar_t* const name :
         {L"PLINTH_PLATFORM.DLL", L"plinth_platform.dll", L"libplinth_platform.dll",
          L"libplinth_platform.so.0", L"Plinth_Platform"})
        EXPECT_EQ(GetModuleHandleW(name), platform) << test::utf8(name);
    for (const wchar_t* const name : {L"plinth_plat.dll", L"plinth_platform.exe", L".dll", L""})
        EXPECT_EQ(error_of(GetModuleHandleW(name)), ERROR_MOD_NOT_FOUND) << test::utf8(name);
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
    EXPECT_EQ(region_of(nullptr).AllocationBase, nullptr);
    munmap(pages, 2 * 4096);
}

TEST(MemoryRegion, RefusesOtherProcessesSmallRecordsAndFailures)
{
    const auto error_of_query = [](HANDLE process, SIZE_T size)
    {
        MEMORY_BASIC_INFORMATION info{};
        return error_of(VirtualQueryEx(process, &g_data, &info, size));
    };
    EXPECT_EQ(error_of_query(nullptr, 48), ERROR_INVALID_HANDLE);
    EXPECT_EQ(error_of_query(GetCurrentProcess(), 47), ERROR_INSUFFICIENT_BUFFER);
    PlinthTestFail("open", 1, 1, EMFILE);
    EXPECT_EQ(error_of_query(GetCurrentProcess(), 48), ERROR_TOO_MANY_OPEN_FILES);
    PlinthTestReset();
}

TEST(NarrowNames, OpenTheSameFilesAsWideOnes)
{
    const std::string file = test::make_folder("narrow") + "/\xc3\xa4.txt";
    test::write_file(file, "x");
    const auto open = [](const char* path)
    {
        return error_of(HANDLE{test::Handle(
            CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr))});
    };
    EXPECT_EQ(open(test::windows_form(file).utf8().c_str()), 0u);
    EXPECT_EQ(open(nullptr), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(open(std::string(5'000, 'x').c_str()), ERROR_FILENAME_EXCED_RANGE);
}

TEST(NarrowMessages, AreTheTextsOfSystemErrors)
{
    const auto format = [](DWORD flags, void* buffer, DWORD size)
    {
        return FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | flags, nullptr, ERROR_ACCESS_DENIED, 0,
                              static_cast<char*>(buffer), size, nullptr);
    };
    char text[64];
    EXPECT_EQ(format(0, text, sizeof text), 19u);
    EXPECT_STREQ(text, "Access is denied.\r\n");
    EXPECT_EQ(error_of(format(0, text, 19)), ERROR_INSUFFICIENT_BUFFER);
    char* allocated = nullptr;
    EXPECT_EQ(format(FORMAT_MESSAGE_ALLOCATE_BUFFER, &allocated, 0), 19u);
    EXPECT_STREQ(allocated, text);
    LocalFree(allocated);
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
