// The memory is bounded whatever the file holds: runs of letters longer than any word are not
// counted, and a stretch that has reached its limit of different words counts no new ones.
#include "words.h"

#include <algorithm>

namespace demo
{

namespace
{

constexpr size_t shortest_word = 5; // shorter ones are mostly articles and prepositions
constexpr size_t longest_word = 40;
constexpr size_t most_words = 100'000;

// The letter in lower case, 0 for another character.
constexpr char letter(unsigned char c)
{
    const auto lower = static_cast<unsigned char>(c | 0x20);
    return lower >= 'a' && lower <= 'z' ? static_cast<char>(lower) : '\0';
}

void count(std::unordered_map<std::string, uint64_t>& counts, const std::string& word,
           uint64_t times)
{
    if (word.size() < shortest_word || word.size() > longest_word)
        return;
    if (const auto known = counts.find(word); known != counts.end())
        known->second += times;
    else if (counts.size() < most_words)
        counts.emplace(word, times);
}

// A word that is too long keeps one letter more than the limit, which marks it as too long.
void extend(std::string& word, const std::string& more)
{
    word += more;
    word.resize(std::min(word.size(), longest_word + 1));
}

} // namespace

void Words::end_word()
{
    if (m_has_other)
        count(m_counts, m_last, 1);
    else
        m_first = m_last;
    m_has_other = true;
    m_last.clear();
}

void Words::add(const unsigned char* bytes, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        if (const char c = letter(bytes[i]); c == '\0')
            end_word();
        else if (m_last.size() <= longest_word)
            m_last += c;
}

void Words::append(const Words& next)
{
    if (!next.m_has_other)
    {
        extend(m_last, next.m_last);
        return;
    }
    extend(m_last, next.m_first);
    end_word();
    for (const auto& [word, times] : next.m_counts)
        count(m_counts, word, times);
    m_last = next.m_last;
}

std::vector<std::pair<std::string, uint64_t>> Words::most_frequent(size_t most) const
{
    Counts all = m_counts;
    count(all, m_first, 1);
    count(all, m_last, 1);
    std::vector<std::pair<std::string, uint64_t>> sorted(all.begin(), all.end());
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& one, const auto& other) {
                  return one.second != other.second ? one.second > other.second
                                                    : one.first < other.first;
              });
    sorted.resize(std::min(sorted.size(), most));
    return sorted;
}

} // namespace demo
