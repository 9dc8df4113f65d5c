// The terminal library, as far as this tree can use it: its narrow calls.
//
// wchar_t has 16 bits here and 32 in that library, so that its wide interface can't be called.
// Texts go through the narrow one in UTF-8. Its macros have names like "clear" and are left out.
#pragma once

#define NCURSES_WIDECHAR 0
#define NCURSES_NOMACROS 1
#include <curses.h>
#undef NCURSES_WIDECHAR
