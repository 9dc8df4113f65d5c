// The runtime's formatter, one core for the wide and the narrow family.
//
// It follows the Windows runtime, not C99: %s is a text of the family's own width and %S one of the
// other, %hs is always narrow and %ls or %ws always wide, l is 32 bits and I64 is 64. A null text
// prints "(null)". It reads the argument list itself, writes only below the capacity, and allocates
// nothing. The decimal point is a dot in every locale; "%n" writes nothing.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace platform
{

// Formats into at most capacity characters, without a terminator. Gives the number of characters
// that the whole result has; what is beyond the capacity is not stored.
template <class Char>
size_t format_text(Char* buffer, size_t capacity, const Char* format, va_list arguments);

} // namespace platform
