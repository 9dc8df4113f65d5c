#include <gtest/gtest.h>

#include "support/wide_text.h"
#include <plinth_w32_system.h>

namespace
{

std::string pop(CSyncCache& cache)
{
    wchar_t text[1024];
    return cache.PopFrontW(text) == 0 ? test::utf8(text) : "(empty)";
}

int push(CSyncCache& cache, std::string text)
{
    return cache.PushBack(text.data());
}

TEST(SyncCache, GivesTextsInTheOrderTheyCame)
{
    CSyncCache cache;
    wchar_t untouched[1024] = L"as it was";
    EXPECT_EQ(cache.PopFrontW(untouched), QV_ERR_FAILED);
    EXPECT_EQ(test::utf8(untouched), "as it was");
    EXPECT_EQ(push(cache, "one"), 0);
    push(cache, "\xc3\xa4\xff\xc3(\xe2\x82");
    EXPECT_EQ(cache.PushBack(nullptr), 0);
    EXPECT_EQ(pop(cache), "one");
    EXPECT_EQ(pop(cache), "\xc3\xa4\xef\xbf\xbd\xef\xbf\xbd(\xef\xbf\xbd")
        << "bad bytes are replaced";
    EXPECT_EQ(pop(cache), "");
    EXPECT_EQ(pop(cache), "(empty)");
}

TEST(SyncCache, KeepsWhatFitsAndTerminatesIt)
{
    CSyncCache cache;
    for (const size_t length : {1022u, 1023u, 1024u, 5000u})
    {
        push(cache, std::string(length, 'x'));
        EXPECT_EQ(pop(cache), std::string(length == 1022 ? 1022 : 1023, 'x'));
    }
    push(cache, std::string(1022, 'x') + "\xc3\xa4");
    EXPECT_EQ(pop(cache).substr(0, 1022), std::string(1022, 'x'));
}

TEST(SyncCache, CopiesHaveALifeOfTheirOwn)
{
    CSyncCache first;
    push(first, "a");
    push(first, "b");
    CSyncCache second(first);
    CSyncCache third;
    push(third, "gone");
    third = first;
    third = *&third;
    EXPECT_EQ(pop(first), "a");
    for (CSyncCache* copy : {&second, &third})
        EXPECT_EQ((std::vector{pop(*copy), pop(*copy), pop(*copy)}),
                  (std::vector<std::string>{"a", "b", "(empty)"}));
}

} // namespace
