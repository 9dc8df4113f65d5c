#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

TEST(Memory, StatusAndInfoSkipWhatIsNotAskedForAndAreInBytes)
{
    EXPECT_EQ(QV_GetMemoryStatus(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    EXPECT_EQ(QV_GetMemoryInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    uint64_t physical = 0, available = 0, addresses = 0, freeAddresses = 0, pageFile = 0;
    uint64_t freePageFile = 0, total = 0, committed = 0, limit = 0, peak = 0;
    EXPECT_EQ(QV_GetMemoryStatus(&physical, &available, &addresses, &freeAddresses, &pageFile,
                                 &freePageFile),
              QV_OK);
    EXPECT_LE(available, physical);
    EXPECT_GT(addresses, uint64_t{1} << 46) << "the third is virtual memory";
    EXPECT_LT(freeAddresses, addresses);
    EXPECT_LE(freePageFile, pageFile);
    EXPECT_EQ(QV_GetMemoryInfo(&committed, &limit, &peak, &total, nullptr, nullptr), QV_OK);
    EXPECT_EQ(total / 65536, physical / 65536) << "the same memory in both";
    EXPECT_LE(committed, limit);
    EXPECT_LE(committed, peak);
}

} // namespace
