#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace
{

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
