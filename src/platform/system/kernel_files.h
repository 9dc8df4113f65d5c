// The small text files in which the kernel tells its figures (/proc, /sys).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform
{

// Reads a whole file of at most 1 MiB; what lies beyond is left out. False with errno.
bool read_kernel_file(const std::string& path, std::string& text);

// The path that really stands for one of the kernel's: another one once a test has set a root.
std::string kernel_path(const std::string& path);

// Makes all kernel files come from below a folder; null or empty for the real ones. For tests.
void set_kernel_root(const char* folder);

// The decimal number at the start of a text, up to a blank, a line end or the text's end. Nothing
// for anything else ("max", an empty text) and beyond 64 bits.
std::optional<uint64_t> leading_number(std::string_view text);

// Takes the next line off the text, without its line end; false at the end.
bool next_line(std::string_view& text, std::string_view& line);

// Takes the next field, between blanks, off the line; empty at the end.
std::string_view next_field(std::string_view& line);

} // namespace platform
