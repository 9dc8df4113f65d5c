// Conversion between UTF-16 and UTF-8. Bad bytes and unpaired surrogates become U+FFFD, never a
// failure; nothing is read beyond the given length.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "windef.h"

namespace platform
{

// Length of a 16-bit text without its terminator, and at most the limit.
size_t wide_length(const wchar_t* text);
size_t wide_length_within(const wchar_t* text, size_t limit);

// The number of characters before the first stop character or the terminator.
size_t wide_length_before(const wchar_t* text, wchar_t stop);

// Each returns the units of the whole result (no terminator counted or written), and writes at most
// capacity of them; a null target with capacity 0 only measures the length. A character is never
// split: one that does not fit whole is not written. written, if not null, receives the units
// really written.
size_t utf8_from_wide(const wchar_t* text, size_t length, char* to, size_t capacity,
                      size_t* written = nullptr);
size_t wide_from_utf8(const char* text, size_t length, wchar_t* to, size_t capacity,
                      size_t* written = nullptr);

// Whether the bytes are valid UTF-8.
bool is_utf8(const char* text, size_t length);

std::string to_utf8(const wchar_t* text);
std::string to_utf8(const wchar_t* text, size_t length);

// Copies a UTF-8 text into a caller's buffer of size characters in the system's way: returns the
// count without terminator if it fits, otherwise the size needed with terminator, and copies
// nothing.
DWORD copy_to_caller(std::string_view text, wchar_t* buffer, DWORD size);

// One character folded as the runtime and the file system compare names, without a locale.
wchar_t fold_case(wchar_t c);
int compare_folded(const wchar_t* a, const wchar_t* b);

} // namespace platform
