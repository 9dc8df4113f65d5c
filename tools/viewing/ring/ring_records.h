// Records made from the ring's items, and from what the ring has lost.
#pragma once

#include "record.h"
#include "ring_item.h"

namespace trace
{

// A time from the ring if it is plausible, else now.
Time believed(Time time);

// "plinth-trace (4711)"; "another program" without an id.
std::string program_text(uint32_t process, std::string_view name);

// Texts that a reader missed. was_overtaken: they were overwritten before it read them.
Record loss_in_ring(uint64_t count, bool was_overtaken);

// Texts that their writers gave up, because no listener ran.
Record unheard_record(uint64_t count);

// The ring was damaged, and the number of missing texts is unknown.
Record loss_by_damage();

// No viewer had the channel between these times. former: who had it before, if known. Implausible
// times count as unknown.
Record gap_record(Time since, Time until, std::string_view former);

} // namespace trace
