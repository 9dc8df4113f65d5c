// The checksum of a PE file.
#pragma once

#include "bytes.h"

namespace platform::pe
{

// Takes the bytes of the file in order, with the checksum field as zero.
class Checksum
{
public:
    // Each part but the last has a multiple of four bytes.
    void add(const Bytes& part);

    // The checksum of all bytes added.
    uint32_t value() const;

private:
    uint64_t m_sum = 0;
    uint64_t m_size = 0;
};

} // namespace platform::pe
