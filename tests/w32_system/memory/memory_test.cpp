#include <gtest/gtest.h>

#include <plinth_w32_system.h>

namespace
{

TEST(Memory, StatusSkipsWhatIsNotAskedFor)
{
    EXPECT_EQ(QV_GetMemoryStatus(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    uint64_t physical = 0;
    uint64_t available = 0;
    uint64_t addresses = 0;
    uint64_t freeAddresses = 0;
    uint64_t pageFile = 0;
    uint64_t freePageFile = 0;
    EXPECT_EQ(QV_GetMemoryStatus(&physical, &available, &addresses, &freeAddresses, &pageFile,
                                 &freePageFile),
              QV_OK);
    EXPECT_GT(physical, 0u);
    EXPECT_LE(available, physical);
    EXPECT_GT(addresses, uint64_t{1} << 46) << "the third is virtual memory";
    EXPECT_LT(freeAddresses, addresses);
    EXPECT_LE(freePageFile, pageFile);
}

TEST(Memory, InfoIsInBytes)
{
    EXPECT_EQ(QV_GetMemoryInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    uint64_t physical = 0;
    uint64_t total = 0;
    uint64_t committed = 0;
    uint64_t limit = 0;
    uint64_t peak = 0;
    EXPECT_EQ(QV_GetMemoryInfo(&committed, &limit, &peak, &total, nullptr, nullptr), QV_OK);
    QV_GetMemoryStatus(&physical, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(total / 65536, physical / 65536) << "the same memory in both";
    EXPECT_LE(committed, limit);
    EXPECT_LE(committed, peak);
}

TEST(Memory, MoreThanHalfOfPhysicalMemoryIsTooMuchWithoutAnAmount)
{
    uint64_t physical = 0;
    QV_GetMemoryStatus(&physical, nullptr, nullptr, nullptr, nullptr, nullptr);
    uint64_t overflow = 4711;
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(physical / 2 + 1, &overflow, true));
    EXPECT_EQ(overflow, 0u);
    EXPECT_TRUE(QV_CheckSingleDocumentSizeOverflow(UINT64_MAX, nullptr, false));
}

} // namespace
