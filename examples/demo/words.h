// Counts the words of a part of a text, and adds up the counts of two neighbouring parts. A word is
// a run of the letters A to Z without regard to case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace demo
{

class Words
{
public:
    // Counts the words of bytes that follow those counted so far.
    void add(const unsigned char* bytes, size_t size);

    // Appends the words of the stretch that follows this one.
    void append(const Words& next);

    // The most frequent words of five letters or more, at most the given number; words with the
    // same count in alphabetical order.
    std::vector<std::pair<std::string, uint64_t>> most_frequent(size_t most) const;

private:
    using Counts = std::unordered_map<std::string, uint64_t>;

    void end_word();

    Counts m_counts;     // of words that other characters surround
    std::string m_first; // the letters at the start: another stretch may hold the word's head
    std::string m_last;  // the letters at the end: the next stretch may have the rest of the word
    bool m_has_other =
        false; // a character that is no letter; without one all letters are in m_last
};

} // namespace demo
