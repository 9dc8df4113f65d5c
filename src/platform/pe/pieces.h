// The content of a file to be written, as pieces of other memory, so that a large file is copied
// only once: from the old file to the new one.
#pragma once

#include <deque>
#include <vector>

#include "bytes.h"

namespace platform::pe
{

class Pieces
{
public:
    void put(Bytes bytes);
    void put_zeros(uint64_t count);
    // Zeroed memory that lives as long as the pieces. The caller puts it in its place.
    std::vector<uint8_t>& own(uint64_t size);

    uint64_t size() const { return m_size; }
    const std::vector<Bytes>& all() const { return m_pieces; }

private:
    std::vector<Bytes> m_pieces;
    std::deque<std::vector<uint8_t>> m_owned; // a deque: its elements don't move
    uint64_t m_size = 0;
};

} // namespace platform::pe
