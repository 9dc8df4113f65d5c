// The growable buffer: sizes, allocation, the cursor.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace
{

std::string content(const CQvByteArrayW32& array)
{
    return {static_cast<const char*>(array.GetData()), array.GetSize()};
}

TEST(ByteArray, IsEmptyAtFirst)
{
    CQvByteArrayW32 array;
    EXPECT_EQ(std::as_const(array).GetData(), nullptr);
    EXPECT_EQ(array.GetSize(), 0u);
    EXPECT_EQ(array.GetAllocated(), 0u);
    EXPECT_EQ(array.GetCurrentOffsetPtr(), nullptr);
    EXPECT_EQ(array, CQvByteArrayW32(7));
}

struct SetDataRow
{
    const char* name;
    unsigned step;
    unsigned before; // bytes set first, exactly
    unsigned size;   // of the data that is set then
    bool null_data;
    EQvByteArrayModeOp op;
    EQvByteArrayModeAlloc alloc;
    int status;
    unsigned size_after;
    unsigned allocated_after;
};

class SetData : public testing::TestWithParam<SetDataRow>
{
};

TEST_P(SetData, KeepsItsPromises)
{
    const SetDataRow& row = GetParam();
    const std::string bytes(5000, 'x');
    CQvByteArrayW32 array(row.step);
    // Sets nothing, and allocates nothing, where there is to be nothing before.
    array.SetData("abcdefghijklmnop", row.before, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
    EXPECT_EQ(array.SetData(row.null_data ? nullptr : bytes.data(), row.size, row.op, row.alloc),
              row.status);
    EXPECT_EQ(array.GetSize(), row.size_after);
    EXPECT_EQ(array.GetAllocated(), row.allocated_after);
}

constexpr auto set = QV_BYTEARRAY_OP_SET;
constexpr auto append = QV_BYTEARRAY_OP_APPEND;
constexpr auto exact = QV_BYTEARRAY_ALLOC_EXACT;
constexpr auto fixed = QV_BYTEARRAY_ALLOC_FIXED;
constexpr auto grow = QV_BYTEARRAY_ALLOC_GROW;

constexpr SetDataRow set_data_rows[] = {
    {"exact", 1024, 0, 10, false, set, exact, QV_OK, 10, 10},
    {"a whole step is one too many", 1024, 0, 1024, false, set, grow, QV_OK, 1024, 2048},
    {"less than a step", 1024, 0, 1023, false, set, grow, QV_OK, 1023, 1024},
    {"append", 1024, 3, 5, false, append, exact, QV_OK, 8, 8},
    {"append by steps", 4, 3, 5, false, append, grow, QV_OK, 8, 11},
    {"cut", 1024, 4, 10, false, set, fixed, QV_ERR_TRUNCATED, 4, 4},
    {"no room", 1024, 0, 10, false, set, fixed, QV_ERR_SYSTEM, 0, 0},
    {"no room behind", 1024, 4, 10, false, append, fixed, QV_ERR_SYSTEM, 4, 4},
    {"only room", 1024, 0, 100, true, set, exact, QV_OK, 0, 100},
    {"nothing", 1024, 4, 0, false, set, exact, QV_OK, 4, 4},
    {"smaller keeps the block", 1024, 16, 5, false, set, exact, QV_OK, 5, 16},
    {"unknown modes", 1024, 3, 5, false, static_cast<EQvByteArrayModeOp>(9),
     static_cast<EQvByteArrayModeAlloc>(9), QV_OK, 5, 5},
    {"a step of none counts as one", 0, 0, 10, false, set, grow, QV_OK, 10, 11},
    {"more than 32 bits, room", 1024, 16, 0xFFFFFFF8, true, append, exact, QV_ERR_NOMEMORY, 16, 16},
    {"more than 32 bits by a step", 0x80000000, 16, 0x80000000, true, append, grow, QV_ERR_NOMEMORY,
     16, 16},
};

std::string row_name(const testing::TestParamInfo<SetDataRow>& row)
{
    std::string name = row.param.name;
    for (char& c : name)
        if (!isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(ByteArray, SetData, testing::ValuesIn(set_data_rows), row_name);

TEST(ByteArray, DataBeyond32BitsIsCutOrRefusedAndNeverWraps)
{
    CQvByteArrayW32 array("0123456789abcdef", 16, 8);
    const char byte = 'x';
    // A buffer of this size is only claimed: no more than what fits is read.
    EXPECT_EQ(array.SetData(&byte, 0xFFFFFFFF, QV_BYTEARRAY_OP_APPEND, QV_BYTEARRAY_ALLOC_EXACT),
              QV_ERR_SYSTEM);
    EXPECT_EQ(content(array), "0123456789abcdef");
    EXPECT_EQ(array.GetAllocated(), 16u);
}

TEST(ByteArray, WithoutMemoryForAllItStoresWhatHasRoom)
{
    CQvByteArrayW32 array(nullptr, 16, 8); // room only
    const std::string bytes = "0123456789abcdef";
    ASSERT_EQ(array.SetData(bytes.data(), 4, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT), QV_OK);
    for (const auto alloc : {QV_BYTEARRAY_ALLOC_EXACT, QV_BYTEARRAY_ALLOC_GROW})
    {
        array.GetData(4);
        // More than 32 bits in sum: only claimed, twelve bytes are read.
        EXPECT_EQ(array.SetData(bytes.data(), 0xFFFFFFFF, QV_BYTEARRAY_OP_APPEND, alloc),
                  QV_ERR_TRUNCATED);
        EXPECT_EQ(content(array), "01230123456789ab");
        EXPECT_EQ(array.GetAllocated(), 16u);
    }
}

TEST(ByteArray, CanTakeItsOwnBytes)
{
    CQvByteArrayW32 array("abc", 3, 1);
    for (int i = 0; i < 12; ++i)
        ASSERT_EQ(array.SetData(array.GetData(0), array.GetSize(), QV_BYTEARRAY_OP_APPEND,
                                QV_BYTEARRAY_ALLOC_EXACT),
                  QV_OK);
    EXPECT_EQ(array.GetSize(), 3u << 12);
    EXPECT_EQ(content(array).substr(array.GetSize() - 6), "abcabc");
}

TEST(ByteArray, CopiesKeepBytesAndStepsAsTheyShould)
{
    CQvByteArrayW32 original("abc", 3, 16);
    original.SetCurrentOffset(2);
    CQvByteArrayW32 copy(original);
    EXPECT_EQ(content(copy), "abc");
    EXPECT_EQ(copy.GetAllocated(), 3u);
    EXPECT_EQ(copy.GetCurrentOffset(), 0u);
    CQvByteArrayW32 other("0123456789", 10, 4);
    other = original;
    EXPECT_EQ(content(other), "abc");
    EXPECT_EQ(other.GetAllocated(), 3u);
    EXPECT_TRUE(other == original) << "steps and cursors don't count";
    other.SetData("d", 1, QV_BYTEARRAY_OP_APPEND, QV_BYTEARRAY_ALLOC_GROW);
    EXPECT_EQ(other.GetAllocated(), 7u) << "its own step has stayed";
    EXPECT_TRUE(other != original);
    CQvByteArrayW32& same = other;
    other = same;
    EXPECT_EQ(content(other), "abcd");
    other.FreeData();
    EXPECT_EQ(other.GetAllocated(), 0u);
    other.SetData("d", 1, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_GROW);
    EXPECT_EQ(other.GetAllocated(), 4u) << "and stays when the data goes";
}

TEST(ByteArray, ACallerWhoWritesIntoTheBlockSaysHowMuchIsInUse)
{
    CQvByteArrayW32 array;
    array.SetData(nullptr, 100, QV_BYTEARRAY_OP_SET, QV_BYTEARRAY_ALLOC_EXACT);
    std::memcpy(array.GetData(5), "12345", 5);
    EXPECT_EQ(content(array), "12345");
    array.GetData(0);
    array.GetData(101);
    EXPECT_EQ(array.GetSize(), 5u);
}

TEST(ByteArray, TheCursorStaysWithinWhatIsAllocated)
{
    CQvByteArrayW32 array("abcdef", 6, 1);
    auto* const start = static_cast<char*>(array.GetData(0));
    EXPECT_EQ(array.SetCurrentOffset(6), QV_OK);
    EXPECT_EQ(array.SetCurrentOffset(7), QV_ERR_NULLPTR);
    EXPECT_EQ(array.GetCurrentOffset(), 6u);
    EXPECT_EQ(array.SetCurrentOffsetPtr(start + 2), QV_OK);
    EXPECT_EQ(array.GetCurrentOffsetPtr(), start + 2);
    for (char* const place : {static_cast<char*>(nullptr), start - 1, start + 7})
        EXPECT_EQ(array.SetCurrentOffsetPtr(place), QV_ERR_NULLPTR);
    EXPECT_EQ(array.SetCurrentOffsetPtr(start + (int64_t{1} << 32)), QV_ERR_NULLPTR)
        << "a distance of 4 GiB is not 0";
    EXPECT_EQ(array.GetCurrentOffset(), 2u);
    CQvByteArrayW32 empty;
    EXPECT_EQ(empty.SetCurrentOffsetPtr(start), QV_ERR_NULLPTR);
}

} // namespace
