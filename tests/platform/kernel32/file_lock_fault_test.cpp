// A lock of a range when there is no memory to note it.
#include "support/test.h"

#include "support/environment.h"
#include "support/handles.h"
#include "support/scarce_memory.h"

namespace
{

TEST(FileLock, WithoutMemoryIsRefusedAndNotHeld)
{
    const test::Wide path = test::root_path() + L"\\locked";
    const test::Handle file(
        test::open_file(path.c_str(), GENERIC_WRITE, FILE_SHARE_WRITE, CREATE_ALWAYS));
    test::t_failing_allocation = 1;
    const BOOL locked = LockFile(file, 0, 0, 1, 0);
    test::t_failing_allocation = 0;
    EXPECT_EQ(test::error_of(locked), ERROR_NOT_ENOUGH_MEMORY);
    const test::Handle other(
        test::open_file(path.c_str(), GENERIC_WRITE, FILE_SHARE_WRITE, OPEN_EXISTING));
    EXPECT_TRUE(LockFile(other, 0, 0, 1, 0));
}

} // namespace
