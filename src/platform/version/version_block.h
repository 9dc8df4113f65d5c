// The blocks of version information.
//
// A block has a length, a value, a key and blocks in it, each at a multiple of four bytes. It may
// come from an untrusted file: whatever a length claims, nothing after the end of the enclosing
// block is read.
#pragma once

#include <string_view>

#include "pe/bytes.h"

namespace platform
{

struct VersionValue
{
    uint64_t offset; // from the start of the bytes
    uint32_t size;   // characters of a text, bytes of any other value
};

// Finds the value of a block by a path of keys ("\A\B"; "\" or nothing for the outermost); keys
// ignore case. False if there is none.
bool find_version_value(const pe::Bytes& block, std::u16string_view path, VersionValue& value);

} // namespace platform
