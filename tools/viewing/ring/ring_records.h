// Records of what the ring tells, and of what it can't tell any more.
#pragma once

#include "record.h"
#include "ring_item.h"

namespace trace
{

// A time out of the ring if it can be true, else now.
Time believed(Time time);

// "plinth-trace (4711)"; "another program" without an id.
std::string program_text(uint32_t process, std::string_view name);

// Texts that a reader missed. was_overtaken: they were overwritten before it read them.
Record loss_in_ring(uint64_t count, bool was_overtaken);

// Texts whose writers gave them up, as no listener ran.
Record unheard_record(uint64_t count);

// The ring was damaged, and nobody knows how many texts are missing.
Record loss_by_damage();

// Nobody had the channel from one moment to another. former: who had it before, if that is known.
// Times that can't be true count as unknown.
Record gap_record(Time since, Time until, std::string_view former);

} // namespace trace
