// The records of a full screen: passed from their source to the store, and those that the options
// want to the output file.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "output_file.h"
#include "rate_meter.h"
#include "source.h"
#include "store.h"
#include "view_options.h"

namespace trace::full_screen
{

class Feed
{
public:
    using Clock = std::chrono::steady_clock;

    // Fails if the source or the output file can't be opened.
    explicit Feed(const ViewOptions& options, std::unique_ptr<Source> source);

    // Takes what the source has: waits for the first record for at most `wait`, then takes records
    // for at most `longest`. False if there was none. Fails if the output file can't be written.
    bool collect(std::chrono::milliseconds wait, Clock::duration longest);

    // Whether no more records will come.
    bool ended() const { return m_source->ended(); }
    // Ends the source and takes what came before.
    void finish();

    Source& source() { return *m_source; }
    Store& store() { return m_store; }
    double records_per_second() { return m_rate.per_second(Clock::now()); }

private:
    void prepare_output(const RecordView& record);

    std::unique_ptr<Source> m_source;
    Store m_store;
    RateMeter m_rate{Clock::now()};
    std::optional<OutputFile> m_output;
    const Filter m_output_filter;
    const LineStyle m_output_style;
    std::string m_unwritten;
    Time m_last_written = unknown_time;
};

} // namespace trace::full_screen
