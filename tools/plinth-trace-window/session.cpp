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
    trace::Record record;
    while (source->next(record, 0))
    {
        store.append(std::exchange(record, {}));
        const int32_t window = store[store.end() - 1].window;
        if (window != trace::no_window && windows.insert(window).second)
            fresh.insert(window);
        if (++collected % clock_interval == 0 && Clock::now() >= end)
            break;
    }
    rate.add(collected, Clock::now());
    bookmarks.trim(store.first());
    return fresh;
}

} // namespace trace_window
