// The blocks that version information is made of.
//
// A block has a length, a value, a key and blocks in it, each at a multiple of four bytes. It comes
// from anywhere: whatever a length says, nothing behind the end of the block that holds it is read.
#pragma once

#include <string_view>

#include "pe/bytes.h"

namespace platform
{

struct VersionValue
{
    uint64_t offset; // from the start of the bytes
    uint32_t size;   // characters of a text, bytes of anything else
};

// Finds the value of the block to which a path of keys leads ("\A\B"; "\" or nothing for the
// outermost); keys have no case. False if there is none.
bool find_version_value(const pe::Bytes& block, std::u16string_view path, VersionValue& value);

} // namespace platform
