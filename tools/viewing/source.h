// Where records come from: the debug string channel (listener.h), a stream of lines
// (line_source.h), log files (log_source.h).
//
// A source that loses records says so by a record of its own at the place where they are missing
// (Record::is_loss).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "record.h"

namespace trace
{

class Source
{
public:
    Source() = default;
    virtual ~Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // The next record; false if none came in so many milliseconds, or none will come any more.
    // Failure if the source can't be read.
    virtual bool next(Record& record, unsigned milliseconds) = 0;
    // The same without a copy: the view is good until the next call of either.
    virtual bool next_view(RecordView& record, unsigned milliseconds)
    {
        m_viewed = {};
        if (!next(m_viewed, milliseconds))
            return false;
        record = m_viewed;
        return true;
    }

    // No record will come any more.
    virtual bool ended() const = 0;

    // Ends it; what had come before still comes out of next.
    virtual void stop() = 0;

    // What is watched, for people: "the debug string channel".
    virtual std::string what() const = 0;

    // What has changed about it since what() was asked for, or since the last call; empty if
    // nothing has.
    virtual std::string take_news() { return {}; }

    // Who has the channel, so that no record can come before it is free; empty if records can come.
    virtual std::string shut_out_by() const { return {}; }

    // How many records there were since this viewer came, those that it has lost included; nothing
    // if nobody counts them.
    virtual std::optional<uint64_t> taken() const { return std::nullopt; }

private:
    Record m_viewed;
};

} // namespace trace
