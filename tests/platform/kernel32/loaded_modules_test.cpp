// Loaded modules by name and by address, the memory around an address, and the process's end.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/environment.h"

namespace fs = std::filesystem;

namespace
{

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
    EXPECT_EQ(GetModuleFileNameA(within, narrow, MAX_PATH), 0u);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(LoadedModule, IsFoundByItsNameInTheFormsOfBothSystems)
{
    const HMODULE platform = module_of(reinterpret_cast<const void*>(&GetLastError));
    for (const wchar_t* const name :
         {L"PLINTH_PLATFORM.DLL", L"plinth_platform.dll", L"libplinth_platform.dll",
          L"libplinth_platform.so.0", L"Plinth_Platform"})
        EXPECT_EQ(GetModuleHandleW(name), platform) << test::utf8(name);
    for (const wchar_t* const name : {L"plinth_plat.dll", L"plinth_platform.exe", L".dll", L""})
    {
        EXPECT_EQ(GetModuleHandleW(name), nullptr) << test::utf8(name);
        EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    }
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
    EXPECT_EQ(second.Type, MEM_PRIVATE);
    EXPECT_EQ(second.State, MEM_COMMIT);
    EXPECT_EQ(second.Protect, PAGE_READONLY);
    EXPECT_EQ(static_cast<char*>(second.BaseAddress), pages + 4096);
    const MEMORY_BASIC_INFORMATION gap = region_of(nullptr);
    EXPECT_EQ(gap.State, MEM_FREE);
    EXPECT_EQ(gap.AllocationBase, nullptr);
    munmap(pages, 2 * 4096);
}

TEST(MemoryRegion, RefusesOtherProcessesSmallRecordsAndFailures)
{
    MEMORY_BASIC_INFORMATION info{};
    EXPECT_EQ(VirtualQueryEx(nullptr, &g_data, &info, sizeof info), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(VirtualQueryEx(GetCurrentProcess(), &g_data, &info, 47), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    PlinthTestFail("open", 1, 1, EMFILE);
    EXPECT_EQ(VirtualQueryEx(GetCurrentProcess(), &g_data, &info, sizeof info), 0u);
    EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_OPEN_FILES);
    PlinthTestReset();
}

TEST(NarrowNames, OpenTheSameFilesAsWideOnes)
{
    const std::string file = test::make_folder("narrow") + "/\xc3\xa4.txt";
    test::write_file(file, "x");
    const HANDLE handle = CreateFileA(test::windows_form(file).utf8().c_str(), GENERIC_READ,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(CreateFileA(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateFileA(std::string(5'000, 'x').c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                          0, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
}

TEST(NarrowMessages, AreTheTextsOfSystemErrors)
{
    char text[64];
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, text, sizeof text, nullptr),
              19u);
    EXPECT_STREQ(text, "Access is denied.\r\n");
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, text, 19, nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    char* allocated = nullptr;
    EXPECT_EQ(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr,
                             5, 0, reinterpret_cast<char*>(&allocated), 0, nullptr),
              19u);
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

TEST(ExitProcess, EndsInOrderFromAnyThread)
{
    test::ChildProcess child("end-from-thread", {"once"});
    EXPECT_EQ(child.line(), "at exit");
    EXPECT_EQ(child.wait(), 7);
}

TEST(ExitProcess, FromWithinTheEndEndsAtOnce)
{
    test::ChildProcess child("end-from-thread", {"again"});
    EXPECT_EQ(child.line(), "") << "handlers that were still to run don't";
    EXPECT_EQ(child.wait(), 9);
}

} // namespace
