// The terminal library, as far as this tree can use it: its narrow calls.
//
// wchar_t has 16 bits here and 32 in that library, so its wide interface can't be called. Texts are
// passed to the narrow one in UTF-8. Its macros with names like "clear" are left out, and so is its
// function with the name of our namespace.
#pragma once

#define NCURSES_WIDECHAR 0
#define NCURSES_NOMACROS 1
#define trace plinth_unused_trace // NOLINT(readability-identifier-naming): that function's name
#include <curses.h>
#undef trace
#undef NCURSES_WIDECHAR
