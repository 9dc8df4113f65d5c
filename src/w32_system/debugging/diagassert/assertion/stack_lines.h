// The stack walk of the assertion report.
#pragma once

#include <cstddef>

// Appends the lines of the calling thread's stack to the text at buffer, beginning with the caller
// of the assertion; room: the characters left, without the terminator's. Whole lines only. The
// caller holds the report's lock.
//
// Never inlined, so that the reporter's frame above it can be recognised by its source file.
[[gnu::noinline]] void AppendStackLines(wchar_t* buffer, size_t room);
