// What all tabs of the window share: the records, their source, and how they are shown. Only the
// window's thread uses it.
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

    // Fails if the file that the options name can't be made.
    explicit Session(const trace::ViewOptions& options)
        : store(trace::store_limit(options.keep.value_or(trace::Store::default_limit))),
          time(options.time.value_or(trace::TimeMode::absolute))
    {
        if (options.output)
            output.emplace(*options.output);
    }

    // Takes what the source has, for at most this long; returns the window ids that are new.
    std::set<int32_t> collect(Clock::duration longest);

    // What has changed at the source; empty if nothing has.
    std::string news() const { return source ? source->take_news() : std::string(); }

    // Writes the collected records that pass the filter to the output file, if there is one. Fails
    // if the file can't be written.
    void writeOutput();

    std::unique_ptr<trace::Source> source; // null while there is none
    trace::Store store;
    trace::Bookmarks bookmarks;
    trace::RateMeter rate{Clock::now()};
    trace::TimeMode time;
    std::set<int32_t> windows; // named by records

    std::optional<trace::OutputFile> output;
    trace::Filter outputFilter; // the first tab's

private:
    void prepareOutput(const trace::RecordView& record);

    std::string m_unwritten;
    trace::Time m_lastWritten = trace::unknown_time;
};

} // namespace trace_window
