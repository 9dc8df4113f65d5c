// Loading modules by name, and their files as data.
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/modules.h"
#include "support/wide_text.h"

using test::Wide;

namespace
{

HMODULE open_as_data(const Wide& path)
{
    return LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

// Which file a name stands for: as the file is called there, if it is there, else none.
TEST(Modules, NamesAreThoseOfBothSystems)
{
    const std::string plugin = test::read_file(test::module_path("libplugin.so"));
    ASSERT_FALSE(plugin.empty());
    const struct
    {
        const char* name;
        const char* file;
        bool found;
    } rows[] = {{"editor.dll", "editor.dll", true},
                {"editor.dll", "libeditor.so", true},
                {"editor.dll", "editor.so", true},
                {"Editor.DLL", "libEditor.so", true},
                {"editor", "editor.dll", true},
                {"editor", "libeditor.so", true},
                {"editor.", "editor", true},
                {"editor", "editor", false},
                {"editor.so", "editor.so", true},
                {"editor.so", "libeditor.so", false},
                {"libeditor.so.1", "libeditor.so.1", true}};
    int number = 0;
    for (const auto& row : rows)
    {
        const std::string folder = test::make_folder("names" + std::to_string(number++));
        test::write_file(folder + "/" + row.file, plugin);
        const HMODULE module = LoadLibraryW(test::windows_form(folder + "/" + row.name));
        EXPECT_EQ(module != nullptr, row.found) << row.name << " for " << row.file;
        EXPECT_EQ(FreeLibrary(module) != FALSE, row.found);
    }
}

TEST(Modules, ABareNameIsFoundInTheCurrentFolderAndByTheLoader)
{
    std::filesystem::current_path(PLINTH_TEST_MODULES);
    const HMODULE plugin = LoadLibraryW(L"plugin");
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"plugin.dll"), plugin);
    EXPECT_NE(GetProcAddress(plugin, "plugin_answer"), nullptr);
    EXPECT_EQ(GetProcAddress(plugin, reinterpret_cast<LPCSTR>(uintptr_t{1})), nullptr)
        << "functions have no numbers";
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
    EXPECT_TRUE(FreeLibrary(plugin));
    EXPECT_EQ(GetModuleHandleW(L"plugin.dll"), nullptr);
    EXPECT_EQ(GetProcAddress(plugin, "plugin_answer"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);

    const HMODULE mathematics = LoadLibraryW(L"libm.so.6");
    ASSERT_NE(mathematics, nullptr);
    EXPECT_NE(GetProcAddress(mathematics, "cos"), nullptr);
    EXPECT_TRUE(FreeLibrary(mathematics));
}

TEST(Modules, WhatTheLoaderCanNotUseSaysWhy)
{
    const std::string folder = test::make_folder("modules");
    EXPECT_EQ(LoadLibraryW(test::windows_form(folder + "/missing.dll")), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(LoadLibraryW(test::windows_form(test::copy_module(folder, "plain64.dll"))), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_BAD_EXE_FORMAT) << "code of another system";
    EXPECT_EQ(LoadLibraryW(L"no-such-module-anywhere"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
    EXPECT_EQ(LoadLibraryW(L""), nullptr);
}

TEST(Modules, TheSymbolsOfTheProgramAreFoundByItsHandle)
{
    EXPECT_NE(GetProcAddress(GetModuleHandleW(nullptr), "GetProcAddress"), nullptr);
    EXPECT_EQ(GetProcAddress(GetModuleHandleW(nullptr), "no_such_symbol"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
}

TEST(ModulesAsData, OnlyModuleFilesOpen)
{
    const std::string folder = test::make_folder("data");
    test::write_file(folder + "/text", "no module at all");
    test::write_file(folder + "/empty", "");
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);
    const struct
    {
        std::string path;
        DWORD error;
    } rows[] = {{folder + "/missing", ERROR_FILE_NOT_FOUND},
                {folder + "/missing/file", ERROR_PATH_NOT_FOUND},
                {folder + "/text", ERROR_BAD_EXE_FORMAT},
                {folder + "/empty", ERROR_BAD_EXE_FORMAT},
                {folder + "/pipe", ERROR_BAD_EXE_FORMAT},
                {folder, ERROR_BAD_EXE_FORMAT},
                {"/dev/zero", ERROR_BAD_EXE_FORMAT}};
    for (const auto& row : rows)
    {
        EXPECT_EQ(open_as_data(test::windows_form(row.path)), nullptr) << row.path;
        EXPECT_EQ(GetLastError(), row.error) << row.path;
    }
    if (geteuid() != 0)
    {
        const std::string secret = test::copy_module(folder, "module64.dll");
        chmod(secret.c_str(), 0);
        EXPECT_EQ(open_as_data(test::windows_form(secret)), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    }
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
    EXPECT_EQ(CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE)
        << "nobody cuts it meanwhile";
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(FreeLibrary(first));
    EXPECT_FALSE(FreeLibrary(first));
    EXPECT_TRUE(FreeLibrary(second));
}

} // namespace
