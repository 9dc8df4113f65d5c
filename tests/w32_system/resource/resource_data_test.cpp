// The list of resources, and who owns it.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace
{

std::string text_of(const CQvRscData& data, int index)
{
    const CQvByteArrayW32& array = data.GetCQvByteArrayW32(index, nullptr);
    return {static_cast<const char*>(array.GetData()), array.GetSize()};
}

CQvRscData two_entries()
{
    CQvRscData data;
    EXPECT_EQ(data.AppendData("abc", 3, 7), QV_OK);
    EXPECT_EQ(data.AppendData("defgh", 5, 9), QV_OK);
    return data;
}

TEST(ResourceData, GivesItsEntriesByPosition)
{
    const CQvRscData data = two_entries();
    EXPECT_EQ(data.GetCQvByteArrayW32Count(), 2);
    int id = 0;
    EXPECT_EQ(data.GetCQvByteArrayW32(1, &id).GetSize(), 5u);
    EXPECT_EQ(id, 9);
    EXPECT_EQ(data.GetCQvByteArrayW32(-5, &id).GetSize(), 3u) << "counts as the first";
    EXPECT_EQ(id, 7);
    EXPECT_EQ(text_of(data, 0), "abc");
}

TEST(ResourceData, AMissGivesOneSharedArrayThatIsAlwaysEmpty)
{
    const CQvRscData data = two_entries();
    int id = 5;
    CQvByteArrayW32& miss = data.GetCQvByteArrayW32(2, &id);
    EXPECT_EQ(id, 5);
    EXPECT_EQ(miss.GetSize(), 0u);
    EXPECT_EQ(&CQvRscData().GetCQvByteArrayW32(0, nullptr), &miss);
    miss.SetData("x", 1, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
    EXPECT_EQ(data.GetCQvByteArrayW32(100, nullptr).GetSize(), 0u) << "whoever wrote to it";
}

TEST(ResourceData, NothingMakesAnEmptyEntry)
{
    CQvRscData data;
    EXPECT_EQ(data.AppendData(nullptr, 0, 1), QV_OK);
    EXPECT_EQ(data.GetCQvByteArrayW32Count(), 1);
    EXPECT_EQ(text_of(data, 0), "");
}

TEST(ResourceData, WhoKeepsWhatWasLoadedTakesItOver)
{
    CQvRscData kept;
    {
        CQvRscData loaded = two_entries();
        kept = loaded;
        loaded.UnrefDataMember();
        EXPECT_EQ(loaded.Clear(), QV_OK) << "has nothing to clear";
        EXPECT_EQ(loaded.GetCQvByteArrayW32Count(), 0);
        EXPECT_EQ(loaded.AppendData("x", 1, 1), QV_ERR_NULLPTR);
    }
    EXPECT_EQ(kept.GetCQvByteArrayW32Count(), 2);
    EXPECT_EQ(text_of(kept, 1), "defgh");
}

// What leaks here, or is freed twice, the address sanitizer tells.
TEST(ResourceData, NoListLeaksOrGoesTwiceHoweverItIsAssigned)
{
    CQvRscData first = two_entries();
    CQvRscData second;
    second.AppendData("only the second's", 17, 1);
    second = first; // its own list goes
    first = second; // both have it already
    EXPECT_EQ(first.AppendData("x", 1, 1), QV_OK);
    EXPECT_EQ(second.GetCQvByteArrayW32Count(), 3) << "one list";
    {
        CQvRscData third = first;
        CQvRscData& same = third;
        third = same;
    }
    second.Clear();
    EXPECT_EQ(second.GetCQvByteArrayW32Count(), 0);
    EXPECT_EQ(first.GetCQvByteArrayW32Count(), 3) << "the other holder's list stays";
    const CQvRscData kept = first;
    first.UnrefDataMember();
    first = second;
    EXPECT_EQ(first.AppendData("y", 1, 1), QV_OK) << "usable again";
}

} // namespace
