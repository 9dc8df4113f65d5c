// Modules that others load and unload: their handles and resources follow.
#include <filesystem>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <windows.h>

#include "support/modules.h"
#include "support/wide_text.h"

namespace
{

// A shared object that the loader loads for this, past the interface.
class LoadedByOthers
{
public:
    explicit LoadedByOthers(const std::string& path)
        : m_loader(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(m_loader, nullptr) << dlerror();
    }
    LoadedByOthers(const LoadedByOthers&) = delete;
    LoadedByOthers& operator=(const LoadedByOthers&) = delete;
    ~LoadedByOthers() { dlclose(m_loader); }

private:
    void* const m_loader;
};

// Null, and the last error, if there is none.
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
    // Loads the first module, looks at it, unloads it and lets the other one be loaded, until that
    // one comes to the same place, as it does at once where nothing else takes it.
    template <class LoadOther> void expect_second_in_the_place_of_first(LoadOther load_other)
    {
        for (int attempt = 0; attempt < 200; ++attempt)
        {
            HMODULE former = nullptr;
            {
                const LoadedByOthers first(m_first);
                former = GetModuleHandleW(L"first.dll");
                ASSERT_EQ(text_of(former), "1");
            }
            bool same = false;
            load_other(
                [&](const wchar_t* name)
                {
                    same = GetModuleHandleW(name) == former;
                    EXPECT_EQ(text_of(GetModuleHandleW(name)), "2") << "attempt " << attempt;
                });
            if (same)
                return;
        }
        FAIL() << "the place was never the same";
    }
    const std::string m_folder = test::make_folder("foreign");
    const std::string m_first = test::copy_module(m_folder, "libfirst.so");
    const std::string m_second = test::copy_module(m_folder, "libsecond.so");
};

TEST_F(ForeignModules, TheHandleOfOneThatWasUnloadedIsNone)
{
    HMODULE module = nullptr;
    wchar_t name[512];
    {
        const LoadedByOthers first(m_first);
        module = GetModuleHandleW(L"first.dll");
        EXPECT_EQ(text_of(module), "1");
        EXPECT_NE(GetModuleFileNameW(module, name, 512), 0u);
        EXPECT_FALSE(DeleteFileW(test::windows_form(m_first))) << "its file is open";
    }
    EXPECT_EQ(FindResourceW(module, L"Whose", MAKEINTRESOURCEW(10)), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(GetModuleFileNameW(module, name, 512), 0u);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
    EXPECT_TRUE(DeleteFileW(test::windows_form(m_first))) << "its file isn't any more";
}

TEST_F(ForeignModules, OneInThePlaceOfAnotherHasItsOwnResources)
{
    expect_second_in_the_place_of_first(
        [&](auto look)
        {
            const LoadedByOthers second(m_second);
            look(L"second.dll");
        });
}

TEST_F(ForeignModules, OneThatIsLoadedHereInThePlaceOfAnotherHasItsOwnResources)
{
    expect_second_in_the_place_of_first(
        [&](auto look)
        {
            const HMODULE second = LoadLibraryW(test::windows_form(m_second));
            look(L"second.dll");
            EXPECT_TRUE(FreeLibrary(second));
        });
}

TEST_F(ForeignModules, OneThatIsLoadedAnewFromAReplacedFileHasItsNewResources)
{
    const auto put = [&](const std::string& module)
    {
        std::filesystem::copy_file(module, m_folder + "/new");
        std::filesystem::rename(m_folder + "/new", m_first);
    };
    const std::string original = test::module_path("libfirst.so");
    expect_second_in_the_place_of_first(
        [&](auto look)
        {
            put(m_second);
            {
                const LoadedByOthers again(m_first);
                look(L"first.dll");
            }
            put(original);
        });
}

TEST_F(ForeignModules, ResourcesOfOneThatStaysLoadedStayWhereTheyAre)
{
    const LoadedByOthers first(m_first);
    const HMODULE module = GetModuleHandleW(L"first.dll");
    const char* const text = place_of_text(module);
    ASSERT_NE(text, nullptr);
    const auto load_and_unload_another = [&]
    {
        const LoadedByOthers second(m_second);
        EXPECT_EQ(text_of(GetModuleHandleW(L"second.dll")), "2");
    };
    load_and_unload_another();
    EXPECT_EQ(place_of_text(module), text);
    std::filesystem::rename(m_folder + "/libfirst.so", m_folder + "/moved");
    load_and_unload_another();
    EXPECT_EQ(place_of_text(module), text) << "also without a name";
    std::filesystem::copy_file(m_second, m_first);
    load_and_unload_another();
    EXPECT_EQ(text_of(module), "2") << "may have been loaded anew, as far as one can tell";
    EXPECT_EQ(*text, '1') << "what was handed out stays";
}

} // namespace
