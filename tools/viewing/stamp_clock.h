// The times of the stamps of one file, in their order.
//
// A stamp is local time without a zone. The hour that a clock passes twice in autumn is decided by
// the file's own order: a stamp that steps back in it belongs to the second pass. The first stamp
// of a file does so if the file was created then.
#pragma once

#include <array>
#include <optional>

#include "record_time.h"

namespace trace
{

class StampClock
{
public:
    // The time of the next stamp; unknown_time for what is no date.
    Time next(const Stamp& stamp);

    // When the file was, as its system says; unknown_time if that isn't known.
    void created(Time time) { m_created = time; }

    // Starts anew: the file is read from another place.
    void reset()
    {
        m_last = unknown_time;
        m_is_certain = false;
    }
    // Behind a stamp of this time.
    void resume(Time last)
    {
        m_last = last;
        m_is_certain = true;
    }

    // Whether the last time is not one of two that its stamp may mean: the stamp, or one before it,
    // is of no hour that comes twice, or a stamp has stepped back.
    bool is_certain() const { return m_is_certain; }

private:
    bool is_second_pass(Time within) const;
    void look_up(const std::tm& date);

    // The minute that was asked for last: nearly all stamps are of the same one as the stamp
    // before.
    std::array<int, 5> m_minute{};
    std::array<Time, 2> m_starts{}; // UTC, ascending; equal unless the minute comes twice
    Time m_last = unknown_time;
    Time m_created = unknown_time;
    bool m_is_certain = false;
};

} // namespace trace
