// Writing a PE file made from another one.
#pragma once

#include "pe/pieces.h"

namespace platform
{

// The file that a new one is made from: open for reading, and memory with an address for each of
// its bytes. A piece of the new file whose address is in this memory comes from the old file.
struct OldImage
{
    int fd;
    pe::Bytes view;
};

// Writes the pieces to an empty file and the checksum of all of them into its field, which is zero
// in the pieces. 0 or an errno.
int write_image(int fd, const pe::Pieces& pieces, uint64_t checksum_field, const OldImage& old);

} // namespace platform
