#include "full_screen/feed.h"

#include <utility>

namespace trace::full_screen
{

Feed::Feed(const ViewOptions& options, std::unique_ptr<Source> source)
    : m_source(std::move(source)),
      m_store(store_limit(options.keep.value_or(Store::default_limit))),
      m_output_filter(options.filter), m_output_style{.time = options.time.value_or(TimeMode::none)}
{
    if (options.output)
        m_output.emplace(*options.output, OutputFile::Takes::pipes_too);
}

bool Feed::collect(std::chrono::milliseconds wait, Clock::duration longest)
{
    constexpr uint64_t look_at_clock = 64; // records; asking at each would double the cost
    RecordView record;
    uint64_t collected = 0;
    Clock::time_point end{};
    while (m_source->next_view(record, collected == 0 ? static_cast<unsigned>(wait.count()) : 0))
    {
        m_store.append(record);
        if (m_output) // taken from the store, which adds the window that the filter needs
            prepare_output(m_store[m_store.end() - 1]);
        if (collected++ == 0)
            end = Clock::now() + longest;
        else if (collected % look_at_clock == 0 && Clock::now() >= end)
            break;
    }
    m_rate.add(collected, Clock::now());
    if (!m_unwritten.empty())
        m_output->write(std::exchange(m_unwritten, {}));
    return collected > 0;
}

void Feed::prepare_output(const RecordView& record)
{
    if (!m_output_filter.passes(record))
        return;
    const TimeBase base{.start = m_store.start(), .previous = m_last_written};
    append_lines(m_unwritten, record, m_output_style, base);
    m_last_written = record.time;
}

void Feed::finish()
{
    m_source->stop();
    while (collect(std::chrono::milliseconds(0), std::chrono::seconds(1)))
    {
    }
}

} // namespace trace::full_screen
