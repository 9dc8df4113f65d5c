// The runtime's formatter, one core for the wide and the narrow family.
//
// It follows the Windows runtime, not C99: %s is a text of the family's own width and %S one of the
// other, %hs is always narrow and %ls or %ws always wide, l is 32 bits and I64 is 64. A null text
// prints "(null)". It reads the argument list itself, writes only below the capacity, and allocates
// nothing. The decimal point is a dot in every locale; "%n" writes nothing.
//
// The user interface's own functions know less. A directive that they don't know takes no argument
// and is shown as text, so that "%lld" is "ld". They have the flags '-', '#' and '0', the sizes h,
// l, w and I, the letters c, C, d, i, p, s, S, u, x and X, and no '*'.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform
{

enum class FormatFamily : unsigned char
{
    runtime,
    user_interface
};

// Formats into at most capacity characters, without a terminator. Returns the number of characters
// of the whole result; those beyond the capacity are not stored.
template <class Char>
size_t format_text(Char* buffer, size_t capacity, const Char* format, va_list arguments,
                   FormatFamily family = FormatFamily::runtime);

} // namespace platform
