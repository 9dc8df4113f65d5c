// Where records come from: the debug string channel (listener.h), a stream of lines
// (line_source.h), log files (log_source.h).
//
// A source that loses records reports that by a record of its own at the place of the missing ones
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

    // The next record; false if none came in time, or no more will come. Fails if the source can't
    // be read.
    virtual bool next(Record& record, unsigned milliseconds) = 0;
    // The same without a copy: the view is valid until the next call of either function.
    virtual bool next_view(RecordView& record, unsigned milliseconds)
    {
        m_viewed = {};
        if (!next(m_viewed, milliseconds))
            return false;
        record = m_viewed;
        return true;
    }

    // Whether no more records will come.
    virtual bool ended() const = 0;

    // Ends the source; next still returns records that came before.
    virtual void stop() = 0;

    // Describes the source for people: "the debug string channel".
    virtual std::string what() const = 0;

    // What has changed at the source since what() was called, or since the last call; empty if
    // nothing has.
    virtual std::string take_news() { return {}; }

    // The program that has the channel, so that no record can come before the channel is free;
    // empty if records can come.
    virtual std::string shut_out_by() const { return {}; }

    // The number of records since this viewer started, lost ones included; nothing if they are not
    // counted.
    virtual std::optional<uint64_t> taken() const { return std::nullopt; }

private:
    Record m_viewed;
};

} // namespace trace
