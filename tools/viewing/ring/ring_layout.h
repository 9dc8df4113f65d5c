// The layout of the ring in shared memory. Through the ring, the viewer that has the debug string
// channel passes its records on to the user's other viewers.
//
// Positions count bytes from the beginning of an epoch and never decrease; the place of a position
// is found by division. The ring consists of segments. An item never crosses the end of its
// segment, and each segment begins with an item, so that a reader that was overtaken can continue
// at a segment.
//
// One process writes at a time: the one that has the channel. Readers only read, so they can
// neither delay the writer nor damage anything. Readers must not trust what they read: any process
// of the user can write to the memory.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace trace
{

// All access is by words, since a reader may read bytes while they are overwritten. Stores are
// releases and loads are acquires, so that a reader that sees a new value also sees what was
// written before it.
using RingWord = std::atomic<uint64_t>;
static_assert(RingWord::is_always_lock_free && sizeof(RingWord) == 8);

// A segment is a mapping of its own. The stand-in reserves the memory of a named mapping up to this
// size when the mapping is made; with a larger one, the writer would be ended by a signal when
// memory runs out.
inline constexpr uint64_t ring_segment_size = 1 << 20; // bytes
inline constexpr uint64_t ring_segments = 8;
inline constexpr uint64_t ring_capacity = ring_segments * ring_segment_size; // bytes

// The number changes with the layout. Segments have names of their own: with "-0", "-1" and on.
inline constexpr wchar_t ring_name[] = L"Local\\plinth-viewers-1";

struct RingSegment
{
    RingWord sequence; // which of the epoch's segments is in this place: 0, 1 and on
    RingWord first;    // number of its first text
};

// One of the newest gaps, for readers that miss its item. Its number determines its place.
struct RingGap
{
    RingWord number; // counts from 1
    RingWord since;  // Times
    RingWord until;
};
inline constexpr uint64_t ring_gaps = 8;

struct RingHeader
{
    RingWord epoch;    // changes when a new ring is made; 0: it is being made
    RingWord reserved; // end of the newest segment; positions more than a capacity before it are
                       // overwritten

    // These words belong together: they are from one moment if begun and ended are equal.
    RingWord begun;
    RingWord committed; // end of the whole items
    RingWord number;    // texts up to that end
    RingWord unheard;   // texts that writers gave up, as the channel counts them
    RingWord gaps;      // how often the channel has passed from one viewer to another
    RingWord ended;

    RingWord heartbeat;                  // changes while the writer runs; 0 when it has ended
    RingWord alive;                      // when heartbeat last changed: a Time
    RingWord holder;                     // process id of the writer
    std::array<RingWord, 8> holder_name; // UTF-8, filled up with zeroes
    std::array<RingSegment, ring_segments> segments;
    std::array<RingGap, ring_gaps> newest_gaps;
};

enum class RingItemKind : uint32_t
{
    text = 1,
    gap = 2,  // another viewer has taken the channel over
    mark = 3, // reports more unheard texts
    rest = 4, // the rest of this segment is unused
};

// The beginning of an item. After it come the name and the text, then zeroes up to a whole word.
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

// The ring as a process has mapped it. A reader's memory is read-only.
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

// The place of a reader or the writer.
struct RingCursor
{
    uint64_t epoch = 0; // 0: none
    uint64_t at = 0;    // position
    uint64_t number = 0;
    uint64_t unheard = 0;
    uint64_t gaps = 0;
};

} // namespace trace
