#include "rate_meter.h"

#include <algorithm>
#include <utility>

namespace trace
{

void RateMeter::add(uint64_t records, Clock::time_point now)
{
    move_to(now);
    m_parts[static_cast<size_t>(m_part) % parts] += records;
    m_sum += records;
}

double RateMeter::per_second(Clock::time_point now)
{
    move_to(now);
    // The current part is not over yet.
    const auto length = std::min<Clock::duration>(now - m_start, part_length * (parts - 1) +
                                                                     (now - m_start) % part_length);
    const double seconds =
        std::chrono::duration<double>(std::max<Clock::duration>(length, part_length)).count();
    return static_cast<double>(m_sum) / seconds;
}

void RateMeter::move_to(Clock::time_point now)
{
    const int64_t part = std::max<int64_t>(m_part, (now - m_start) / part_length);
    const int64_t steps = std::min<int64_t>(part - m_part, parts);
    for (int64_t i = 1; i <= steps; ++i)
        m_sum -= std::exchange(m_parts[static_cast<size_t>(part - steps + i) % parts], 0);
    m_part = part;
}

} // namespace trace
