
#include "support/test.h"

namespace
{

TEST(UuidCreate, GivesNothingWithoutRandomBytes)
{
    UUID uuid = {};
    const UUID untouched = uuid;
    PlinthTestFail("getrandom", 1, 1, EIO);
    PlinthTestShorten("getrandom", 2, 1, 15);
    EXPECT_EQ(UuidCreate(&uuid), RPC_S_OUT_OF_RESOURCES);
    EXPECT_EQ(UuidCreate(&uuid), RPC_S_OUT_OF_RESOURCES) << "fewer than asked for";
    PlinthTestReset();
    EXPECT_EQ(std::memcmp(&uuid, &untouched, sizeof uuid), 0);
}

} // namespace
