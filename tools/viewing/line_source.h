// Standard input as a source: a line is a record. Its time is that of its stamp if it has one, else
// that of its arrival. Bytes that are not UTF-8 become U+FFFD.
#pragma once

#include <deque>

#include "line_splitter.h"
#include "source.h"

namespace trace
{

class LineSource : public Source
{
public:
    bool next(Record& record, unsigned milliseconds) override;
    bool ended() const override { return m_ended && m_ready.empty(); }
    void stop() override;
    std::string what() const override { return "standard input"; }

private:
    void take(const std::string& line);

    LineSplitter m_lines;
    std::deque<Record> m_ready;
    bool m_ended = false;
};

} // namespace trace
