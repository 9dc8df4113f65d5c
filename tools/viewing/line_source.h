// Standard input as a source: a line is a record. Its time is that of its stamp if it has one, else
// that of its arrival. Input that begins with the mark of UTF-16 (FF FE), as a log file may, is
// UTF-16; other input is UTF-8, and invalid bytes become U+FFFD.
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
    void feed(std::string_view bytes);
    void take(const std::string& line);

    std::string m_begun; // a part of the mark, a unit or a pair of UTF-16 that the next bytes
                         // complete
    bool m_is_form_known = false;
    bool m_is_wide = false;
    LineSplitter m_lines; // UTF-8 if the input is wide
    std::deque<Record> m_ready;
    bool m_ended = false;
};

} // namespace trace
