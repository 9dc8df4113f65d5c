// The content of a file to be written, as pieces that lie elsewhere, so that a large file is copied
// once only: from the old one to the new one.
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
    // Memory, zeroed, that lives as long as the pieces. The caller puts it where it belongs.
    std::vector<uint8_t>& own(uint64_t size);

    uint64_t size() const { return m_size; }
    const std::vector<Bytes>& all() const { return m_pieces; }

private:
    std::vector<Bytes> m_pieces;
    std::deque<std::vector<uint8_t>> m_owned; // a deque: what is handed out stays where it is
    uint64_t m_size = 0;
};

} // namespace platform::pe
