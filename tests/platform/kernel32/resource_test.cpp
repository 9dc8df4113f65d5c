// Finding resources by type, name and language, and trees that are not sound.
#include <cerrno>
#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/modules.h"
#include "support/wide_text.h"

namespace
{

const LPCWSTR raw_data = MAKEINTRESOURCEW(10);

// A module that is open as data.
class DataModule
{
public:
    explicit DataModule(const std::string& native)
        : m_module(LoadLibraryExW(test::windows_form(native), nullptr, LOAD_LIBRARY_AS_DATAFILE))
    {
    }
    DataModule(const DataModule&) = delete;
    DataModule& operator=(const DataModule&) = delete;
    ~DataModule()
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    operator HMODULE() const { return m_module; }
    std::string bytes(HRSRC found) const
    {
        const void* const data = LockResource(LoadResource(m_module, found));
        return data ? std::string(static_cast<const char*>(data), SizeofResource(m_module, found))
                    : "(none)";
    }

private:
    const HMODULE m_module;
};

BOOL CALLBACK add_language(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR list)
{
    *reinterpret_cast<std::string*>(list) += " " + std::to_string(language);
    return TRUE;
}

BOOL CALLBACK add_name(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR list)
{
    *reinterpret_cast<std::string*>(list) +=
        (IS_INTRESOURCE(name) ? "#" + std::to_string(reinterpret_cast<uintptr_t>(name))
                              : test::utf8(name)) +
        ":";
    EnumResourceLanguagesW(module, type, name, add_language, list);
    *reinterpret_cast<std::string*>(list) += ";";
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
    std::string m_folder = test::make_folder("resources");
    std::string m_path = test::copy_module(m_folder, GetParam());
};

INSTANTIATE_TEST_SUITE_P(BothWidths, ResourceFiles, testing::Values("module64.dll", "module32.dll"),
                         [](const auto& row) { return std::string(row.param, 8); });

TEST_P(ResourceFiles, ResourcesAreFoundByNameAndNumberWithoutCase)
{
    const DataModule module(m_path);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module.bytes(FindResourceW(module, L"Alpha", raw_data)),
              test::read_file(test::module_path("alpha.bin")));
    EXPECT_EQ(module.bytes(FindResourceW(module, L"alpha", L"#10")),
              test::read_file(test::module_path("alpha.bin")));
    EXPECT_EQ(module.bytes(FindResourceW(module, L"#1033", raw_data)), "data of 0x409");
    EXPECT_EQ(module.bytes(FindResourceW(module, L"picture", L"Sketch")), "a type of its own");
    EXPECT_EQ(FindResourceW(module, L"Alpha", L"None"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_TYPE_NOT_FOUND);
    EXPECT_EQ(FindResourceW(module, L"None", raw_data), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_NAME_NOT_FOUND);
    EXPECT_EQ(FindResourceW(module, L"#99999", raw_data), nullptr) << "a text, as no number has it";
}

TEST_P(ResourceFiles, ALanguageIsTakenAsItIsAskedFor)
{
    const DataModule module(m_path);
    EXPECT_EQ(module.bytes(FindResourceExW(module, raw_data, L"Greeting", 0x407)), "Guten Tag");
    EXPECT_EQ(module.bytes(FindResourceExW(module, raw_data, L"Greeting", 0x40C)), "Bonjour");
    EXPECT_EQ(FindResourceExW(module, raw_data, L"Greeting", 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);
    EXPECT_EQ(module.bytes(FindResourceW(module, L"Greeting", raw_data)), "Good day")
        << "US English before the others";
}

TEST_P(ResourceFiles, AllAreListedInTheOrderOfTheTree)
{
    EXPECT_EQ(list_of(DataModule(m_path)),
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
    EXPECT_EQ(LoadResource(module, nullptr), nullptr);
    EXPECT_EQ(SizeofResource(module, reinterpret_cast<HRSRC>(~uintptr_t{0} - 8)), 0u);
    HINSTANCE__ nobody{};
    EXPECT_EQ(FindResourceW(&nobody, L"Alpha", raw_data), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_FALSE(EnumResourceTypesW(module, nullptr, 0));
}

// Trees that lead in circles, out of the file, or everywhere at once. Whatever they say, each call
// comes back; the sanitizers see to it that nothing outside is read.
TEST_P(ResourceFiles, DamagedTreesAreReadWithinTheirBounds)
{
    const std::string good = test::read_file(m_path);
    const test::PePlaces places(good);
    const size_t entry = places.entry(good, ".rsrc");
    const size_t tree = test::number_at<uint32_t>(good, entry + 20);
    const size_t size = test::number_at<uint32_t>(good, entry + 16);
    const auto try_file = [&](const std::string& bytes)
    {
        test::write_file(m_path, bytes);
        const DataModule module(m_path);
        if (!module)
            return;
        list_of(module);
        const HRSRC found = FindResourceW(module, L"Alpha", raw_data);
        if (found)
            module.bytes(found);
    };
    // Each number of the directories and descriptions in turn, with values that lie in wait.
    for (size_t at = tree; at < tree + 0x340; at += 4)
        for (const uint32_t value : {0u, 0x80000000u, 0xFFFFFFFFu, 0x7FFFFFF0u, 0xFFFFF000u,
                                     static_cast<uint32_t>(size - 1), 0xFFFF0000u})
        {
            std::string file = good;
            test::set_number(file, at, value);
            try_file(file);
        }
    // Cut at every length of the tree, and of the headers.
    for (size_t length = 1; length < good.size(); length += length < places.table + 400 ? 1 : 97)
        try_file(good.substr(0, length));
    // The data directory: size and place.
    for (const uint32_t value : {0xFFFFF000u, 0xFFFFFFFFu, 1u})
        for (const size_t field : {0, 4})
        {
            std::string file = good;
            test::set_number(file, places.directories + 16 + field, value);
            try_file(file);
        }
    // All entries of all directories name the root: a walk has no end of its own.
    std::string round = good;
    for (size_t at = tree + 16; at + 8 <= tree + 0x280; at += 8)
        test::set_number(round, at + 4, 0x80000000u);
    try_file(round);
}

TEST_P(ResourceFiles, ATreeAThousandLevelsDeepIsReadThreeLevelsDeep)
{
    const std::string good = test::read_file(m_path);
    test::HandMadeTree tree;
    constexpr int levels = 1000;
    for (int i = 0; i < levels; ++i)
    {
        const uint32_t at = tree.add_directory(1);
        tree.set_entry(at, 0, 10, test::HandMadeTree::directory | tree.size());
    }
    const uint32_t leaf = tree.add_directory(1);
    tree.set_entry(leaf, 0, 10, tree.size());
    tree.add_data(test::HandMadeTree::address_in(good), 4);
    test::write_file(m_path, tree.in_place_of_tree(good));
    const DataModule module(m_path);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(list_of(module), "#10:;");
    EXPECT_EQ(FindResourceW(module, raw_data, raw_data), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);
    EXPECT_EQ(FindResourceExW(module, raw_data, raw_data, 10), nullptr);
}

TEST_P(ResourceFiles, ADirectoryThatIsItsOwnChildHasNoData)
{
    test::HandMadeTree tree;
    tree.set_entry(tree.add_directory(1), 0, 10, test::HandMadeTree::directory | 0);
    test::write_file(m_path, tree.in_place_of_tree(test::read_file(m_path)));
    const DataModule module(m_path);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(list_of(module), "#10:;");
    EXPECT_EQ(FindResourceW(module, raw_data, raw_data), nullptr);
    EXPECT_EQ(FindResourceExW(module, raw_data, raw_data, 10), nullptr);
}

// Names that share their languages, and data of which one lies within the other.
TEST_P(ResourceFiles, WhatOverlapsIsReadByEachOfItsNames)
{
    const std::string good = test::read_file(m_path);
    const uint32_t base = test::HandMadeTree::address_in(good);
    test::HandMadeTree tree;
    const uint32_t types = tree.add_directory(1);
    const uint32_t names = tree.add_directory(3);
    const uint32_t languages = tree.add_directory(1);
    const uint32_t others = tree.add_directory(1);
    tree.set_entry(types, 0, 10, test::HandMadeTree::directory | names);
    for (const unsigned i : {0u, 1u})
        tree.set_entry(names, i, i + 1, test::HandMadeTree::directory | languages);
    tree.set_entry(names, 2, 3, test::HandMadeTree::directory | others);
    tree.set_entry(languages, 0, 0, tree.add_data(base, 32));
    tree.set_entry(others, 0, 0, tree.add_data(base + 8, 16));
    test::write_file(m_path, tree.in_place_of_tree(good));
    const DataModule module(m_path);
    EXPECT_EQ(list_of(module), "#1: 0;#2: 0;#3: 0;");
    for (const int name : {1, 2})
        EXPECT_EQ(module.bytes(FindResourceW(module, MAKEINTRESOURCEW(name), raw_data)),
                  tree.bytes().substr(0, 32));
    EXPECT_EQ(module.bytes(FindResourceW(module, MAKEINTRESOURCEW(3), raw_data)),
              tree.bytes().substr(8, 16));
}

// The program's own file is opened when its resources are first wanted, and tried again each time.
TEST(Resources, AProgramThatCouldNotBeReadIsTriedAgainAndLeavesNothingOpen)
{
    const auto open_files = []
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = open_files();
    for (const char* const call : {"fstat", "mmap"})
    {
        PlinthTestFail(call, 1, 1, EIO);
        EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(1), raw_data), nullptr);
        EXPECT_STREQ(PlinthTestFaultMet(), call);
        PlinthTestReset();
        EXPECT_EQ(open_files(), before) << call;
    }
}

} // namespace
