// The stack walk of the assertion report.
#pragma once

#include <cstddef>

// Appends the lines of the calling thread's stack to the text at buffer, from the caller of the
// assertion on; room: the characters left, without the terminator's. Whole lines only. The report's
// lock is held.
//
// A function of its own, whatever the optimiser thinks: the reporter's frame above it is told by
// its source file.
[[gnu::noinline]] void AppendStackLines(wchar_t* buffer, size_t room);
