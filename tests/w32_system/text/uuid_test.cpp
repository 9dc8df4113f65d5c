#include <cstring>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

std::string text_of(const UUID& uuid)
{
    wchar_t text[34];
    for (wchar_t& c : text)
        c = L'#';
    EXPECT_EQ(QV_Type_Uuid(&uuid, text), QV_OK);
    EXPECT_EQ(text[33], L'#') << "33 characters are all that is written";
    return test::utf8(text);
}

TEST(Uuid, TextFormWritesNumbersNotBytes)
{
    EXPECT_EQ(text_of({1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}), "0000000100020003"
                                                              "0405060708090a0b");
    EXPECT_EQ(text_of({}), std::string(32, '0'));
    EXPECT_EQ(text_of({0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}}),
              std::string(32, 'f'));
}

TEST(Uuid, ReadingOneBackIsRefused)
{
    UUID uuid = {};
    EXPECT_EQ(QV_Parse_Uuid(L"00000001000200030405060708090a0b", &uuid), QV_ERR_BADARG);
    EXPECT_EQ(QV_Parse_Uuid(nullptr, nullptr), QV_ERR_BADARG);
}

TEST(Uuid, AMillionHaveNoDouble)
{
    std::unordered_set<std::string> seen;
    for (int i = 0; i < 1'000'000; ++i)
    {
        UUID uuid;
        ASSERT_EQ(QV_Generate_Uuid(&uuid), QV_OK);
        ASSERT_EQ(uuid.Data3 >> 12, 4) << "random, by its version";
        ASSERT_EQ(uuid.Data4[0] >> 6, 2) << "by its variant";
        ASSERT_TRUE(seen.emplace(reinterpret_cast<const char*>(&uuid), sizeof uuid).second);
    }
}

} // namespace
