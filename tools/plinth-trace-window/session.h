// What all tabs of the window have in common: the records, where they come from, and how they are
// shown. All of it belongs to the thread of the window.
#pragma once

#include <chrono>
#include <memory>
#include <set>

#include "bookmarks.h"
#include "output_file.h"
#include "rate_meter.h"
#include "store.h"
#include "view_options.h"

namespace trace_window
{

struct Session
{
    using Clock = std::chrono::steady_clock;

    // Failure if the file that the options name can't be made.
    explicit Session(const trace::ViewOptions& options)
        : store(trace::store_limit(options.keep.value_or(trace::Store::default_limit))),
          time(options.time.value_or(trace::TimeMode::absolute))
    {
        if (options.output)
            output.emplace(*options.output);
    }

    // Takes what the source has, for so long at most; gives the window ids that are new.
    std::set<int32_t> collect(Clock::duration longest);

    // What has changed about the source; empty if nothing has.
    std::string news() const { return source ? source->take_news() : std::string(); }

    // Writes what was collected, and passes the filter, to the output file, if there is one.
    // Failure if it can't be written.
    void write_output();

    std::unique_ptr<trace::Source> source; // null while there is none
    trace::Store store;
    trace::Bookmarks bookmarks;
    trace::RateMeter rate{Clock::now()};
    trace::TimeMode time;
    std::set<int32_t> windows; // that records have named

    std::optional<trace::OutputFile> output;
    trace::Filter output_filter; // the first tab's

private:
    void prepare_output(const trace::RecordView& record);

    std::string m_unwritten;
    trace::Time m_last_written = trace::unknown_time;
};

} // namespace trace_window
