// The steps by which a viewer takes the debug string channel, for tests that stop or kill it there.
#pragma once

#include <functional>

namespace trace
{

enum class TakeOverStep
{
    named,     // the channel has its first object
    made,      // it has all of them
    mapped,    // the ring can be written
    continued, // the ring shows who has the channel
    listening, // writers may write
};

using TakeOverWatcher = std::function<void(TakeOverStep step)>;

} // namespace trace
