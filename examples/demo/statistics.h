// What plinth-demo counts in a stretch of bytes, and how the counts of neighbouring stretches add
// up to those of the whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace demo
{

class Statistics
{
public:
    // Counts bytes that follow those counted so far.
    void add(const unsigned char* bytes, size_t size);

    // Appends the counts of the stretch that follows this one.
    void append(const Statistics& next);

    uint64_t bytes() const { return m_bytes; }
    uint64_t lines() const { return m_histogram['\n']; }
    uint64_t words() const { return m_words; } // runs of bytes that are no white space
    uint32_t crc32() const { return m_crc; }   // as zip and PNG have it
    double entropy() const;                    // bits for each byte
    unsigned char most_frequent() const;       // 0 if there are no bytes
    uint64_t count_of(unsigned char byte) const { return m_histogram[byte]; }

private:
    std::array<uint64_t, 256> m_histogram{};
    uint64_t m_bytes = 0;
    uint64_t m_words = 0;
    uint32_t m_crc = 0;
    bool m_begins_in_word = false;
    bool m_ends_in_word = false;
};

} // namespace demo
