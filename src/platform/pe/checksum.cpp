#include "checksum.h"

namespace platform::pe
{

// The sum is of 16-bit words, with carries added back in. Adding words of 32 bits has the same
// result, and no file has so many that 64 bits could not hold their sum.
void Checksum::add(const Bytes& part)
{
    uint64_t at = 0;
    for (; at + 4 <= part.size(); at += 4)
    {
        uint32_t word = 0;
        std::memcpy(&word, part.data() + at, sizeof word);
        m_sum += word;
    }
    uint32_t tail = 0;
    if (at < part.size())
        std::memcpy(&tail, part.data() + at, part.size() - at);
    m_sum += tail;
    m_size += part.size();
}

uint32_t Checksum::value() const
{
    uint64_t folded = m_sum;
    while (folded >> 16)
        folded = (folded & 0xFFFF) + (folded >> 16);
    return static_cast<uint32_t>(folded + m_size);
}

} // namespace platform::pe
