// Resources of module files: finding them by type, name and language, adding, replacing and
// removing them, and damaged trees.
#include <csignal>
#include <semaphore>
#include <tuple>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include "support/child_process.h"
#include "support/entries.h"
#include "support/handles.h"
#include "support/modules.h"
#include "support/wide_text.h"

using test::error_of;
using test::PePlaces;
using test::Wide;

namespace
{

const LPCWSTR raw_data = MAKEINTRESOURCEW(10);
constexpr int any_language = -1;

// A module that is loaded as data.
class DataModule
{
public:
    explicit DataModule(const std::string& native)
        : m_module(LoadLibraryExW(test::windows_form(native), nullptr, LOAD_LIBRARY_AS_DATAFILE),
                   FreeLibrary)
    {
    }
    operator HMODULE() const { return m_module.get(); }
    // The bytes of a resource, or the error.
    std::string read(LPCWSTR name, LPCWSTR type = raw_data, int language = 0) const
    {
        const HRSRC found = language == any_language
                                ? FindResourceW(*this, name, type)
                                : FindResourceExW(*this, type, name, static_cast<WORD>(language));
        const void* const data = found ? LockResource(LoadResource(*this, found)) : nullptr;
        return data ? std::string(static_cast<const char*>(data), SizeofResource(*this, found))
                    : "error " + std::to_string(GetLastError());
    }
    std::string read(int name) const { return read(MAKEINTRESOURCEW(name)); }

private:
    const std::shared_ptr<HINSTANCE__> m_module;
};

class Update
{
public:
    explicit Update(const std::string& native, BOOL delete_existing = FALSE)
        : m_update(BeginUpdateResourceW(test::windows_form(native), delete_existing))
    {
    }
    explicit operator bool() const { return m_update; }
    BOOL set(LPCWSTR name, const std::string& bytes, LPCWSTR type = raw_data, WORD language = 0)
    {
        return UpdateResourceW(m_update, type, name, language, const_cast<char*>(bytes.data()),
                               static_cast<DWORD>(bytes.size()));
    }
    BOOL remove(LPCWSTR name) { return UpdateResourceW(m_update, raw_data, name, 0, nullptr, 0); }
    BOOL end(BOOL discard = FALSE) { return EndUpdateResourceW(m_update, discard); }

private:
    const HANDLE m_update;
};

// A whole update with one resource.
bool put(const std::string& native, LPCWSTR name, const std::string& bytes)
{
    Update update(native);
    return update && update.set(name, bytes) && update.end();
}

// Quickly made bytes, which differ with the number.
std::string some_bytes(size_t size, int number)
{
    auto seed = static_cast<uint32_t>(number);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
    {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

std::string& text_at(LONG_PTR list)
{
    return *reinterpret_cast<std::string*>(list);
}

BOOL CALLBACK add_language(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR list)
{
    text_at(list) += " " + std::to_string(language);
    return TRUE;
}

BOOL CALLBACK add_name(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR list)
{
    text_at(list) += IS_INTRESOURCE(name) ? "#" + std::to_string(reinterpret_cast<uintptr_t>(name))
                                          : test::utf8(name);
    text_at(list) += ":";
    EnumResourceLanguagesW(module, type, name, add_language, list);
    text_at(list) += ";";
    return TRUE;
}

BOOL CALLBACK add_type(HMODULE module, LPWSTR type, LONG_PTR list)
{
    return EnumResourceNamesW(module, type, add_name, list);
}

std::string list_of(HMODULE module)
{
    std::string list;
    EnumResourceTypesW(module, add_type, reinterpret_cast<LONG_PTR>(&list));
    return list;
}

class ResourceFiles : public testing::TestWithParam<const char*>
{
protected:
    const std::string m_folder = test::make_folder("resources");
    const std::string m_path = test::copy_module(m_folder, GetParam());
    const std::string m_good = test::read_file(m_path);
};

INSTANTIATE_TEST_SUITE_P(BothWidths, ResourceFiles, testing::Values("module64.dll", "module32.dll"),
                         [](const auto& row) { return std::string(row.param, 8); });

TEST_P(ResourceFiles, ResourcesAreFoundByNameNumberAndLanguageWithoutCase)
{
    const std::string alpha = test::read_file(test::module_path("alpha.bin"));
    const std::tuple<LPCWSTR, LPCWSTR, int, std::string> rows[] = {
        {L"Alpha", raw_data, any_language, alpha},
        {L"#1033", raw_data, any_language, "data of 0x409"},
        {L"picture", L"Sketch", any_language, "a type of its own"},
        {L"Alpha", L"None", any_language, "error 1813"},
        {L"None", raw_data, any_language, "error 1814"},
        {L"Greeting", raw_data, 0x407, "Guten Tag"},
        {L"Greeting", raw_data, 0x410, "error 1815"},
        {L"Greeting", raw_data, any_language, "Good day"}, // US English before others
        {L"Greeting", raw_data, 0, "Good day"},            // neutral means any
    };
    const DataModule module(m_path);
    for (const auto& [name, type, language, bytes] : rows)
        EXPECT_EQ(module.read(name, type, language), bytes) << test::utf8(name) << " " << language;
    EXPECT_EQ(list_of(module),
              "PICTURE: 0;#1: 1033;#1: 1033;#2: 1033;ALPHA: 0;GREETING: 1031 1033 1036;"
              "#1031: 0;#1033: 0;#2052: 0;#2057: 0;#1: 1033;#1: 1033;");
}

TEST_P(ResourceFiles, HandlesOfOthersAreRefused)
{
    const DataModule module(m_path);
    const DataModule other(m_path);
    const HRSRC found = FindResourceW(module, L"Alpha", raw_data);
    EXPECT_EQ(LoadResource(other, found), nullptr);
    EXPECT_EQ(SizeofResource(other, found), 0u);
    HINSTANCE__ nobody{};
    EXPECT_EQ(error_of(FindResourceW(&nobody, L"Alpha", raw_data)), ERROR_MOD_NOT_FOUND);
}

// Trees with loops, with offsets outside the file, and with every damaged number. Each call must
// return; the sanitizers check that nothing outside is read.
TEST_P(ResourceFiles, DamagedTreesAreReadWithinTheirBounds)
{
    const PePlaces places(m_good);
    const size_t entry = places.entry(m_good, ".rsrc");
    const size_t tree = test::number_at<uint32_t>(m_good, entry + 20);
    const auto size = test::number_at<uint32_t>(m_good, entry + 16);
    const auto try_file = [&](const std::string& bytes)
    {
        test::write_file(m_path, bytes);
        const DataModule module(m_path);
        list_of(module);
        module.read(L"Alpha");
    };
    // Each number of the directories and descriptions in turn is replaced by extreme values.
    for (size_t at = tree; at < tree + 0x340; at += 4)
        for (const uint32_t value :
             {0u, 0x80000000u, 0xFFFFFFFFu, 0x7FFFFFF0u, 0xFFFFF000u, size - 1, 0xFFFF0000u})
        {
            std::string file = m_good;
            test::set_number(file, at, value);
            try_file(file);
        }
    for (size_t length = 1; length < m_good.size(); length += length < places.table + 400 ? 1 : 97)
        try_file(m_good.substr(0, length));
    // All entries of all directories point to the root: walking them would never end.
    std::string round = m_good;
    for (size_t at = tree + 16; at + 8 <= tree + 0x280; at += 8)
        test::set_number(round, at + 4, 0x80000000u);
    try_file(round);
}

// The program's own file is opened at the first use of its resources. After a failure each use
// tries again.
TEST(Resources, AProgramThatCouldNotBeReadIsTriedAgainAndLeavesNothingOpen)
{
    const size_t before = test::entries("/proc/self/fd");
    for (const char* const call : {"fstat", "mmap"})
    {
        PlinthTestFail(call, 1, 1, EIO);
        EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(1), raw_data), nullptr);
        EXPECT_STREQ(PlinthTestFaultMet(), call);
        PlinthTestReset();
        EXPECT_EQ(test::entries("/proc/self/fd"), before) << call;
    }
}

class ResourceUpdates : public testing::Test
{
protected:
    ~ResourceUpdates() override { PlinthTestReset(); }
    std::string copied(const std::string& name) const { return test::copy_module(m_folder, name); }
    const std::string m_folder = test::make_folder_outside("updates");
    const std::string m_path = copied("module64.dll");
    const std::string m_good = test::read_file(m_path);
    const PePlaces m_places{m_good};
};

TEST_F(ResourceUpdates, AThousandResourcesOfAllSizesCanBeAddedReplacedAndReadBack)
{
    // Most are small; each hundredth is large, up to 8 MiB.
    const auto bytes_of = [](int i, int round)
    {
        const int size =
            i == 500 ? 8 << 20 : (i % 100 == 99 ? 40'000 : 7) * ((i * 31 + round) % 11);
        return some_bytes(static_cast<size_t>(size), i + round);
    };
    const auto name_of = [](int i, const Wide& text)
    { return i % 2 ? MAKEINTRESOURCEW(i) : text.c_str(); };
    for (const char* const file : {"compiled64.exe", "overlay32.exe"})
        for (int round = 0; round < 3; ++round)
        {
            const std::string path = round == 0 ? copied(file) : m_folder + "/" + file;
            Update update(path);
            for (int i = 0; i < 1000; ++i)
                ASSERT_TRUE(update.set(name_of(i, "Name" + std::to_string(i)), bytes_of(i, round),
                                       i % 3 ? raw_data : L"OWN", static_cast<WORD>(i % 5)));
            ASSERT_TRUE(update.end()) << GetLastError();
            const DataModule module(path);
            for (int i = 0; i < 1000; ++i)
                ASSERT_TRUE(module.read(name_of(i, "name" + std::to_string(i)),
                                        i % 3 ? raw_data : L"own", i % 5) == bytes_of(i, round))
                    << i;
            EXPECT_EQ(module.read(2057), "data of 0x809: not in the scan");
        }
}

TEST_F(ResourceUpdates, ManyUpdatesGrowTheFileByNoMoreThanTheirDataAndKeepItsModeAndLink)
{
    const std::string link = m_folder + "/link.dll";
    std::filesystem::create_symlink(m_path, link);
    chmod(m_path.c_str(), 0751);
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(put(link, L"Same", some_bytes(5000, i)));
    EXPECT_LT(test::read_file(m_path).size(), m_good.size() + 5000 + 6 * 1024)
        << "the old section may stay behind, once";
    EXPECT_EQ(std::filesystem::status(m_path).permissions(), std::filesystem::perms{0751});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(test::entries(m_folder.c_str()), 2u) << "no temporary file stays";
}

TEST_F(ResourceUpdates, ResourcesCanBeRemovedOneByOneAndAllAtOnce)
{
    const std::string path = copied("program64.exe");
    const size_t before = test::read_file(path).size();
    Update one(path);
    one.remove(L"Alpha");
    ASSERT_TRUE(one.end());
    EXPECT_EQ(DataModule(path).read(L"Alpha"), "error 1814");
    EXPECT_EQ(DataModule(path).read(1033), "data of 0x409");
    EXPECT_LT(test::read_file(path).size(), before) << "the last section gets shorter";

    Update all(path, TRUE);
    all.set(L"Only", "one");
    ASSERT_TRUE(all.end());
    EXPECT_EQ(list_of(DataModule(path)), "ONLY: 0;");
}

TEST_F(ResourceUpdates, HeadersGrowIfTheSectionTableHasNoRoom)
{
    // The bytes after the table are not zero: they may be in use.
    const size_t behind = m_places.table + m_places.sections * 40;
    ASSERT_LT(behind + 8, 0x400u);
    std::string file = m_good;
    test::write_file(m_path, file.replace(behind, 8, "occupied"));
    ASSERT_TRUE(put(m_path, L"Big", some_bytes(100'000, 1))) << GetLastError();
    const std::string after = test::read_file(m_path);
    EXPECT_EQ(PePlaces(after).sections, m_places.sections + 1);
    EXPECT_NE(after.find("occupied"), std::string::npos);
    EXPECT_EQ(DataModule(m_path).read(L"Alpha"), test::read_file(test::module_path("alpha.bin")));
}

TEST_F(ResourceUpdates, OneFileHasOneUpdateAtATimeAndADiscardedOneChangesNothing)
{
    Update update(m_path);
    EXPECT_FALSE(Update(m_path));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    update.set(L"X", "x");
    EXPECT_TRUE(update.end(TRUE));
    EXPECT_FALSE(update.end()) << "it is over";
    EXPECT_EQ(error_of(update.set(L"X", "x")), ERROR_INVALID_HANDLE);
    EXPECT_TRUE(test::read_file(m_path) == m_good);
    EXPECT_TRUE(Update(m_path).end(TRUE));
}

TEST_F(ResourceUpdates, WhateverFailsTheFileIsTheOldOneOrTheNewOne)
{
    const std::string overlay = some_bytes(700'000, 2);
    const std::string old = m_good + overlay;
    const std::string big = some_bytes(600'000, 1);
    const auto expect_new = [&]
    {
        ASSERT_EQ(DataModule(m_path).read(L"Big"), big);
        ASSERT_TRUE(test::read_file(m_path).ends_with(overlay));
    };
    test::write_file(m_path, old);
    bool done = false;
    unsigned calls = 1;
    for (unsigned nth = 1; nth <= calls + 1; ++nth)
    {
        SCOPED_TRACE(nth);
        PlinthTestFailAny(nth, 1, ENOSPC);
        done = put(m_path, L"Big", big);
        calls = PlinthTestCalls(nullptr);
        PlinthTestReset();
        if (done)
            expect_new();
        else
            ASSERT_TRUE(test::read_file(m_path) == old);
        test::write_file(m_path, old);
        ASSERT_EQ(test::entries(m_folder.c_str()), 1u);
    }
    EXPECT_TRUE(done) << "without a fault";
    PlinthTestShorten("pread", 1, 0, 70'001); // every one
    PlinthTestShorten("write", 1, 0, 90'001);
    EXPECT_TRUE(put(m_path, L"Big", big));
    PlinthTestReset();
    expect_new();
}

// Cut by a program that doesn't respect share modes.
TEST_F(ResourceUpdates, AFileThatIsCutWhileItIsOpenGivesAStatus)
{
    ASSERT_TRUE(put(m_path, L"Big", some_bytes(600'000, 1)));
    {
        const DataModule module(m_path);
        std::filesystem::resize_file(m_path, 100'000);
        EXPECT_EQ(module.read(L"Big"), "error 38");
        EXPECT_NE(list_of(module), "") << "what was read stays";
    }

    test::write_file(m_path, m_good + some_bytes(600'000, 1));
    Update update(m_path);
    ASSERT_TRUE(update && update.set(L"X", "x"));
    std::filesystem::resize_file(m_path, 4096);
    EXPECT_FALSE(update.end());
    EXPECT_EQ(std::filesystem::file_size(m_path), 4096u);
    EXPECT_EQ(test::entries(m_folder.c_str()), 1u);
}

// Copies a file, or puts it into a module, and is stopped while it writes the new file.
int write_half(int, char** argv)
{
    const std::string how = argv[0];
    const char* const source = argv[1];
    const char* const target = argv[2];
    const rlimit one_megabyte{1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &one_megabyte);
    signal(SIGXFSZ, [](int) { raise(SIGSTOP); });
    if (how[0] == 'n') // as on systems that can't make nameless files
        PlinthTestFail("access", 1, 0, ENOENT);
    if (how[1] == 'c')
        return CopyFileW(test::windows_form(source), test::windows_form(target), FALSE);
    return put(target, L"Big", test::read_file(source));
}
const test::ChildMain write_half_main("write half", write_half);

TEST_F(ResourceUpdates, AndCopiesThatAreKilledLeaveNothingForGood)
{
    const std::string stranger = m_folder + "/.plinth-copy-of-somebody";
    const auto count = [&] { return test::entries(m_folder.c_str()); };
    const auto copy_another = [&] {
        EXPECT_TRUE(CopyFileW(test::windows_form(stranger), test::windows_form(stranger + "2"), 0));
    };
    test::write_file(stranger, "x");
    test::write_file(m_folder + "/source", some_bytes(2'000'000, 1));
    copy_another();
    const size_t before = count();
    for (const std::string how : {" c", " u", "nc", "nu"})
    {
        SCOPED_TRACE(how);
        const std::string target = how == "nc" ? "/new" : "/module64.dll";
        test::ChildProcess child("write half", {how, m_folder + "/source", m_folder + target});
        child.wait_until_stopped();
        const size_t during = count();
        EXPECT_EQ(during, before + (how[0] == 'n'));
        copy_another();
        EXPECT_EQ(count(), during) << "its process lives";
        child.finish(SIGKILL);
        copy_another();
        EXPECT_EQ(count(), before);
        EXPECT_TRUE(test::read_file(m_path) == m_good);
    }
}

// The part of a section in the file beyond its pages in the image is not loaded: those addresses
// belong to the next section.
// A call that is held at one of its operations.
std::atomic<bool> g_is_held{false};
std::binary_semaphore g_arrived{0};
std::binary_semaphore g_forked{0};

void hold()
{
    constexpr auto guard_time = std::chrono::seconds(10);
    g_is_held = true;
    g_arrived.release();
    static_cast<void>(g_forked.try_acquire_for(guard_time));
    g_is_held = false;
}

// Forks; 0 if the fork did not wait for the held call, and the child's calls did what they should.
int fork_beside_held_call(const std::function<bool()>& calls_of_child)
{
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(30); // for a lock that stayed held
        PlinthTestReset();
        if (!g_is_held)
            _exit(1);
        _exit(calls_of_child() ? 0 : 2);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST_F(ResourceUpdates, AndReadsKeepNoConcurrentForkWaiting)
{
    const std::string big = some_bytes(200'000, 1);
    const std::string second = copied("module32.dll");
    const std::string of_child = test::copy_module(test::make_folder("child"), "module64.dll");
    ASSERT_TRUE(put(m_path, L"BIG", big));
    const DataModule module(m_path);
    const HRSRC found = FindResourceW(module, L"BIG", raw_data);
    ASSERT_TRUE(found);
    Update update(second);
    ASSERT_TRUE(update.set(L"NEW", "new"));
    BOOL updated = FALSE;
    const struct
    {
        const char* name;
        const char* operation;
        std::function<void()> call;
    } rows[] = {{"module being opened", "pread", [&] { DataModule(m_path).read(L"BIG"); }},
                {"resource being read", "pread", [&] { LoadResource(module, found); }},
                {"file being replaced", "fsync", [&] { updated = update.end(); }}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        PlinthTestBefore(row.operation, 1, hold);
        std::jthread other(row.call);
        g_arrived.acquire();
        EXPECT_EQ(fork_beside_held_call(
                      [&]
                      {
                          return module.read(L"BIG") == big &&
                                 DataModule(m_path).read(L"BIG") == big &&
                                 put(of_child, L"NEW", "new");
                      }),
                  0);
        // No second call changes or ends an update that is being ended.
        if (&row == std::end(rows) - 1)
        {
            EXPECT_EQ(error_of(update.set(L"LATE", "late")), ERROR_INVALID_HANDLE);
            EXPECT_EQ(error_of(update.end()), ERROR_INVALID_HANDLE);
        }
        g_forked.release();
        other.join();
        static_cast<void>(g_forked.try_acquire());
        PlinthTestReset();
    }
    EXPECT_TRUE(updated);
    EXPECT_EQ(DataModule(second).read(L"NEW"), "new");
    EXPECT_EQ(DataModule(second).read(L"LATE"), "error 1814");
    EXPECT_EQ(module.read(L"BIG"), big);
}

TEST_F(ResourceUpdates, ASectionReachesNoFurtherThanItsPages)
{
    std::string file = m_good;
    const size_t entry = m_places.entry(file, ".idata"); // before the resources' section
    test::set_number(file, entry + 16, 0x2000u);
    test::set_number(file, entry + 20, static_cast<uint32_t>(file.size()));
    test::write_file(m_path, file + std::string(0x2000, '\xFF')); // not a tree
    EXPECT_EQ(DataModule(m_path).read(1033), "data of 0x409");
    ASSERT_TRUE(put(m_path, L"X", "x")) << GetLastError();
    EXPECT_EQ(DataModule(m_path).read(L"X"), "x");
    EXPECT_EQ(DataModule(m_path).read(1033), "data of 0x409");
}

TEST_F(ResourceUpdates, DamagedFilesAreRefusedAndStay)
{
    const size_t tree = test::number_at<uint32_t>(m_good, m_places.entry(m_good, ".rsrc") + 20);
    const size_t text = m_places.entry(m_good, ".text");
    const auto refused = [&](const std::string& file, const std::string& what)
    {
        test::write_file(m_path, file);
        EXPECT_FALSE(put(m_path, L"X", "x")) << what;
        EXPECT_TRUE(test::read_file(m_path) == file) << what;
    };
    const std::tuple<size_t, uint32_t, const char*> numbers[] = {
        {tree + 16 + 4, 0x80000000u, "a directory that is its own child"},
        {m_places.directories + 16, 0xFFFFF000u, "a directory outside the image"},
        {m_places.optional + 36, 0u, "no file alignment"},
        {m_places.optional + 36, 1u << 17, "a file alignment beyond the format's limit"},
        {text + 16, 0xFFFFFFFFu, "a section beyond the file"},
        {text + 20, 0x40u, "a section within the headers"},
    };
    for (const auto& [at, number, what] : numbers)
    {
        std::string file = m_good;
        test::set_number(file, at, number);
        refused(file, what);
    }
    for (size_t length = 0; length < m_places.table + m_places.sections * 40; length += 3)
        refused(m_good.substr(0, length), "cut at " + std::to_string(length));
    refused(m_good.substr(0, m_good.size() / 2), "cut in half");
    EXPECT_FALSE(Update(m_folder + "/missing"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

} // namespace
