// A walk along record numbers from a start in both directions, so that near records come first.
//
// It is done in steps; meanwhile numbers may be added at the end and removed at the start.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace trace
{

class OutwardWalk
{
public:
    explicit OutwardWalk(uint64_t start) : m_low(start), m_high(start) {}

    // The visited numbers: from low up to high.
    uint64_t low() const { return m_low; }
    uint64_t high() const { return m_high; }

    // Visits at most `most` of the numbers from first up to end; true if there are more.
    template <class Visit> bool advance(uint64_t first, uint64_t end, size_t most, Visit&& visit)
    {
        clamp(first, end);
        while (most > 0 && (m_high < end || m_low > first))
        {
            for (size_t i = 0; i < portion && most > 0 && m_high < end; ++i, --most)
                visit(m_high++);
            for (size_t i = 0; i < portion && most > 0 && m_low > first; ++i, --most)
                visit(--m_low);
        }
        return m_high < end || m_low > first;
    }

    // From 0 to 1.
    double progress(uint64_t first, uint64_t end)
    {
        clamp(first, end);
        return end <= first // below: the records of a pause were dropped
                   ? 1
                   : static_cast<double>(m_high - m_low) / static_cast<double>(end - first);
    }

private:
    // Numbers in one direction before the walk turns: some screens full.
    static constexpr size_t portion = 256;

    void clamp(uint64_t first, uint64_t end)
    {
        m_high = std::clamp(m_high, first, std::max(first, end));
        m_low = std::clamp(m_low, first, m_high);
    }

    uint64_t m_low;
    uint64_t m_high;
};

} // namespace trace
