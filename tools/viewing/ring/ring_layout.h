// The ring in shared memory through which the viewer that has the debug string channel passes its
// records on to the user's other viewers: what stands where.
//
// Positions count bytes from the beginning of an epoch and never go back; a position's place is
// found by division. The ring consists of segments. An item never crosses the end of its segment,
// and each segment begins with an item, so that a reader that was overtaken can go on at a segment.
//
// One process writes at a time: the one that has the channel. Readers only look, so that they can
// neither hold the writer up nor damage anything. What they see comes from a stranger: any process
// of the user can write to the memory.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace trace
{

// All access is by words, as a reader may look at what is just being overwritten. Stores are
// releases and loads acquires, so that a reader that has seen something new sees what came before
// it, too.
using RingWord = std::atomic<uint64_t>;
static_assert(RingWord::is_always_lock_free && sizeof(RingWord) == 8);

// A segment is a mapping of its own. The stand-in reserves the memory of a named mapping up to this
// size when it is made; a larger one would end the writer by a signal when memory runs out.
inline constexpr uint64_t ring_segment_size = 1 << 20; // bytes
inline constexpr uint64_t ring_segments = 8;
inline constexpr uint64_t ring_capacity = ring_segments * ring_segment_size; // bytes

// The number changes with the layout. Segments have names of their own: with "-0", "-1" and on.
inline constexpr wchar_t ring_name[] = L"Local\\plinth-viewers-1";

struct RingSegment
{
    RingWord sequence; // which of the epoch's segments has the place: 0, 1 and on
    RingWord first;    // number of its first text
};

// One of the newest gaps, for readers that miss its item. Its place is found by its number.
struct RingGap
{
    RingWord number; // 1 and on
    RingWord since;  // Times
    RingWord until;
};
inline constexpr uint64_t ring_gaps = 8;

struct RingHeader
{
    RingWord epoch;    // changes when the ring is made anew; 0: it is being made
    RingWord reserved; // end of the newest segment; what is older than a capacity is overwritten

    // These belong together: they are of one moment if begun and ended are equal.
    RingWord begun;
    RingWord committed; // end of the items that are whole
    RingWord number;    // texts up to there
    RingWord unheard;   // texts that writers gave up, as the channel counts them
    RingWord gaps;      // how often the channel has passed from one viewer to another
    RingWord ended;

    RingWord heartbeat;                  // changes while the writer runs; 0 when it has ended
    RingWord alive;                      // when it last changed: a Time
    RingWord holder;                     // process id of the writer
    std::array<RingWord, 8> holder_name; // UTF-8, filled up with zeroes
    std::array<RingSegment, ring_segments> segments;
    std::array<RingGap, ring_gaps> newest_gaps;
};

enum class RingItemKind : uint32_t
{
    text = 1,
    gap = 2,  // another viewer has taken the channel over
    mark = 3, // tells of more unheard texts
    rest = 4, // nothing more in this segment
};

// What an item begins with. Behind it stand the name and the text, then zeroes up to a whole word.
struct RingItemHead
{
    uint32_t size; // of the item, bytes
    RingItemKind kind;
    uint64_t number; // texts before this item
    uint64_t unheard;
    uint64_t gaps;
    int64_t time;  // a Time; of a gap: its end
    int64_t since; // of a gap: its beginning
    uint32_t process;
    uint16_t name_size; // bytes
    uint16_t text_size;
    uint64_t check; // of the whole item: see check_of
};
static_assert(sizeof(RingItemHead) == 64 && sizeof(RingItemHead) % sizeof(RingWord) == 0);

// The ring where a process has it mapped. A reader's is read-only memory.
struct RingView
{
    RingHeader* header = nullptr;
    std::array<RingWord*, ring_segments> segments{};

    RingWord* at(uint64_t position) const
    {
        RingWord* const segment = segments[position / ring_segment_size % ring_segments];
        return &segment[position % ring_segment_size / sizeof(RingWord)];
    }
};

// Where a reader or the writer stands.
struct RingCursor
{
    uint64_t epoch = 0; // 0: nowhere
    uint64_t at = 0;    // position
    uint64_t number = 0;
    uint64_t unheard = 0;
    uint64_t gaps = 0;
};

} // namespace trace
