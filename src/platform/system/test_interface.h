// Whether this build has the test interface (plinth_platform_test.h): faults and shifted clocks.
// What is shipped has none, and pays nothing for it.
#pragma once

namespace platform
{

// Defined by the build, 0 or 1, from its option of the same name.
inline constexpr bool has_test_interface = PLINTH_TEST_INTERFACE;

} // namespace platform
