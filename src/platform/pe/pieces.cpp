#include "pieces.h"

#include <algorithm>

namespace platform::pe
{

namespace
{

constexpr uint8_t zeros[4096] = {};

uint32_t folded(uint64_t sum)
{
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint32_t>(sum);
}

// The sum of the 16-bit words of a piece that starts with a whole one, carries added back in. Words
// of 32 bits add up to the same.
uint32_t word_sum(const Bytes& bytes)
{
    uint64_t sum = 0;
    uint64_t at = 0;
    for (; at + 4 <= bytes.size(); at += 4)
    {
        uint32_t word = 0;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        sum += word;
    }
    uint32_t tail = 0;
    if (at < bytes.size())
        std::memcpy(&tail, bytes.data() + at, bytes.size() - at);
    return folded(sum + tail);
}

} // namespace

void Pieces::put(Bytes bytes)
{
    if (bytes.size() == 0)
        return;
    m_pieces.push_back(bytes);
    m_size += bytes.size();
}

void Pieces::put_zeros(uint64_t count)
{
    for (; count > 0; count -= std::min<uint64_t>(count, sizeof zeros))
        put({zeros, std::min<uint64_t>(count, sizeof zeros)});
}

std::vector<uint8_t>& Pieces::own(uint64_t size)
{
    return m_owned.emplace_back(size);
}

uint32_t Pieces::checksum() const
{
    uint64_t sum = 0;
    uint64_t offset = 0;
    for (const Bytes& piece : m_pieces)
    {
        // In a piece that starts within a word, low and high bytes are exchanged.
        const uint32_t part = word_sum(piece);
        sum += offset % 2 ? ((part & 0xFF) << 8) | (part >> 8) : part;
        offset += piece.size();
    }
    return static_cast<uint32_t>(folded(sum) + m_size);
}

} // namespace platform::pe
