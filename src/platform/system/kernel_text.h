// Parsing lines and fields of the kernel's text files.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform
{

// The decimal number at the start of a text, up to a blank, a line end or the text's end. Empty for
// anything else ("max", an empty text) and beyond 64 bits.
std::optional<uint64_t> leading_number(std::string_view text);

// Removes the next line from the text and returns it without its line end; false at the end.
bool next_line(std::string_view& text, std::string_view& line);

// Removes the next field, between blanks, from the line and returns it; empty at the end.
std::string_view next_field(std::string_view& line);

} // namespace platform
