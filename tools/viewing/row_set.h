// A set of record numbers that are rows: a bit for each number, with counts by the thousand,
// so that the number of a row and the row of a number are found quickly.
//
// Numbers come in any order. A part without rows takes no memory for bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

namespace trace
{

class RowSet
{
public:
    void clear();

    void add(uint64_t number);
    bool has(uint64_t number) const;
    size_t size() const { return m_size; }

    // How many rows are below this number.
    size_t rank(uint64_t number) const;
    // The number of a row, counted from 0; row < size().
    uint64_t number(size_t row) const;

    // Removes the rows below this number; returns how many were removed.
    size_t drop_below(uint64_t number);

    // The memory of the set, without its first part: a small store would have no room for that.
    size_t bytes() const;

private:
    static constexpr size_t words = 64;
    static constexpr size_t bits = 64;
    static constexpr uint64_t numbers = words * bits; // of a part

    struct Part
    {
        std::unique_ptr<std::array<uint64_t, words>> bits{}; // null: no rows
        uint32_t count = 0;
        uint64_t before = 0; // rows in the parts before, from an arbitrary start
    };

    // The last row that was asked for: usually the next one is asked for next.
    struct Last
    {
        size_t row;
        uint64_t number;
    };

    Part* part_of(uint64_t number) const;
    uint64_t find(size_t row) const;
    std::optional<uint64_t> next_in_word(uint64_t number) const;
    Part& make_part(uint64_t number);
    void count() const;
    void drop_words(Part& part, uint64_t end);

    mutable std::deque<Part> m_parts;
    uint64_t m_start = 0; // numbers of the first part are from m_start * numbers on
    size_t m_size = 0;
    size_t m_used = 0;            // parts that aren't empty
    mutable size_t m_counted = 0; // parts whose `before` is up to date
    mutable std::optional<Last> m_last{};
};

} // namespace trace
