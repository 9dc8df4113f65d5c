// What the debug string channel itself loses: texts for which a listener made the writer wait too
// long.
#pragma once

#include <cstdint>

namespace trace
{

// How many so far, for all of the user's programs; only the difference of two calls has a meaning.
// Always 0 on Windows, which doesn't count them.
uint32_t channel_losses();

} // namespace trace
