// Callers of DiagAssertA, built in several ways: into the probe and as modules that it loads.
#include <plinth_w32_system.h>

#define EXPORTED extern "C" __attribute__((visibility("default"), noinline))

// The sum keeps the call from becoming a jump, which would leave no frame.
EXPORTED int plinth_test_assert(unsigned options)
{
    const int result = DiagAssertA(options, "caller", "from the caller", __FILE__, __LINE__);
    return result + static_cast<int>(options);
}

namespace
{

__attribute__((noinline)) int without_a_dynamic_symbol(unsigned options)
{
    const int result = DiagAssertA(options, "caller", "from within", __FILE__, __LINE__);
    return result + static_cast<int>(options);
}

} // namespace

EXPORTED int plinth_test_assert_within(unsigned options)
{
    return without_a_dynamic_symbol(options) + static_cast<int>(options);
}
