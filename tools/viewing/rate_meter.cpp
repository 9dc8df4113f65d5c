#include "rate_meter.h"

#include <algorithm>
#include <utility>

namespace trace
{

void RateMeter::add(uint64_t records, Clock::time_point now)
{
    move_to(now);
    m_slots[static_cast<size_t>(m_slot) % slots] += records;
    m_sum += records;
}

double RateMeter::per_second(Clock::time_point now)
{
    move_to(now);
    // The slot in which we are is not over yet.
    const auto length = std::min<Clock::duration>(now - m_start, slot_length * (slots - 1) +
                                                                     (now - m_start) % slot_length);
    const double seconds =
        std::chrono::duration<double>(std::max<Clock::duration>(length, slot_length)).count();
    return static_cast<double>(m_sum) / seconds;
}

void RateMeter::move_to(Clock::time_point now)
{
    const int64_t slot = std::max<int64_t>(m_slot, (now - m_start) / slot_length);
    const int64_t steps = std::min<int64_t>(slot - m_slot, slots);
    for (int64_t i = 1; i <= steps; ++i)
        m_sum -= std::exchange(m_slots[static_cast<size_t>(slot - steps + i) % slots], 0);
    m_slot = slot;
}

} // namespace trace
