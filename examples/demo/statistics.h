// What plinth-demo counts in a part of a text, and how the counts of neighbouring parts add up to
// those of the whole.
#pragma once

#include <cstddef>
#include <cstdint>

namespace demo
{

class Statistics
{
public:
    // Counts bytes that follow those counted so far.
    void add(const unsigned char* bytes, size_t size);

    // Appends the counts of the part that follows this one.
    void append(const Statistics& next);

    uint64_t bytes() const { return m_bytes; }
    uint64_t lines() const { return m_lines; }
    uint64_t words() const { return m_words; } // runs of bytes that are no white space

private:
    uint64_t m_bytes = 0;
    uint64_t m_lines = 0;
    uint64_t m_words = 0;
    bool m_begins_in_word = false;
    bool m_ends_in_word = false;
};

} // namespace demo
