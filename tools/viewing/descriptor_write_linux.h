// Writing to a descriptor that a slow reader may keep waiting. Linux only.
#pragma once

#include <string_view>

namespace trace
{

// Writes all bytes; returns 0 or an errno. Throws OutputClosed if the reader has closed the pipe.
//
// After an interruption, or when the time is over, the program waits for a reader that still reads,
// but not for one that doesn't: after two signals or two seconds in which nothing was read it
// throws OutputClosed or TimeOver.
int write_to_descriptor(int descriptor, std::string_view bytes);

} // namespace trace
