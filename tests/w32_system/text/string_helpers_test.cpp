// Helpers for strings, and UUIDs as text.
#include <unordered_set>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

TEST(StringHelpers, CountAndCompare)
{
    EXPECT_EQ(wcslen32(L"abc"), 3u);
    EXPECT_EQ(strlen32("abcd"), 4u);
    EXPECT_EQ(QV_stricmp("ABC", "abc"), 0);
    EXPECT_LT(QV_stricmp("ab", "ABC"), 0);
    EXPECT_EQ(QV_strnicmp("ABx", "aby", 2), 0);
    EXPECT_EQ(QV_wcsicmp(L"ABC", L"abc"), 0);
    EXPECT_GT(QV_wcsicmp(L"b", L"A"), 0);
    EXPECT_EQ(QV_wcsnicmp(L"ABx", L"aby", 2), 0);
    EXPECT_NE(QV_wcsnicmp(L"ABx", L"aby", 3), 0);
}

TEST(StringHelpers, NumbersAndFormats)
{
    wchar_t buffer[64];
    EXPECT_EQ(test::utf8(QV_itow(-255, buffer, 10)), "-255");
    EXPECT_EQ(test::utf8(QV_itow(-1, buffer, 16)), "ffffffff");
    EXPECT_EQ(QV_wtoi(L"  -42xyz"), -42);
    EXPECT_EQ(QV_swprintf(buffer, L"%s %hs %d %.2f", L"wide", "narrow", 7, 1.5), 18);
    EXPECT_EQ(test::utf8(buffer), "wide narrow 7 1.50");
}

TEST(StringHelpers, ConvertByTheActiveCodePage)
{
    char bytes[16];
    wchar_t wide[16];
    EXPECT_EQ(QV_WChar2Char(L"abc", -1, nullptr, 0), 4) << "with the terminator";
    EXPECT_EQ(QV_WChar2Char(L"abc", 2, bytes, sizeof bytes), 2);
    EXPECT_EQ(QV_WChar2Char(L"abc", -1, bytes, 3), 0) << "too small";
    EXPECT_EQ(QV_Char2WChar("abc", -1, wide, 16), 4);
    EXPECT_EQ(test::utf8(wide), "abc");
    EXPECT_EQ(QV_Char2WChar("abc", -1, wide, 2), 0);
}

TEST(Uuid, TextFormWritesNumbersNotBytes)
{
    for (const auto& [uuid, text] :
         {std::pair{UUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, "00000001000200030405060708090a0b"},
          {UUID{0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}},
           "ffffffffffffffffffffffffffffffff"}})
    {
        wchar_t out[34];
        out[33] = L'#';
        EXPECT_EQ(QV_Type_Uuid(&uuid, out), QV_OK);
        EXPECT_EQ(test::utf8(out), text);
        EXPECT_EQ(out[33], L'#') << "33 characters are all that is written";
    }
    UUID uuid = {};
    EXPECT_EQ(QV_Parse_Uuid(L"00000001000200030405060708090a0b", &uuid), QV_ERR_BADARG);
}

TEST(Uuid, AMillionHaveNoDouble)
{
    std::unordered_set<std::string> seen;
    for (int i = 0; i < 1'000'000; ++i)
    {
        UUID uuid;
        ASSERT_EQ(QV_Generate_Uuid(&uuid), QV_OK);
        ASSERT_EQ(uuid.Data3 >> 12, 4) << "random, by its version";
        ASSERT_TRUE(seen.emplace(reinterpret_cast<const char*>(&uuid), sizeof uuid).second);
    }
}

} // namespace
