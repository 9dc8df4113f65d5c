// Records per second over the last two seconds.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

namespace trace
{

class RateMeter
{
public:
    using Clock = std::chrono::steady_clock;

    explicit RateMeter(Clock::time_point start) : m_start(start) {}

    void add(uint64_t records, Clock::time_point now);

    // In the first two seconds, over the time since the start.
    double per_second(Clock::time_point now);

private:
    static constexpr size_t parts = 20;
    static constexpr std::chrono::milliseconds part_length{100};

    void move_to(Clock::time_point now);

    Clock::time_point m_start;
    std::array<uint64_t, parts> m_parts{};
    int64_t m_part = 0; // number of the current part, counted from the start
    uint64_t m_sum = 0;
};

} // namespace trace
