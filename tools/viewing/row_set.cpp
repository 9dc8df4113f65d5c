#include "row_set.h"

#include <algorithm>
#include <bit>

namespace trace
{

namespace
{

constexpr uint64_t below(uint64_t bit)
{
    return (uint64_t{1} << bit) - 1;
}

// The place of the n-th set bit; n counts from 0.
unsigned nth_bit(uint64_t word, uint64_t n)
{
    for (; n > 0; --n)
        word &= word - 1;
    return static_cast<unsigned>(std::countr_zero(word));
}

} // namespace

void RowSet::clear()
{
    m_parts.clear();
    m_last.reset();
    m_size = 0;
    m_used = 0;
    m_counted = 0;
}

void RowSet::add(uint64_t number)
{
    Part& part = make_part(number);
    if (!part.bits)
    {
        part.bits = std::make_unique<std::array<uint64_t, words>>();
        ++m_used;
    }
    uint64_t& word = (*part.bits)[number % numbers / bits];
    const uint64_t bit = uint64_t{1} << number % bits;
    if (word & bit)
        return;
    word |= bit;
    if (m_last && number < m_last->number)
        m_last.reset();
    ++part.count;
    ++m_size;
    // Only the parts after this one have one more row before them.
    m_counted = std::min(m_counted, static_cast<size_t>(number / numbers - m_start) + 1);
}

bool RowSet::has(uint64_t number) const
{
    const Part* const part = part_of(number);
    return part && part->bits && ((*part->bits)[number % numbers / bits] >> number % bits & 1) != 0;
}

size_t RowSet::rank(uint64_t number) const
{
    if (m_parts.empty() || number / numbers < m_start)
        return 0;
    const Part* const part = part_of(number);
    if (!part)
        return m_size;
    count();
    auto rows = static_cast<size_t>(part->before - m_parts.front().before);
    if (!part->bits)
        return rows;
    const size_t last = number % numbers / bits;
    for (size_t word = 0; word < last; ++word)
        rows += static_cast<size_t>(std::popcount((*part->bits)[word]));
    return rows + static_cast<size_t>(std::popcount((*part->bits)[last] & below(number % bits)));
}

uint64_t RowSet::number(size_t row) const
{
    if (m_last && m_last->row == row)
        return m_last->number;
    std::optional<uint64_t> number;
    if (m_last && m_last->row + 1 == row)
        number = next_in_word(m_last->number);
    m_last = Last{row, number ? *number : find(row)};
    return m_last->number;
}

// The row after this number, if it is in the same word.
std::optional<uint64_t> RowSet::next_in_word(uint64_t number) const
{
    const Part* const part = part_of(number);
    if (!part || !part->bits || number % bits == bits - 1)
        return std::nullopt;
    const uint64_t rest = (*part->bits)[number % numbers / bits] & ~below(number % bits + 1);
    if (rest == 0)
        return std::nullopt;
    return number - number % bits + static_cast<uint64_t>(std::countr_zero(rest));
}

uint64_t RowSet::find(size_t row) const
{
    count();
    const uint64_t wanted = m_parts.front().before + row;
    // The last part that begins at or before the row: an empty part begins where the next one does.
    const auto part =
        std::upper_bound(m_parts.begin(), m_parts.end(), wanted,
                         [](uint64_t rows, const Part& each) { return rows < each.before; }) -
        1;
    uint64_t left = wanted - part->before;
    size_t word = 0;
    for (;; ++word)
    {
        const auto set = static_cast<uint64_t>(std::popcount((*part->bits)[word]));
        if (left < set)
            break;
        left -= set;
    }
    return (m_start + static_cast<uint64_t>(part - m_parts.begin())) * numbers + word * bits +
           nth_bit((*part->bits)[word], left);
}

size_t RowSet::drop_below(uint64_t number)
{
    const size_t before = m_size;
    count();
    while (!m_parts.empty() && (m_start + 1) * numbers <= number)
    {
        m_size -= m_parts.front().count;
        m_used -= m_parts.front().bits ? 1 : 0;
        m_parts.pop_front();
        m_counted -= 1;
        ++m_start;
    }
    if (!m_parts.empty() && m_start * numbers < number)
        drop_words(m_parts.front(), number);
    if (before != m_size)
        m_last.reset();
    return before - m_size;
}

// Removes the numbers below `end` from the first part. The parts after it need no new count: this
// part's own start moves by the number of removed rows.
void RowSet::drop_words(Part& part, uint64_t end)
{
    if (!part.bits)
        return;
    const size_t last = end % numbers / bits;
    uint32_t gone = 0;
    for (size_t word = 0; word <= last; ++word)
    {
        uint64_t& all = (*part.bits)[word];
        const uint64_t out = word < last ? all : all & below(end % bits);
        gone += static_cast<uint32_t>(std::popcount(out));
        all &= ~out;
    }
    part.count -= gone;
    part.before += gone;
    m_size -= gone;
}

size_t RowSet::bytes() const
{
    constexpr size_t overhead = 16; // of a block of the heap
    return m_used <= 1 ? 0
                       : m_parts.size() * sizeof(Part) +
                             (m_used - 1) * (words * sizeof(uint64_t) + overhead);
}

RowSet::Part* RowSet::part_of(uint64_t number) const
{
    const uint64_t part = number / numbers;
    return part < m_start || part - m_start >= m_parts.size()
               ? nullptr
               : &m_parts[static_cast<size_t>(part - m_start)];
}

RowSet::Part& RowSet::make_part(uint64_t number)
{
    const uint64_t part = number / numbers;
    if (m_parts.empty())
        m_start = part;
    for (; part < m_start; --m_start)
    {
        m_parts.emplace_front();
        m_counted = 0;
    }
    while (part - m_start >= m_parts.size())
        m_parts.emplace_back();
    return m_parts[static_cast<size_t>(part - m_start)];
}

// Counts the rows before each part, where that has changed.
void RowSet::count() const
{
    if (m_counted == 0 && !m_parts.empty())
    {
        m_parts.front().before = 0;
        m_counted = 1;
    }
    for (; m_counted < m_parts.size(); ++m_counted)
        m_parts[m_counted].before = m_parts[m_counted - 1].before + m_parts[m_counted - 1].count;
}

} // namespace trace
