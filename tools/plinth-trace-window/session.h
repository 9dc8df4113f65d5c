// What all tabs of the window have in common: the records, where they come from, and how they are
// shown. All of it belongs to the thread of the window.
#pragma once

#include <chrono>
#include <memory>
#include <set>

#include "bookmarks.h"
#include "rate_meter.h"
#include "store.h"
#include "view_options.h"

namespace trace_window
{

struct Session
{
    using Clock = std::chrono::steady_clock;

    explicit Session(const trace::ViewOptions& options)
        : store(options.keep.value_or(trace::Store::default_limit)),
          time(options.time.value_or(trace::TimeMode::absolute)), highlights(options.highlights)
    {
    }

    // Takes what the source has, for so long at most; gives the window ids that are new.
    std::set<int32_t> collect(Clock::duration longest);

    std::unique_ptr<trace::Source> source; // null while there is none
    trace::Store store;
    trace::Bookmarks bookmarks;
    trace::RateMeter rate{Clock::now()};
    trace::TimeMode time;
    trace::Highlights highlights;
    std::set<int32_t> windows; // that records have named
};

} // namespace trace_window
