#include "support/test.h"

#include <plinth_w32_system.h>

namespace
{

TEST(UuidFault, OneThatIsUniqueHereOnlyIsAFailure)
{
    UUID uuid = {};
    PlinthTestFail("UuidCreate", 1, 1, RPC_S_UUID_LOCAL_ONLY);
    EXPECT_EQ(QV_Generate_Uuid(&uuid), QV_ERR_SYSTEM);
    PlinthTestReset();
    EXPECT_EQ(QV_Generate_Uuid(&uuid), QV_OK);
}

} // namespace
