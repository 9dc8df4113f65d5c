#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

TEST(Memory, StatusAndInfoSkipWhatIsNotAskedForAndAreInBytes)
{
    EXPECT_EQ(QV_GetMemoryStatus(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    EXPECT_EQ(QV_GetMemoryInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), QV_OK);
    uint64_t physical = 0, available = 0, addresses = 0, free_addresses = 0, page_file = 0;
    uint64_t free_page_file = 0, total = 0, committed = 0, limit = 0, peak = 0;
    EXPECT_EQ(QV_GetMemoryStatus(&physical, &available, &addresses, &free_addresses, &page_file,
                                 &free_page_file),
              QV_OK);
    EXPECT_LE(available, physical);
    EXPECT_GT(addresses, uint64_t{1} << 46) << "the third is virtual memory";
    EXPECT_LT(free_addresses, addresses);
    EXPECT_LE(free_page_file, page_file);
    EXPECT_EQ(QV_GetMemoryInfo(&committed, &limit, &peak, &total, nullptr, nullptr), QV_OK);
    EXPECT_EQ(total / 65536, physical / 65536) << "the same memory in both";
    EXPECT_LE(committed, limit);
    EXPECT_LE(committed, peak);
}

} // namespace
