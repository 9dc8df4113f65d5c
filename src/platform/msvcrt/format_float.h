// The digits of a floating-point number for the formatter, without a locale and without the heap.
#pragma once

#include <cstddef>

namespace platform
{

// A number without its sign. What is asked beyond the digits that any double has is zeros: they are
// not stored but counted, and belong before the exponent, or at the end if there is none.
struct FloatText
{
    const char* prefix; // "0x", "0X" or ""
    size_t zeros_at;    // where in the text the zeros belong
    size_t zeros;
    size_t length; // of the text, the zeros not counted
    bool finite;
    char text[1536];
};

// letter is one of eEfFgGaA; a precision below 0 means the usual one. alternate is the flag '#'.
// The value's sign is ignored.
void form_float(double value, char letter, int precision, bool alternate, FloatText& result);

} // namespace platform
