// The public text format of registry files: parsing and writing one hive.
//
// A file has the heading "Windows Registry Editor Version 5.00", then keys in brackets and values
// below them: "name"="text", "name"=dword:0000000a, "name"=hex:01,02 with a type in parentheses, @
// for the value without a name. A backslash at the end of a line continues it; a semicolon begins a
// comment. A file is UTF-8, with or without a byte order mark, or UTF-16 with its mark, as the
// system's own editor writes it. Files written here are UTF-8.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "windef.h"

namespace platform
{

struct RegValue
{
    std::string name; // as it was written
    DWORD type = 0;
    std::vector<BYTE> data; // as passed to callers: texts are UTF-16 with terminator
};

struct RegKey
{
    std::string name;                       // as it was written, the whole path below the hive
    std::map<std::string, RegValue> values; // by folded name
};

// A hive: its keys by folded path, with '\' between levels and no separator at either end. The root
// itself is the empty path and always exists.
using Hive = std::map<std::string, RegKey>;

// How deep keys may be nested, as on the system.
inline constexpr size_t deepest_key = 512;
size_t key_levels(std::string_view path);

// Folded for comparison: without regard to case.
std::string fold_name(std::string_view name);

// False if the text is not of the format; line is then the line of the error. root is the hive's
// own name ("HKEY_LOCAL_MACHINE"), with which each key of the file begins.
bool parse_reg_text(std::string_view text, std::string_view root, Hive& hive, size_t& line);

std::string write_reg_text(const Hive& hive, std::string_view root);

} // namespace platform
