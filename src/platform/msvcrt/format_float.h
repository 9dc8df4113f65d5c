// The digits of a floating-point number for the formatter, without a locale and without the heap.
#pragma once

#include <cstddef>

namespace platform
{

// A number without its sign. Digits requested beyond those that any double has are zeros: they are
// not stored but counted, and belong before the exponent, or at the end if there is none.
struct FloatText
{
    const char* prefix; // "0x", "0X" or ""
    size_t zeros_at;    // position of the zeros in the text
    size_t zeros;
    size_t length; // of the text, without the zeros
    bool finite;
    char text[1536];
};

// letter is one of eEfFgGaA; a precision below 0 means the usual one. alternate is the flag '#'.
// The value's sign is ignored.
void form_float(double value, char letter, int precision, bool alternate, FloatText& result);

} // namespace platform
