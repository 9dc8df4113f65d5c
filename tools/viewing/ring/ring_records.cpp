#include "ring_records.h"

namespace trace
{

Time believed(Time time)
{
    constexpr Time tolerance = 60 * second; // the clock may have been set back
    const Time now = current_time();
    return time > 0 && time <= now + tolerance ? time : now;
}

std::string program_text(uint32_t process, std::string_view name)
{
    if (process == 0)
        return "another program";
    return std::string(name.empty() ? "a program" : name) + " (" + std::to_string(process) + ")";
}

Record loss_in_ring(uint64_t count, bool was_overtaken)
{
    return loss_of(count, std::to_string(count) + " records lost: " +
                              (was_overtaken ? "they were overwritten before this viewer read them"
                                             : "the memory that viewers share was damaged"));
}

Record unheard_record(uint64_t count)
{
    return loss_of(count, std::to_string(count) +
                              " records lost: their writers went on while the viewer that had the "
                              "channel did not run");
}

Record loss_by_damage()
{
    return uncounted_loss("an unknown number of records lost: the memory that viewers share was "
                          "damaged and made anew");
}

Record gap_record(Time since, Time until, std::string_view former)
{
    const bool is_known = since > 0 && since <= until && until <= believed(until);
    std::string text = "an unknown number of records lost: no viewer had the channel ";
    text += is_known ? "from " + local_text(since) + " to " + local_text(until) : "for some time";
    if (!former.empty())
        text += ", after " + std::string(former) + " had ended";
    Record record = uncounted_loss(std::move(text));
    if (is_known)
    {
        record.since = since;
        record.time = until;
    }
    return record;
}

} // namespace trace
