// One item of the ring, before it is written and after it was read.
#pragma once

#include <string>
#include <string_view>

#include "record_time.h"
#include "ring_layout.h"

namespace trace
{

template <class Text> struct RingItemOf
{
    RingItemKind kind = RingItemKind::text;
    Time time = unknown_time;
    Time since = unknown_time; // of a gap: its beginning
    uint32_t process = 0;      // of a gap: the former holder's
    Text name{};
    Text text{};
};
using RingItem = RingItemOf<std::string>;
using RingItemView = RingItemOf<std::string_view>;

inline constexpr size_t longest_ring_name = 255;  // bytes
inline constexpr size_t longest_ring_text = 4092; // bytes; the channel's buffer has no more
inline constexpr size_t longest_ring_item =
    sizeof(RingItemHead) + longest_ring_name + longest_ring_text + sizeof(RingWord);

// Copies bytes to and from words of the ring. The last word is filled up with zeroes. A thread that
// loads a stored word also sees what the writer stored before, such as how much of the ring it has
// reserved.
void store_words(RingWord* to, const void* from, size_t bytes);
void load_words(void* to, const RingWord* from, size_t bytes);

// A checksum that shows whether an item's words are as written; the sum itself counts as 0.
uint64_t check_of(const char* bytes, size_t size);

// Returns a head with the item's sizes, limited to what fits. The caller sets the other fields.
RingItemHead head_of(const RingItemView& item);

} // namespace trace
