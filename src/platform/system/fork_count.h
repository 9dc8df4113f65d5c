// How many forks lie between this process and the one that loaded the library. What belongs to one
// process (a descriptor, a lock, an id) remembers the number and is looked at again when it
// changes.
#pragma once

#include <cstdint>

namespace platform
{

// One relaxed load. Does not change after vfork or posix_spawn, whose children run no handler.
uint32_t fork_count();

} // namespace platform
