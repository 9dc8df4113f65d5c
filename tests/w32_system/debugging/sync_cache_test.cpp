#include <thread>

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
    push(cache, "\xc3\xa4\xff");
    EXPECT_EQ(cache.PushBack(nullptr), 0);
    EXPECT_EQ(pop(cache), "one");
    EXPECT_EQ(pop(cache), "\xc3\xa4\xef\xbf\xbd") << "bad bytes are replaced";
    EXPECT_EQ(pop(cache), "");
    EXPECT_EQ(pop(cache), "(empty)");
}

TEST(SyncCache, KeepsWhatFitsAndTerminatesIt)
{
    CSyncCache cache;
    for (const size_t length : {1023u, 1024u, 5000u})
    {
        push(cache, std::string(length, 'x'));
        EXPECT_EQ(pop(cache), std::string(1023, 'x'));
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
    EXPECT_EQ(pop(second), "a");
    EXPECT_EQ(pop(second), "b");
    EXPECT_EQ(pop(third), "a");
    EXPECT_EQ(pop(third), "b");
    EXPECT_EQ(pop(third), "(empty)");
}

TEST(SyncCacheConcurrent, LosesNothingBetweenTwoThreads)
{
    constexpr int count = 2000;
    CSyncCache cache;
    std::thread producer(
        [&]
        {
            for (int i = 0; i < count; ++i)
                push(cache, std::to_string(i));
        });
    for (int next = 0; next < count;)
    {
        const std::string text = pop(cache);
        if (text == "(empty)")
            continue;
        ASSERT_EQ(text, std::to_string(next));
        ++next;
    }
    producer.join();
}

} // namespace
