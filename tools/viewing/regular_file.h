// What kind of thing a path names. One source file for each system.
#pragma once

#include "text.h"

namespace trace
{

// True for a file, or a link to one: opening and reading it never waits for anybody. False for a
// folder, a pipe, a device, a socket, and for what isn't there or can't be looked at; the last
// error is 0 unless looking failed.
bool is_regular_file(const WideText& path);

} // namespace trace
