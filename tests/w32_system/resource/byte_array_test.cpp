// The growable buffer: sizes, allocation, the cursor.
#include <tuple>

#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

std::string content(const CQvByteArrayW32& array)
{
    return {static_cast<const char*>(array.GetData()), array.GetSize()};
}

// A status, and the bytes in use and allocated afterwards.
using State = std::tuple<int, unsigned, unsigned>;

State state(int status, const CQvByteArrayW32& array)
{
    return {status, array.GetSize(), array.GetAllocated()};
}

constexpr auto set = QV_BYTEARRAY_OP_SET;
constexpr auto append = QV_BYTEARRAY_OP_APPEND;
constexpr auto exact = QV_BYTEARRAY_ALLOC_EXACT;
constexpr auto fixed = QV_BYTEARRAY_ALLOC_FIXED;
constexpr auto grow = QV_BYTEARRAY_ALLOC_GROW;

TEST(ByteArray, SettingDataKeepsItsPromises)
{
    const std::string text(5000, 'x');
    const char* const bytes = text.data();
    const struct
    {
        const char* name;
        unsigned step;
        unsigned before; // bytes set first, exactly
        const char* data;
        unsigned size; // of data
        EQvByteArrayModeOp op;
        EQvByteArrayModeAlloc alloc;
        int status;
        unsigned size_after, allocated_after;
    } rows[] = {
        {"exact", 1024, 0, bytes, 10, set, exact, QV_OK, 10, 10},
        {"a whole step is one too many", 1024, 0, bytes, 1024, set, grow, QV_OK, 1024, 2048},
        {"append", 1024, 3, bytes, 5, append, exact, QV_OK, 8, 8},
        {"append by steps", 4, 3, bytes, 5, append, grow, QV_OK, 8, 11},
        {"cut", 1024, 4, bytes, 10, set, fixed, QV_ERR_TRUNCATED, 4, 4},
        {"no room", 1024, 0, bytes, 10, set, fixed, QV_ERR_SYSTEM, 0, 0},
        {"only room", 1024, 0, nullptr, 100, set, exact, QV_OK, 0, 100},
        {"smaller keeps the block", 1024, 16, bytes, 5, set, exact, QV_OK, 5, 16},
        {"a step of none counts as one", 0, 0, bytes, 10, set, grow, QV_OK, 10, 11},
        {"beyond 32 bits", 1024, 16, nullptr, 0xFFFFFFF8, append, exact, QV_ERR_NOMEMORY, 16, 16},
        {"beyond 32 bits by a step", 1u << 31, 16, nullptr, 1u << 31, append, grow, QV_ERR_NOMEMORY,
         16, 16},
    };
    for (const auto& row : rows)
    {
        CQvByteArrayW32 array(row.step);
        // With before = 0 this sets and allocates nothing.
        array.SetData("abcdefghijklmnop", row.before, set, exact);
        EXPECT_EQ(state(array.SetData(row.data, row.size, row.op, row.alloc), array),
                  State(row.status, row.size_after, row.allocated_after))
            << row.name;
    }
}

// A size close to 32 bits is only claimed: the call must read no more bytes than fit.
TEST(ByteArray, WithoutMemoryForAllItStoresWhatHasRoomAndNeverWraps)
{
    const char* const bytes = "0123456789abcdef";
    CQvByteArrayW32 array(bytes, 16, 8);
    EXPECT_EQ(state(array.SetData("x", 0xFFFFFFFF, append, exact), array),
              State(QV_ERR_SYSTEM, 16, 16));
    for (const auto alloc : {exact, grow})
    {
        array.GetData(4); // sets 4 bytes in use
        EXPECT_EQ(state(array.SetData(bytes, 0xFFFFFFFF, append, alloc), array),
                  State(QV_ERR_TRUNCATED, 16, 16));
        EXPECT_EQ(content(array), "01230123456789ab");
    }
}

TEST(ByteArray, CanTakeItsOwnBytes)
{
    CQvByteArrayW32 array("abc", 3, 1);
    for (int i = 0; i < 12; ++i)
        ASSERT_EQ(array.SetData(array.GetData(0), array.GetSize(), append, exact), QV_OK);
    EXPECT_EQ(array.GetSize(), 3u << 12);
    EXPECT_EQ(content(array).substr(array.GetSize() - 6), "abcabc");
}

TEST(ByteArray, CopiesKeepBytesAndStepsAsTheyShould)
{
    CQvByteArrayW32 original("abc", 3, 16);
    CQvByteArrayW32 copy(original);
    EXPECT_EQ(content(copy), "abc");
    CQvByteArrayW32 other("0123456789", 10, 4);
    other = original;
    EXPECT_EQ(content(other), "abc");
    EXPECT_EQ(other.GetAllocated(), 3u);
    EXPECT_TRUE(other == original) << "steps and cursors don't count";
    other.SetData("d", 1, append, grow);
    EXPECT_EQ(other.GetAllocated(), 7u) << "its own step has stayed";
    EXPECT_TRUE(other != original);
    CQvByteArrayW32& same = other;
    other = same;
    EXPECT_EQ(content(other), "abcd");
}

TEST(ByteArray, TheCursorAndTheBytesInUseStayWithinWhatIsAllocated)
{
    CQvByteArrayW32 array("abcdef", 6, 1);
    auto* const start = static_cast<char*>(array.GetData(0));
    EXPECT_EQ(array.SetCurrentOffset(6), QV_OK);
    EXPECT_EQ(array.SetCurrentOffset(7), QV_ERR_NULLPTR);
    EXPECT_EQ(array.SetCurrentOffsetPtr(start + 2), QV_OK);
    EXPECT_EQ(array.GetCurrentOffsetPtr(), start + 2);
    for (char* const place : {static_cast<char*>(nullptr), start - 1, start + 7})
        EXPECT_EQ(array.SetCurrentOffsetPtr(place), QV_ERR_NULLPTR);
    EXPECT_EQ(array.GetCurrentOffset(), 2u);
    array.GetData(4); // the argument sets the bytes in use
    array.GetData(0);
    array.GetData(7);
    EXPECT_EQ(content(array), "abcd");
    CQvByteArrayW32 empty;
    EXPECT_EQ(std::as_const(empty).GetData(), nullptr);
}

} // namespace
