// The checksums of two stretches are put together without their bytes: a CRC is a remainder of
// polynomials over one bit, so the first stretch's is multiplied by x to the number of bits that
// follow it, modulo the same polynomial, and the second's is added.
#include "statistics.h"

#include <algorithm>
#include <cmath>

namespace demo
{

namespace
{

// Bit 31 is the coefficient of x^0.
constexpr uint32_t polynomial = 0xedb88320;
constexpr uint32_t one = 0x80000000;

constexpr uint32_t times_x(uint32_t a)
{
    return (a >> 1) ^ (a & 1 ? polynomial : 0);
}

constexpr uint32_t multiply(uint32_t a, uint32_t b)
{
    uint32_t product = 0;
    for (uint32_t bit = one; bit != 0; bit >>= 1, b = times_x(b))
        if (a & bit)
            product ^= b;
    return product;
}

constexpr uint32_t x_to_the(uint64_t power)
{
    uint32_t result = one;
    for (uint32_t square = times_x(one); power != 0; power >>= 1, square = multiply(square, square))
        if (power & 1)
            result = multiply(result, square);
    return result;
}

constexpr std::array<uint32_t, 256> make_table()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte)
    {
        uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = times_x(remainder);
        table[byte] = remainder;
    }
    return table;
}

constexpr std::array<uint32_t, 256> crc_table = make_table();

constexpr bool is_space(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

void Statistics::add(const unsigned char* bytes, size_t size)
{
    if (size == 0)
        return;
    if (m_bytes == 0)
        m_begins_in_word = !is_space(bytes[0]);
    uint32_t crc = ~m_crc;
    bool in_word = m_ends_in_word;
    for (size_t i = 0; i < size; ++i)
    {
        const unsigned char c = bytes[i];
        ++m_histogram[c];
        crc = crc_table[(crc ^ c) & 0xff] ^ (crc >> 8);
        const bool word = !is_space(c);
        m_words += word && !in_word;
        in_word = word;
    }
    m_crc = ~crc;
    m_ends_in_word = in_word;
    m_bytes += size;
}

void Statistics::append(const Statistics& next)
{
    if (next.m_bytes == 0)
        return;
    if (m_bytes == 0)
    {
        *this = next;
        return;
    }
    for (size_t i = 0; i < m_histogram.size(); ++i)
        m_histogram[i] += next.m_histogram[i];
    // A word that the border cuts was counted on both sides.
    m_words += next.m_words - (m_ends_in_word && next.m_begins_in_word);
    m_crc = multiply(m_crc, x_to_the(8 * next.m_bytes)) ^ next.m_crc;
    m_ends_in_word = next.m_ends_in_word;
    m_bytes += next.m_bytes;
}

double Statistics::entropy() const
{
    double bits = 0;
    for (const uint64_t count : m_histogram)
        if (count != 0)
        {
            const double share = static_cast<double>(count) / static_cast<double>(m_bytes);
            bits -= share * std::log2(share);
        }
    return bits;
}

unsigned char Statistics::most_frequent() const
{
    const auto most = std::max_element(m_histogram.begin(), m_histogram.end());
    return static_cast<unsigned char>(most - m_histogram.begin());
}

} // namespace demo
