// The times of the stamps of one file, in their order.
//
// A stamp is local time without a zone. For the hour that occurs twice in autumn, the order in the
// file decides: a stamp that steps back belongs to the second pass. The first stamp of a file
// belongs to the second pass if the file was created then.
#pragma once

#include <array>
#include <optional>

#include "record_time.h"

namespace trace
{

class StampClock
{
public:
    // The time of the next stamp; unknown_time for an invalid date.
    Time next(const Stamp& stamp);

    // Sets when the file was created, as the system reports it; unknown_time if unknown.
    void created(Time time) { m_created = time; }

    // Starts again: the file is read from another place.
    void reset()
    {
        m_last = unknown_time;
        m_is_certain = false;
    }
    // Continues after a stamp of this time.
    void resume(Time last)
    {
        m_last = last;
        m_is_certain = true;
    }

    // Whether the last time is unambiguous: the stamp, or one before it, is outside the hour that
    // occurs twice, or a stamp has stepped back.
    bool is_certain() const { return m_is_certain; }

private:
    bool is_second_pass(Time within) const;
    void look_up(const std::tm& date);

    // The last minute that was looked up: nearly all stamps are in the same minute as the one
    // before.
    std::array<int, 5> m_minute{};
    std::array<Time, 2> m_starts{}; // UTC, ascending; equal unless the minute occurs twice
    Time m_last = unknown_time;
    Time m_created = unknown_time;
    bool m_is_certain = false;
};

} // namespace trace
