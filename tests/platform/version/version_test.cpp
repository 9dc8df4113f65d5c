// Version blocks, good ones and bad ones.

#include "support/test.h"

#include "support/handles.h"
#include "support/modules.h"
#include "support/wide_text.h"

using test::error_of;
using test::Wide;

namespace
{

// The path of a fresh copy of a module.
Wide module(const char* name)
{
    return test::windows_form(test::copy_module(test::make_folder("version"), name));
}

std::vector<char> block_of(const Wide& path)
{
    std::vector<char> block(GetFileVersionInfoSizeW(path, nullptr));
    EXPECT_TRUE(block.empty() ||
                GetFileVersionInfoW(path, 0, static_cast<DWORD>(block.size()), block.data()));
    return block;
}

std::string text_at(const std::vector<char>& block, const wchar_t* path)
{
    void* value = nullptr;
    UINT size = 0;
    if (!VerQueryValueW(block.data(), path, &value, &size))
        return "(none)";
    return size ? test::utf8(static_cast<const wchar_t*>(value), size) : "";
}

TEST(VersionBlock, GivesItsValuesByTheirPath)
{
    for (const char* const name : {"module32.dll", "compiled64.exe"})
    {
        const std::vector<char> block = block_of(module(name));
        ASSERT_FALSE(block.empty()) << name;
        EXPECT_EQ(text_at(block, L"\\StringFileInfo\\040504b0\\PatchNumber"),
                  std::string("42\0", 3));
        EXPECT_EQ(text_at(block, L"\\stringfileinfo\\040504B0\\FILEDESCRIPTION"),
                  std::string("a module for tests\0", 19));
        EXPECT_EQ(text_at(block, L"\\StringFileInfo\\040704b0\\PatchNumber"), "(none)");
        EXPECT_EQ(text_at(block, L"\\PatchNumber"), "(none)");

        void* value = nullptr;
        UINT size = 0;
        ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &size));
        ASSERT_EQ(size, sizeof(VS_FIXEDFILEINFO));
        VS_FIXEDFILEINFO fixed;
        std::memcpy(&fixed, value, sizeof fixed);
        EXPECT_EQ(fixed.dwSignature, VS_FFI_SIGNATURE);
        EXPECT_EQ(fixed.dwFileVersionMS, 0x00010002u);
        ASSERT_TRUE(VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &size));
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(std::memcmp(value, "\x05\x04\xB0\x04", 4), 0);
    }
}

TEST(VersionBlock, AFileWithoutOneOrACallWithoutRoomSaysSo)
{
    const Wide path = module("plain64.dll");
    DWORD handle = 7;
    EXPECT_EQ(GetFileVersionInfoSizeW(path, &handle), 0u);
    EXPECT_EQ(handle, 0u);
    EXPECT_EQ(GetLastError(), ERROR_RESOURCE_DATA_NOT_FOUND);
    char block[100];
    EXPECT_EQ(error_of(GetFileVersionInfoW(path, 0, sizeof block, block)),
              ERROR_RESOURCE_DATA_NOT_FOUND);
    EXPECT_EQ(error_of(GetFileVersionInfoW(path, 0, 100, nullptr)), ERROR_INVALID_DATA);
    const Wide good = module("module64.dll");
    EXPECT_EQ(error_of(GetFileVersionInfoW(good, 0, 1, block)), ERROR_INSUFFICIENT_BUFFER);
}

TEST(VersionBlock, APartOfOneIsReadAsFarAsItGoesAndALengthThatLiesLeadsNowhere)
{
    const Wide path = module("module64.dll");
    const std::vector<char> good = block_of(path);
    for (DWORD size = 2; size < good.size(); ++size)
    {
        std::vector<char> part(size); // exactly this size, for the address sanitizer
        ASSERT_TRUE(GetFileVersionInfoW(path, 0, size, part.data()));
        text_at(part, L"\\StringFileInfo\\040504b0\\PatchNumber");
    }
    std::vector<char> odd = good;
    const uint16_t within_a_character = 6 + 2 * 3 + 1; // inside the key, which begins at 6
    std::memcpy(odd.data(), &within_a_character, sizeof within_a_character);
    EXPECT_EQ(text_at(odd, L"\\"), "(none)");
}

} // namespace
