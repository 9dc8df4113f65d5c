// The layouts of shared memory: programs with different versions of the library run at the same
// time.
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kernel32/debug_channel/debug_channel_control.h"
#include "kernel32/object/event_state.h"
#include "kernel32/object/named_object.h"
#include "kernel32/object/semaphore_state.h"
#include "ring/ring_layout.h"

namespace
{

using Layout = std::vector<size_t>; // the size, and the offset of each member

// The layout of each name that any version has used. Rows are added and never changed.
const std::map<std::string, Layout> layouts = {
    {"/channel-3", {32, 0, 4, 8, 12, 16, 20, 24, 28}},
    {"e", {12, 0, 4, 8}},
    {"s", {12, 0, 4, 8}},
    {"Local\\plinth-viewers-1",
     {472, 0, 8, 16, 24, 32, 40, 48, 56, 64, 72, 80, 88, 152, 280, 16, 24}},
    {"Local\\plinth-viewers-1-0", {64, 0, 4, 8, 16, 24, 32, 40, 48, 52, 54, 56}},
};

void expect_known(const std::string& name, const Layout& now)
{
    const auto known = layouts.find(name);
    ASSERT_NE(known, layouts.end()) << "a new name, " << name << ": add its layout here";
    EXPECT_EQ(known->second, now) << "a new name is needed: programs of other versions that run at "
                                     "the same time take what is called "
                                  << name << " for what it was";
}

std::string ring_name(const char* tail = "")
{
    std::string name;
    for (const wchar_t c : trace::ring_name)
        if (c != L'\0')
            name += static_cast<char>(c);
    return name + tail;
}

std::string kind_name(platform::NamedKind kind)
{
    return {static_cast<char>(kind)};
}

TEST(SharedLayout, AChangedLayoutHasANewName)
{
    using platform::ChannelControl;
    expect_known(platform::channel_page_name,
                 {sizeof(ChannelControl), offsetof(ChannelControl, magic),
                  offsetof(ChannelControl, listener), offsetof(ChannelControl, generation),
                  offsetof(ChannelControl, stuck), offsetof(ChannelControl, jammed),
                  offsetof(ChannelControl, filled), offsetof(ChannelControl, lost),
                  offsetof(ChannelControl, turn)});
    using platform::EventState;
    expect_known(kind_name(platform::NamedKind::event),
                 {sizeof(EventState), offsetof(EventState, signalled),
                  offsetof(EventState, waiters), offsetof(EventState, manual_reset)});
    using platform::SemaphoreState;
    expect_known(kind_name(platform::NamedKind::semaphore),
                 {sizeof(SemaphoreState), offsetof(SemaphoreState, count),
                  offsetof(SemaphoreState, waiters), offsetof(SemaphoreState, maximum)});
    using trace::RingHeader;
    expect_known(
        ring_name(),
        {sizeof(RingHeader), offsetof(RingHeader, epoch), offsetof(RingHeader, reserved),
         offsetof(RingHeader, begun), offsetof(RingHeader, committed), offsetof(RingHeader, number),
         offsetof(RingHeader, unheard), offsetof(RingHeader, gaps), offsetof(RingHeader, ended),
         offsetof(RingHeader, heartbeat), offsetof(RingHeader, alive), offsetof(RingHeader, holder),
         offsetof(RingHeader, holder_name), offsetof(RingHeader, segments),
         offsetof(RingHeader, newest_gaps), sizeof(trace::RingSegment), sizeof(trace::RingGap)});
    using trace::RingItemHead;
    expect_known(ring_name("-0"),
                 {sizeof(RingItemHead), offsetof(RingItemHead, size), offsetof(RingItemHead, kind),
                  offsetof(RingItemHead, number), offsetof(RingItemHead, unheard),
                  offsetof(RingItemHead, gaps), offsetof(RingItemHead, time),
                  offsetof(RingItemHead, since), offsetof(RingItemHead, process),
                  offsetof(RingItemHead, name_size), offsetof(RingItemHead, text_size),
                  offsetof(RingItemHead, check)});
}

} // namespace
