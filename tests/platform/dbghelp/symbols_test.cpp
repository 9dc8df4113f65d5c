// Modules, symbols and lines by address.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <dbghelp.h>
#include <plinth_platform_test.h>

#include "support/environment.h"
#include "support/refusal.h"

namespace fs = std::filesystem;

namespace
{

using test::refusal;

constexpr int known_line = __LINE__ + 1;
__attribute__((noinline)) int known_function(int x)
{
    return x + __LINE__;
}

DWORD64 address_of(int (*function)(int))
{
    return reinterpret_cast<DWORD64>(function);
}

HANDLE process()
{
    return GetCurrentProcess();
}

// Makes the module known that holds an address, as callers do.
DWORD64 load_module_at(DWORD64 address)
{
    MEMORY_BASIC_INFORMATION memory{};
    if (VirtualQueryEx(process(), reinterpret_cast<LPCVOID>(address), &memory, sizeof memory) == 0)
        return 0;
    char path[MAX_PATH];
    if (GetModuleFileNameA(static_cast<HMODULE>(memory.AllocationBase), path, MAX_PATH) == 0)
        return 0;
    return SymLoadModule64(process(), nullptr, path, nullptr,
                           reinterpret_cast<DWORD64>(memory.AllocationBase), 0);
}

struct Symbol
{
    IMAGEHLP_SYMBOL64 header{};
    char more[260] = "";
    DWORD64 displacement = 0;

    explicit Symbol(DWORD room = 260)
    {
        header.SizeOfStruct = sizeof header;
        header.MaxNameLength = room;
    }
    bool find(DWORD64 address)
    {
        return SymGetSymFromAddr64(process(), address, &displacement, &header) != FALSE;
    }
    std::string name() const { return header.Name; }
};

struct Line
{
    IMAGEHLP_LINE64 record{};
    DWORD displacement = 0;

