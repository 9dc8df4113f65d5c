// How many forks there were between the process that loaded the library and this one. State of one
// process (a descriptor, a lock, an id) stores the number and is checked again when it changes.
#pragma once

#include <cstdint>

namespace platform
{

// One relaxed load. Does not change after vfork or posix_spawn, whose children run no handler.
uint32_t fork_count();

} // namespace platform
