// Modules, symbols and lines by address, and walks of the calling thread's stack.
#include <cstdint>

#include <dlfcn.h>
#include <elf.h>

#include "support/test.h"

#include <dbghelp.h>

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

// Loads the symbols of the module that contains an address, as callers do.
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

// A loaded copy or build of module.cpp.
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

TEST(SymbolEngine, StartsOnceForThisProcessAloneWithTheLoadedModules)
{
    // Before initialisation it knows no module.
    IMAGEHLP_MODULE64 info = module_record();
    EXPECT_EQ(refusal(SymGetModuleInfo64(process(), address_of(known_function), &info)),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(refusal(SymInitialize(nullptr, nullptr, FALSE)), ERROR_INVALID_HANDLE);
    PlinthTestFail("dlopen", 1, 1, ENOENT);
    EXPECT_EQ(refusal(SymInitialize(process(), nullptr, FALSE)), ERROR_MOD_NOT_FOUND)
        << "the library that reads symbols is missing";
    PlinthTestReset();
    EXPECT_TRUE(SymInitialize(process(), nullptr, TRUE));
    EXPECT_EQ(refusal(SymInitialize(process(), nullptr, FALSE)), ERROR_INVALID_PARAMETER);
    // Initialised with TRUE, it knows each loaded module.
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
}

TEST_F(Symbols, HaveNamesAndLinesAsTheyAreAskedForAndNoVersions)
{
    const DWORD64 address = address_of(known_function);
    load_module_at(address);
    Symbol symbol;
    ASSERT_TRUE(symbol.find(address));
    EXPECT_EQ(symbol.name(), "(anonymous namespace)::known_function(int)");
    ASSERT_TRUE(symbol.find(address + 3));
    EXPECT_EQ(symbol.displacement, 3u);
    Symbol small(10);
    ASSERT_TRUE(small.find(address));
    EXPECT_EQ(small.name(), "(anonymou") << "cut to what there is room for";

    Line line;
    ASSERT_TRUE(line.find(address + 1));
    EXPECT_LE(line.record.LineNumber - known_line, 3u);
    EXPECT_EQ(line.record.Address + line.displacement, address + 1);
    SymSetOptions(0);
    EXPECT_EQ(refusal(line.find(address + 1)), ERROR_INVALID_ADDRESS);
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
}

// The file with the debug information is found by its name and checksum.
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

// The module is loaded from the current folder, which changes before anything is looked up.
TEST_F(Symbols, AreThoseOfWhatRunsWhateverBecomesOfTheFile)
{
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"moved", [] { fs::rename("module.so", "old"); }},
        {"replaced", [] { fs::rename("other", "module.so"); }},
        {"removed", [] { fs::remove("module.so"); }},
        {"unreadable", [] { PlinthTestFail("pread", 1, 0, EIO); }}};
    for (const auto& [name, happens] : rows)
    {
        SCOPED_TRACE(name);
        fs::current_path(test::make_folder(name));
        const std::string path = fs::current_path() / "module.so";
        fs::copy_file(PLINTH_TEST_MODULE, "module.so");
        fs::copy_file(PLINTH_TEST_MODULE_OTHER, "other");
        const TestModule module("./module.so");
        happens();
        fs::current_path("/");
        EXPECT_NE(load_module_at(module.address), 0u);
        Symbol symbol;
        EXPECT_TRUE(symbol.find(module.address));
        EXPECT_EQ(symbol.name(), "plinth_test_function");
        Line line;
        const bool has_line = line.find(module.address);
        EXPECT_EQ(fs::path(has_line ? line.record.FileName : "module.cpp").filename(),
                  "module.cpp");
        IMAGEHLP_MODULE64 info = module_record();
        EXPECT_TRUE(SymGetModuleInfo64(process(), module.address, &info));
        PlinthTestReset();
        if (name != std::string("moved")) // the kernel's path follows a move
        {
            EXPECT_EQ(test::native_form(test::Wide(info.ImageName)), path);
        }
        dlclose(module.handle);
    }
}