    bool find(DWORD64 address)
    {
        record.SizeOfStruct = sizeof record;
        return SymGetLineFromAddr64(process(), address, &displacement, &record) != FALSE;
    }
};

IMAGEHLP_MODULE64 module_record()
{
    IMAGEHLP_MODULE64 info{};
    info.SizeOfStruct = sizeof info;
    return info;
}

// A copy or build of module.cpp, loaded.
struct TestModule
{
    explicit TestModule(const std::string& file) : handle(dlopen(file.c_str(), RTLD_NOW))
    {
        EXPECT_NE(handle, nullptr) << dlerror();
        address = reinterpret_cast<DWORD64>(dlsym(handle, "plinth_test_function"));
    }
    void* handle;
    DWORD64 address;
};

class Symbols : public testing::Test
{
protected:
    Symbols()
    {
        SymSetOptions(SymGetOptions() | SYMOPT_LOAD_LINES);
        EXPECT_TRUE(SymInitialize(process(), nullptr, FALSE));
    }
    ~Symbols() override { PlinthTestReset(); }
};

TEST(SymbolEngine, StartsOnceForThisProcessAlone)
{
    // It knows nothing before.
    IMAGEHLP_MODULE64 info = module_record();
    EXPECT_EQ(refusal(SymGetModuleInfo64(process(), address_of(known_function), &info)),
              ERROR_INVALID_HANDLE);
    EXPECT_FALSE(Symbol().find(address_of(known_function)));
    EXPECT_FALSE(Line().find(address_of(known_function)));
    EXPECT_EQ(refusal(SymInitialize(nullptr, nullptr, FALSE)), ERROR_INVALID_HANDLE);
    PlinthTestFail("dlopen", 1, 1, ENOENT);
    EXPECT_EQ(refusal(SymInitialize(process(), nullptr, FALSE)), ERROR_MOD_NOT_FOUND)
        << "the library that reads symbols is missing";
    PlinthTestReset();
    PlinthTestFail("dlsym", 3, 1, ENOENT);
    EXPECT_FALSE(SymInitialize(process(), nullptr, FALSE));
    PlinthTestReset();
    EXPECT_TRUE(SymInitialize(process(), nullptr, FALSE));
    EXPECT_EQ(refusal(SymInitialize(process(), nullptr, FALSE)), ERROR_INVALID_PARAMETER);
}

TEST(SymbolEngine, KnowsEachLoadedModuleIfItWasToldTo)
{
    EXPECT_TRUE(SymInitialize(process(), nullptr, TRUE));
    IMAGEHLP_MODULE64 info = module_record();
    EXPECT_TRUE(SymGetModuleInfo64(process(), address_of(known_function), &info));
    EXPECT_TRUE(SymGetModuleInfo64(process(), reinterpret_cast<DWORD64>(&GetLastError), &info));
    EXPECT_STREQ(info.ModuleName, "libplinth_platform");
}

TEST_F(Symbols, OfAModuleAreThereFromItsLoadOn)
{
    const DWORD64 address = address_of(known_function);
    IMAGEHLP_MODULE64 info = module_record();
    EXPECT_EQ(refusal(SymGetModuleInfo64(process(), address, &info)), ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(Symbol().find(address));

    const DWORD64 base = load_module_at(address);
    ASSERT_NE(base, 0u);
    EXPECT_EQ(load_module_at(address), base) << "a second time changes nothing";
    ASSERT_TRUE(SymGetModuleInfo64(process(), address, &info));
    EXPECT_EQ(info.BaseOfImage, base);
    EXPECT_GT(info.ImageSize, address - base);
    EXPECT_EQ(test::native_form(test::Wide(info.ImageName)), test::program());
    info.SizeOfStruct = 1;
    EXPECT_EQ(refusal(SymGetModuleInfo64(process(), address, &info)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(refusal(SymLoadModule64(process(), nullptr, "C:\\x", nullptr, 0x1000, 0)),
              ERROR_MOD_NOT_FOUND)
        << "none is loaded there";
    EXPECT_EQ(SymLoadModule64(process(), nullptr, nullptr, nullptr, 0x1000, 0), 0u);
}

TEST_F(Symbols, HaveNamesAndLinesAsTheyAreAskedForAndNoVersions)
{
    const DWORD64 address = address_of(known_function);
    load_module_at(address);
    Symbol symbol;
    ASSERT_TRUE(symbol.find(address));
    EXPECT_EQ(symbol.name(), "(anonymous namespace)::known_function(int)");
    EXPECT_EQ(symbol.displacement, 0u);
    EXPECT_EQ(symbol.header.Address, address);
    ASSERT_TRUE(symbol.find(address + 3));
    EXPECT_EQ(symbol.displacement, 3u);
    Symbol small(10);
    ASSERT_TRUE(small.find(address));
    EXPECT_EQ(small.name(), "(anonymou") << "cut to what there is room for";
    EXPECT_FALSE(Symbol(0).find(address));

    Line line;
    ASSERT_TRUE(line.find(address + 1));
    EXPECT_LE(line.record.LineNumber - known_line, 3u);
    EXPECT_EQ(line.record.Address + line.displacement, address + 1);
    SymSetOptions(0);
    EXPECT_EQ(refusal(line.find(address + 1)), ERROR_INVALID_ADDRESS);
    ASSERT_TRUE(symbol.find(address));
    EXPECT_EQ(symbol.name().rfind("_ZN", 0), 0u);
    EXPECT_FALSE(symbol.find(0x10)) << "in no module";
    const auto versioned = reinterpret_cast<DWORD64>(dlsym(RTLD_DEFAULT, "qsort"));
    load_module_at(versioned);
    ASSERT_TRUE(symbol.find(versioned));
    EXPECT_EQ(symbol.name().find('@'), std::string::npos) << symbol.name();
}

TEST_F(Symbols, OfAnUnloadedModuleAreForgottenWithItsAddress)
{
    const TestModule module(PLINTH_TEST_MODULE);
    ASSERT_NE(load_module_at(module.address), 0u);
    Symbol symbol;
    ASSERT_TRUE(symbol.find(module.address));
    EXPECT_EQ(symbol.name(), "plinth_test_function");
    dlclose(module.handle);
    IMAGEHLP_MODULE64 info = module_record();
    EXPECT_FALSE(SymGetModuleInfo64(process(), module.address, &info));
    EXPECT_FALSE(symbol.find(module.address));
    EXPECT_EQ(load_module_at(module.address), 0u);
    // What is still there is made known anew.
    EXPECT_NE(load_module_at(address_of(known_function)), 0u);
    EXPECT_TRUE(symbol.find(address_of(known_function)));
}

// With debug information in a file of its own, which is found by its name and checksum.
TEST_F(Symbols, OfASeparateFileAreFoundInBothPlacesAndNotTakenFromAnotherBuild)
{
    const std::string good = test::read_file(PLINTH_TEST_MODULE_DEBUG);
    for (const std::string place : {"/symbols.debug", "/.debug/symbols.debug"})
        for (const bool other_build : {false, true})
        {
            const std::string folder =
                test::make_folder("separate" + std::to_string(place.size()) + "ab"[other_build]);
            fs::copy_file(PLINTH_TEST_MODULE_SEPARATE, folder + "/libmodule.so");
            fs::create_directories(folder + "/.debug");
            test::write_file(folder + place, good + (other_build ? "x" : ""));
            const TestModule module(folder + "/libmodule.so");
            EXPECT_NE(load_module_at(module.address), 0u);
            Line line;
            ASSERT_EQ(line.find(module.address), !other_build) << place;
            const fs::path file = other_build ? "module.cpp" : line.record.FileName;
            EXPECT_EQ(file.filename(), "module.cpp");
        }
}

} // namespace
