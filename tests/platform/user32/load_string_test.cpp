// Texts of string tables (made in CMakeLists.txt).
#include "support/test.h"

#include "support/handles.h"
#include "support/wide_text.h"

TEST(LoadString, ATextIsFoundByItsNumberAndCutToTheBuffer)
{
    const std::pair<UINT, const char*> rows[] = {{16, "a;b"},
                                                 {17, "Z\xc3\xbcrich \"5\" \\ \xf0\x9f\x98\x80"},
                                                 {31, "last"},
                                                 {65535, "highest"},
                                                 {1585, "AB"}};
    wchar_t text[32];
    for (const auto& [id, expected] : rows)
    {
        const int length = LoadStringW(nullptr, id, text, 32);
        EXPECT_EQ(test::utf8(text), expected);
        EXPECT_EQ(test::Wide(text).size(), static_cast<size_t>(length)) << id;
        // Its address in the resource, where it isn't terminated.
        const wchar_t* place = nullptr;
        ASSERT_EQ(LoadStringW(nullptr, id, reinterpret_cast<LPWSTR>(&place), 0), length);
        EXPECT_EQ(test::utf8(place, static_cast<size_t>(length)), expected);
    }
    std::fill_n(text, 32, L'#');
    EXPECT_EQ(LoadStringW(nullptr, 31, text, 4), 3);
    EXPECT_EQ(test::utf8(text, 5), std::string("las\0#", 5));
    EXPECT_EQ(LoadStringW(nullptr, 31, text, 1), 0);
    EXPECT_EQ(text[0], L'\0');
}

TEST(LoadString, WhatIsNotThereOrDamagedGivesNothing)
{
    const struct
    {
        UINT id;
        DWORD error;
    } rows[] = {{18, 0}, // in an existing block, but empty
                {0, ERROR_RESOURCE_NAME_NOT_FOUND},
                {65536 + 16, ERROR_RESOURCE_NAME_NOT_FOUND},
                {0xFFFFFFFF, ERROR_RESOURCE_NAME_NOT_FOUND},
                {1584, 0},
                {1586, ERROR_INVALID_DATA},  // longer than its block
                {1600, ERROR_INVALID_DATA}}; // only half of a length
    for (const auto& row : rows)
    {
        wchar_t text[4] = L"###";
        SetLastError(0);
        EXPECT_EQ(LoadStringW(nullptr, row.id, text, 4), 0) << row.id;
        EXPECT_EQ(GetLastError(), row.error) << row.id;
        EXPECT_EQ(text[0], L'\0') << row.id;
    }
    EXPECT_EQ(test::error_of(LoadStringW(nullptr, 16, nullptr, 0)), ERROR_INVALID_PARAMETER);
}
