// The main function of the test programs.
//
// The library opens its log while it loads, so PLINTH_ROOT must be set before the process starts:
// launcher.cpp sets it. A child of a test (--child NAME) shares the root of the process that
// started it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "support/environment.h"

// For the leak checker. A thread that is terminated by another thread never frees the records of
// its thread-local objects' destructors, here as on Windows. A test program with more exceptions
// has a function of its own.
#if !defined(_WIN32)
extern "C" __attribute__((weak, visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:__cxa_thread_atexit_impl\n";
}
#endif

namespace
{

// Where everything that tests need is installed (CI=true), a skipped test counts as failed,
// whatever the reason.
class NoSkips : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo& test) override
    {
        if (test.result()->Skipped())
            ADD_FAILURE() << "skipped, which no test may be with CI=true";
    }
};

std::map<std::string, test::ChildMain::Function>& children()
{
    static std::map<std::string, test::ChildMain::Function> map;
    return map;
}

std::string g_program;
std::string g_root;

int run_inner(int argc, char** argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--child") == 0)
    {
        if (const auto found = children().find(argv[2]); found != children().end())
            return found->second(argc - 3, argv + 3);
        std::fprintf(stderr, "no child function %s\n", argv[2]);
        return 99;
    }
    testing::InitGoogleTest(&argc, argv);
    const char* const ci = std::getenv("CI");
    if (ci && std::strcmp(ci, "true") == 0)
        testing::UnitTest::GetInstance()->listeners().Append(new NoSkips);
    return RUN_ALL_TESTS();
}

} // namespace

namespace test
{

ChildMain::ChildMain(const char* name, Function function)
{
    children()[name] = function;
}

const std::string& program()
{
    return g_program;
}

const std::string& root()
{
    return g_root;
}

Wide root_path()
{
    return windows_form(g_root);
}

std::string make_folder(const std::string& name)
{
    const std::string path = g_root + "/" + name;
    std::filesystem::create_directories(path);
    return path;
}

std::string make_folder_outside(const std::string& name)
{
    const std::string path = g_root + ".outside/" + name;
    std::filesystem::create_directories(path);
    return path;
}

Wide windows_form(const std::string& native)
{
    std::string text = native[0] == '/' ? "C:" + native : native;
    std::replace(text.begin(), text.end(), '/', '\\');
    return Wide(text);
}

std::string native_form(const wchar_t* windows)
{
    std::string text = utf8(windows);
#ifndef _WIN32
    std::replace(text.begin(), text.end(), '\\', '/');
    if (text.size() > 1 && text[1] == ':')
        text.erase(0, 2);
#endif
    return text;
}

// Paths are UTF-8 here, whatever the active code page is.
static std::filesystem::path path_of(const std::string& native)
{
    return std::u8string(native.begin(), native.end());
}

std::string read_file(const std::string& native)
{
    std::ifstream file(path_of(native), std::ios::binary);
    std::ostringstream out;
    out << file.rdbuf();
    return out.str();
}

void write_file(const std::string& native, const std::string& bytes)
{
    std::ofstream(path_of(native), std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace test

#ifdef _WIN32

int main(int argc, char** argv)
{
    g_program = argv[0];
    g_root = (std::filesystem::temp_directory_path() /
              ("plinth-test-" + std::to_string(GetCurrentProcessId())))
                 .string();
    std::filesystem::create_directories(g_root);
    const int result = run_inner(argc, argv);
    std::error_code ignored;
    std::filesystem::remove_all(g_root, ignored);
    return result;
}

#else

int main(int argc, char** argv)
{
    g_program = std::filesystem::read_symlink("/proc/self/exe").string();
    const char* given = std::getenv("PLINTH_TEST_ROOT");
    if (!given || !*given)
    {
        std::fprintf(stderr,
                     "Run this program through ctest, or as: plinth_test_launcher %s ...\n"
                     "The library has already opened the machine's own log here.\n",
                     argv[0]);
        return 98;
    }
    g_root = given;
    return run_inner(argc, argv);
}

#endif