// The size of the loaded part of a file.
size_t end_of_segments(const std::string& file)
{
    Elf64_Ehdr head;
    std::memcpy(&head, file.data(), sizeof head);
    size_t end = 0;
    for (unsigned i = 0; i < head.e_phnum; ++i)
    {
        Elf64_Phdr each;
        std::memcpy(&each, file.data() + head.e_phoff + i * sizeof each, sizeof each);
        if (each.p_type == PT_LOAD)
            end = std::max<size_t>(end, each.p_offset + each.p_filesz);
    }
    return end;
}

TEST_F(Symbols, AreUnknownOnceTheFileWasCut)
{
    const std::string path = test::make_folder("cut") + "/module.so";
    fs::copy_file(PLINTH_TEST_MODULE, path);
    const TestModule module(path);
    load_module_at(module.address);
    EXPECT_TRUE(Symbol().find(module.address));
    fs::resize_file(path, end_of_segments(test::read_file(path))); // the loaded part stays
    Line line;
    EXPECT_FALSE(line.find(module.address)) << line.record.FileName;
    dlclose(module.handle);
}

// ---- walks

class Walk
{
public:
    // The context is taken in this constructor, or in the function that calls it.
    Walk()
    {
        m_context.ContextFlags = CONTEXT_FULL;
        m_good = GetThreadContext(GetCurrentThread(), &m_context) != FALSE;
        m_frame.AddrPC = {m_context.Rip, 0, AddrModeFlat};
        m_frame.AddrStack = {m_context.Rsp, 0, AddrModeFlat};
        m_frame.AddrFrame = {m_context.Rbp, 0, AddrModeFlat};
    }
    bool next()
    {
        return m_good && StackWalk64(IMAGE_FILE_MACHINE_AMD64, GetCurrentProcess(),
                                     GetCurrentThread(), &m_frame, &m_context, nullptr,
                                     SymFunctionTableAccess64, nullptr, nullptr);
    }
    const STACKFRAME64& frame() const { return m_frame; }

private:
    CONTEXT m_context{};
    STACKFRAME64 m_frame{};
    bool m_good = false;
};

// The return addresses of a recursion: each frame notes its own.
std::vector<uintptr_t> g_returns;
std::vector<STACKFRAME64> g_frames;

__attribute__((noinline)) void note_frames()
{
    g_frames.clear();
    Walk walk;
    while (walk.next())
        g_frames.push_back(walk.frame());
}

__attribute__((noinline)) int recurse(int depth)
{
    g_returns.push_back(reinterpret_cast<uintptr_t>(__builtin_return_address(0)));
    if (depth == 0)
        note_frames();
    else
        recurse(depth - 1);
    const int again = depth; // code after the call, so that it can't become a jump
    return again + static_cast<int>(g_returns.size());
}

// Checks that the frames contain the noted return addresses, in order and without a gap.
void expect_recursion_in_frames()
{
    size_t at = 0;
    while (at < g_frames.size() && g_frames[at].AddrReturn.Offset != g_returns.back())
        ++at;
    ASSERT_LE(at + g_returns.size(), g_frames.size());
    for (size_t i = 0; i < g_returns.size(); ++i)
    {
        const STACKFRAME64& frame = g_frames[at + i];
        const uintptr_t expected = g_returns[g_returns.size() - 1 - i];
        ASSERT_EQ(frame.AddrReturn.Offset, expected) << "frame " << i;
        ASSERT_EQ(g_frames[at + i + 1].AddrPC.Offset, expected - 1) << "within the call";
        ASSERT_GT(g_frames[at + i + 1].AddrStack.Offset, frame.AddrStack.Offset);
    }
}

TEST(StackWalk, ReturnsEachFrameOnceFromThatOfTheContextOnAndEnds)
{
    for (const int depth : {0, 30, 31, 32, 33, 700})
    {
        g_returns.clear();
        recurse(depth);
        expect_recursion_in_frames();
    }
}

TEST(StackWalk, ServesManyThreadsConcurrently)
{
    std::vector<std::jthread> all;
    for (int i = 0; i < 4; ++i)
        all.emplace_back(
            []
            {
                for (int round = 0; round < 200; ++round)
                {
                    Walk walk;
                    size_t count = 0;
                    while (walk.next())
                        ++count;
                    EXPECT_GT(count, 2u);
                }
            });
}

} // namespace
