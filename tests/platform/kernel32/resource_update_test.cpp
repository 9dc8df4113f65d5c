// Adding, replacing and removing resources: what comes of it, and that a failure leaves the file.
#include <cerrno>
#include <filesystem>
#include <map>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <windows.h>

#include "support/modules.h"
#include "support/wide_text.h"

using test::PePlaces;
using test::Wide;

namespace
{

const LPCWSTR raw_data = MAKEINTRESOURCEW(10);

class Update
{
public:
    explicit Update(const std::string& native, BOOL deleteExisting = FALSE)
        : m_update(BeginUpdateResourceW(test::windows_form(native), deleteExisting))
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

// The bytes of a resource as they are read back; "(none)" without one.
std::string read_back(HMODULE module, LPCWSTR name, LPCWSTR type = raw_data, WORD language = 0)
{
    const HRSRC found = FindResourceExW(module, type, name, language);
    const void* const data = found ? LockResource(LoadResource(module, found)) : nullptr;
    return data ? std::string(static_cast<const char*>(data), SizeofResource(module, found))
                : "(none)";
}

std::string read_back(const std::string& native, LPCWSTR name, LPCWSTR type = raw_data,
                      WORD language = 0)
{
    const HMODULE module =
        LoadLibraryExW(test::windows_form(native), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    std::string bytes = read_back(module, name, type, language);
    FreeLibrary(module);
    return bytes;
}

// Bytes that differ with the seed, fast to make.
std::string some_bytes(size_t size, uint32_t seed)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
    {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

class ResourceUpdates : public testing::Test
{
protected:
    ~ResourceUpdates() override { PlinthTestReset(); }
    std::string copied(const std::string& name) const { return test::copy_module(m_folder, name); }
    std::string m_folder = test::make_folder("updates");
};

TEST_F(ResourceUpdates, AThousandResourcesOfAllSizesCanBeAddedReplacedAndReadBack)
{
    constexpr int count = 1000;
    // Most are small; each hundredth is large, up to 8 MiB.
    const auto size_of = [](int i, int round)
    {
        if (i == 500)
            return size_t{8} << 20;
        return size_t{i % 100 == 99 ? 40'000u : 7u} * static_cast<size_t>((i * 31 + round) % 11);
    };
    for (const char* const name : {"compiled64.exe", "overlay32.exe"})
    {
        const std::string path = copied(name);
        for (int round = 0; round < 3; ++round)
        {
            Update update(path);
            for (int i = 0; i < count; ++i)
                ASSERT_TRUE(update.set(
                    i % 2 ? MAKEINTRESOURCEW(i) : Wide("Name" + std::to_string(i)).c_str(),
                    some_bytes(size_of(i, round), static_cast<uint32_t>(i + round)),
                    i % 3 ? raw_data : L"OWN", static_cast<WORD>(i % 5)));
            ASSERT_TRUE(update.end()) << GetLastError();
            const HMODULE module =
                LoadLibraryExW(test::windows_form(path), nullptr, LOAD_LIBRARY_AS_DATAFILE);
            ASSERT_NE(module, nullptr);
            for (int i = 0; i < count; ++i)
                ASSERT_TRUE(read_back(module,
                                      i % 2 ? MAKEINTRESOURCEW(i)
                                            : Wide("name" + std::to_string(i)).c_str(),
                                      i % 3 ? raw_data : L"own", static_cast<WORD>(i % 5)) ==
                            some_bytes(size_of(i, round), static_cast<uint32_t>(i + round)))
                    << i;
            EXPECT_EQ(read_back(module, MAKEINTRESOURCEW(2057)), "data of 0x809: not in the scan");
            FreeLibrary(module);
        }
    }
}

TEST_F(ResourceUpdates, ManyUpdatesOneByOneGrowTheFileByNoMoreThanTheirData)
{
    const std::string path = copied("module64.dll");
    const size_t before = test::read_file(path).size();
    for (int i = 0; i < 100; ++i)
    {
        Update update(path);
        update.set(L"Same", some_bytes(5000, static_cast<uint32_t>(i)));
        ASSERT_TRUE(update.end());
    }
    EXPECT_LT(test::read_file(path).size(), before + 5000 + 6 * 1024)
        << "the old section may stay behind, once";
}

TEST_F(ResourceUpdates, ResourcesCanBeRemovedOneByOneAndAllAtOnce)
{
    const std::string path = copied("program64.exe");
    const size_t before = test::read_file(path).size();
    Update one(path);
    one.remove(L"Alpha");
    one.remove(L"Never there");
    ASSERT_TRUE(one.end());
    EXPECT_EQ(read_back(path, L"Alpha"), "(none)");
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(1033)), "data of 0x409");
    EXPECT_LT(test::read_file(path).size(), before) << "the last section gets shorter";

    Update all(path, TRUE);
    all.set(L"Only", "one");
    ASSERT_TRUE(all.end());
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(1033)), "(none)");
    EXPECT_EQ(read_back(path, L"Only"), "one");
}

TEST_F(ResourceUpdates, NamesInSmallLettersAreTheSameNames)
{
    const std::string path = copied("module64.dll");
    std::string file = test::read_file(path);
    // "GREETING" in the tree, as a tool might have stored it.
    const std::string capitals("G\0R\0E\0E\0T\0I\0N\0G", 15);
    const size_t at = file.find(capitals);
    ASSERT_NE(at, std::string::npos);
    file.replace(at, 15, std::string("g\0r\0e\0e\0t\0i\0n\0g", 15));
    test::write_file(path, file);
    Update update(path);
    update.set(L"Greeting", "Servus", raw_data, 0x407);
    ASSERT_TRUE(update.end());
    EXPECT_EQ(read_back(path, L"GREETING", raw_data, 0x407), "Servus");
    EXPECT_EQ(read_back(path, L"GREETING", raw_data, 0x409), "Good day");
}

TEST_F(ResourceUpdates, ASignatureGoesAndAnOverlayStays)
{
    const std::string path = copied("overlay64.exe");
    const std::string overlay = test::read_file(test::module_path("overlay.bin"));
    std::string file = test::read_file(path);
    file.resize((file.size() + 7) / 8 * 8);
    const size_t field = PePlaces(file).directories + 4 * 8;
    test::set_number(file, field, static_cast<uint32_t>(file.size()));
    test::set_number(file, field + 4, 264u);
    file += std::string(264, 's');
    test::write_file(path, file);
    Update update(path);
    update.set(L"Big", some_bytes(100'000, 1));
    ASSERT_TRUE(update.end());
    file = test::read_file(path);
    EXPECT_EQ(test::number_at<uint64_t>(file, PePlaces(file).directories + 4 * 8), 0u);
    EXPECT_NE(file.find(overlay), std::string::npos);
    EXPECT_EQ(file.find("ssssssss"), std::string::npos) << "the signature's bytes ended the file";
}

TEST_F(ResourceUpdates, HeadersGrowIfTheSectionTableHasNoRoom)
{
    const std::string path = copied("module64.dll");
    std::string file = test::read_file(path);
    const PePlaces places(file);
    // What lies behind the table is not zero: it may be somebody's.
    const size_t behind = places.table + places.sections * 40;
    ASSERT_LT(behind + 8, 0x400u);
    file.replace(behind, 8, "occupied");
    test::write_file(path, file);
    Update update(path);
    update.set(L"Big", some_bytes(100'000, 1));
    ASSERT_TRUE(update.end()) << GetLastError();
    const std::string after = test::read_file(path);
    EXPECT_EQ(PePlaces(after).sections, places.sections + 1);
    EXPECT_NE(after.find("occupied"), std::string::npos);
    EXPECT_EQ(read_back(path, L"Alpha"), test::read_file(test::module_path("alpha.bin")));
    for (const char* const section : {".text", ".reloc"})
    {
        const size_t old_entry = places.entry(file, section);
        const size_t entry = PePlaces(after).entry(after, section);
        EXPECT_EQ(after.substr(test::number_at<uint32_t>(after, entry + 20), 512),
                  file.substr(test::number_at<uint32_t>(file, old_entry + 20), 512));
    }
}

TEST_F(ResourceUpdates, DiscardedUpdatesAndWrongHandlesChangeNothing)
{
    const std::string path = copied("module64.dll");
    const std::string before = test::read_file(path);
    Update update(path);
    update.set(L"X", "x");
    EXPECT_TRUE(update.end(TRUE));
    EXPECT_FALSE(update.end()) << "it is over";
    EXPECT_FALSE(update.set(L"X", "x"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(UpdateResourceW(nullptr, raw_data, L"X", 0, nullptr, 0));
    EXPECT_TRUE(test::read_file(path) == before);
}

TEST_F(ResourceUpdates, OneFileHasOneUpdateAtATime)
{
    const std::string path = copied("module64.dll");
    Update first(path);
    ASSERT_TRUE(first);
    EXPECT_FALSE(Update(path));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(first.end(TRUE));
    Update second(path);
    EXPECT_TRUE(second);
    second.end(TRUE);
}

TEST_F(ResourceUpdates, TheFileKeepsItsModeAndALinkToItsPlace)
{
    const std::string path = copied("module64.dll");
    chmod(path.c_str(), 0751);
    const std::string link = m_folder + "/link.dll";
    std::filesystem::create_symlink(path, link);
    Update update(link);
    update.set(L"X", "x");
    ASSERT_TRUE(update.end());
    struct stat found;
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0751u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(read_back(path, L"X"), "x");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 2)
        << "no temporary file stays";
}

TEST_F(ResourceUpdates, WhateverFailsTheFileIsTheOldOneOrTheNewOne)
{
    const std::string path = copied("module64.dll");
    const std::string overlay = some_bytes(700'000, 2);
    const std::string old = test::read_file(path) + overlay;
    test::write_file(path, old);
    for (unsigned nth = 1;; ++nth)
    {
        PlinthTestFailAny(nth, 1, ENOSPC);
        Update update(path);
        const bool done = update && update.set(L"Big", some_bytes(600'000, 1)) && update.end();
        const unsigned calls = PlinthTestCalls(nullptr);
        PlinthTestReset();
        const std::string now = test::read_file(path);
        if (done)
        {
            ASSERT_EQ(read_back(path, L"Big"), some_bytes(600'000, 1)) << nth;
            ASSERT_TRUE(now.ends_with(overlay)) << nth;
            test::write_file(path, old);
        }
        else
            ASSERT_TRUE(now == old) << nth;
        ASSERT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1) << nth;
        if (nth > calls)
        {
            EXPECT_TRUE(done);
            break;
        }
    }
    PlinthTestShorten("pread", 1, 0, 70'001); // each time
    PlinthTestShorten("write", 1, 0, 90'001);
    Update update(path);
    EXPECT_TRUE(update && update.set(L"Big", some_bytes(600'000, 1)) && update.end());
    EXPECT_GT(PlinthTestCalls("pread"), 700'000u / 70'001);
    PlinthTestReset();
    EXPECT_EQ(read_back(path, L"Big"), some_bytes(600'000, 1));
    EXPECT_TRUE(test::read_file(path).ends_with(overlay));
}

// A tree is copied as far as it can be told apart: three levels, each entry its own.
TEST_F(ResourceUpdates, TreesThatAreDeepRoundOrEverywhereAtOnceAreRefused)
{
    using test::HandMadeTree;
    const std::string path = copied("module64.dll");
    const std::string good = test::read_file(path);
    const auto refused = [&](const HandMadeTree& tree, const char* what)
    {
        const std::string file = tree.in_place_of_tree(good);
        test::write_file(path, file);
        Update update(path);
        EXPECT_FALSE(update && update.set(L"X", "x") && update.end()) << what;
        EXPECT_TRUE(test::read_file(path) == file) << what;
    };
    HandMadeTree deep;
    for (int i = 0; i < 1000; ++i)
    {
        const uint32_t at = deep.add_directory(1);
        deep.set_entry(at, 0, 10, HandMadeTree::directory | deep.size());
    }
    deep.set_entry(deep.add_directory(1), 0, 10, deep.size());
    deep.add_data(HandMadeTree::address_in(good), 4);
    refused(deep, "a thousand levels");

    HandMadeTree round;
    round.set_entry(round.add_directory(1), 0, 10, HandMadeTree::directory | 0);
    refused(round, "its own child");

    // Each of 1,000 types has the same 1,000 names, each of them the same 1,000 languages.
    HandMadeTree wide;
    constexpr uint16_t count = 1000;
    const uint32_t levels[] = {wide.add_directory(count), wide.add_directory(count),
                               wide.add_directory(count)};
    const uint32_t data = wide.add_data(HandMadeTree::address_in(good), 4);
    for (unsigned i = 0; i < count; ++i)
    {
        wide.set_entry(levels[0], i, i, HandMadeTree::directory | levels[1]);
        wide.set_entry(levels[1], i, i, HandMadeTree::directory | levels[2]);
        wide.set_entry(levels[2], i, i, data);
    }
    refused(wide, "a thousand million resources in 24,000 bytes");
}

TEST_F(ResourceUpdates, DataThatOverlapsIsKeptUnderEachOfItsNames)
{
    using test::HandMadeTree;
    const std::string path = copied("module64.dll");
    const std::string good = test::read_file(path);
    const uint32_t base = HandMadeTree::address_in(good);
    HandMadeTree tree;
    const uint32_t types = tree.add_directory(1);
    const uint32_t names = tree.add_directory(2);
    tree.set_entry(types, 0, 10, HandMadeTree::directory | names);
    for (const unsigned i : {0u, 1u})
    {
        const uint32_t languages = tree.add_directory(1);
        tree.set_entry(names, i, i + 1, HandMadeTree::directory | languages);
        tree.set_entry(languages, 0, 0, tree.add_data(base + i * 4, 16));
    }
    test::write_file(path, tree.in_place_of_tree(good));
    Update update(path);
    update.set(L"X", "x");
    ASSERT_TRUE(update.end()) << GetLastError();
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(1)), tree.bytes().substr(0, 16));
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(2)), tree.bytes().substr(4, 16));
    EXPECT_EQ(read_back(path, L"X"), "x");
}

// Stripped of its relocations, but not of their entry: the loader would take resources for them.
TEST_F(ResourceUpdates, NothingIsPutWhereTheHeadersLookForSomethingElse)
{
    const std::string path = copied("program64.exe");
    std::string file = test::read_file(path);
    const PePlaces places(file);
    const size_t entry = places.entry(file, ".rsrc"); // the last section
    const auto end = test::number_at<uint32_t>(file, entry + 12) + 0x4000;
    test::set_number(file, places.directories + 5 * 8, end);
    test::set_number(file, places.directories + 5 * 8 + 4, 12u);
    test::write_file(path, file);
    Update large(path);
    large.set(L"X", some_bytes(0x4000, 1));
    EXPECT_FALSE(large.end());
    EXPECT_EQ(GetLastError(), ERROR_BAD_EXE_FORMAT);
    EXPECT_TRUE(test::read_file(path) == file);
    Update small(path);
    small.set(L"X", "x");
    EXPECT_TRUE(small.end()) << "ends before it";
}

// What a section has in the file beyond its pages in the image is not loaded: the addresses behind
// them are the next section's.
TEST_F(ResourceUpdates, ASectionReachesNoFurtherThanItsPages)
{
    const std::string path = copied("module64.dll");
    std::string file = test::read_file(path);
    const PePlaces places(file);
    const size_t entry = places.entry(file, ".idata"); // before the resources
    test::set_number(file, entry + 16, 0x2000u);
    test::set_number(file, entry + 20, static_cast<uint32_t>(file.size()));
    file += std::string(0x2000, '\xFF'); // no tree
    test::write_file(path, file);
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(1033)), "data of 0x409");
    Update update(path);
    update.set(L"X", "x");
    ASSERT_TRUE(update.end()) << GetLastError();
    EXPECT_EQ(read_back(path, L"X"), "x");
    EXPECT_EQ(read_back(path, MAKEINTRESOURCEW(1033)), "data of 0x409");
}

TEST_F(ResourceUpdates, DamagedFilesAreRefusedAndStay)
{
    const std::string path = copied("module64.dll");
    const std::string good = test::read_file(path);
    const PePlaces places(good);
    const size_t tree = test::number_at<uint32_t>(good, places.entry(good, ".rsrc") + 20);
    const auto refused = [&](const std::string& file, const std::string& what)
    {
        test::write_file(path, file);
        Update update(path);
        const bool done = update && update.set(L"X", "x") && update.end();
        EXPECT_FALSE(done) << what;
        EXPECT_TRUE(test::read_file(path) == file) << what;
    };
    const auto changed = [&](size_t at, auto number)
    {
        std::string file = good;
        test::set_number(file, at, number);
        return file;
    };
    for (size_t length = 0; length < places.table + places.sections * 40; length += 3)
        refused(good.substr(0, length), "cut at " + std::to_string(length));
    refused(good.substr(0, good.size() / 2), "cut in half");
    refused(changed(tree + 16 + 4, 0x80000000u), "a directory that is its own child");
    refused(changed(tree + 12, uint16_t{0xFFFF}), "more entries than there is room for");
    refused(changed(tree + 16 + 4, 0x00000100u), "data instead of a directory");
    refused(changed(places.directories + 16, 0xFFFFF000u), "a directory outside the image");
    refused(changed(places.optional + 36, 0u), "no file alignment");
    refused(changed(places.optional + 32, 0x1234u), "an odd section alignment");
    refused(changed(places.entry(good, ".text") + 16, 0xFFFFFFFFu), "a section beyond the file");
    refused(changed(places.entry(good, ".text") + 20, 0x40u), "a section within the headers");
    refused(changed(places.directories - 4, 2u), "no room for a resource directory");
    refused("text", "no module");
    refused("", "an empty file");
    EXPECT_FALSE(Update(m_folder));
    EXPECT_FALSE(Update(m_folder + "/missing"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

} // namespace
