#include "session.h"

#include <utility>

namespace trace_window
{

std::set<int32_t> Session::collect(Clock::duration longest)
{
    constexpr unsigned clock_interval = 64; // records between two looks at the clock
    std::set<int32_t> fresh;
    if (!source)
        return fresh;
    const Clock::time_point end = Clock::now() + longest;
    uint64_t collected = 0;
    trace::RecordView record;
    while (source->next_view(record, 0))
    {
        store.append(record);
        const trace::RecordView kept = store[store.end() - 1];
        if (output)
            prepareOutput(kept);
        const int32_t window = kept.window;
        if (window != trace::no_window && windows.insert(window).second)
            fresh.insert(window);
        if (++collected % clock_interval == 0 && Clock::now() >= end)
            break;
    }
    rate.add(collected, Clock::now());
    bookmarks.trim(store.first());
    return fresh;
}

// Done at once, as the record may be dropped before its next use.
void Session::prepareOutput(const trace::RecordView& record)
{
    if (!outputFilter.passes(record))
        return;
    const trace::LineStyle style{.time = time};
    const trace::TimeBase base{.start = store.start(), .previous = m_lastWritten};
    trace::append_lines(m_unwritten, record, style, base);
    m_lastWritten = record.time;
}

void Session::writeOutput()
{
    const std::string text = std::exchange(m_unwritten, {});
    if (output && !text.empty())
        output->write(text);
}

} // namespace trace_window
