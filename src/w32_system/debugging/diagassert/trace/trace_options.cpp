// The option words of trace records and assertion reports: plain words without a lock.
#include "trace_options.h"

#include <atomic>

#include "plinth_w32_system.h"

namespace
{

constinit std::atomic<unsigned int> s_traceOptions{QV_DIAG_DEBUGGER | QV_DIAG_LOGFILE};
constinit std::atomic<unsigned int> s_failifOptions{QV_DIAG_LOGFILE};

// 0 is refused.
unsigned int Replace(std::atomic<unsigned int>& word, unsigned int options)
{
    return options ? word.exchange(options, std::memory_order_relaxed) : 0;
}

} // namespace

unsigned int QvTraceOptions()
{
    return s_traceOptions.load(std::memory_order_relaxed);
}

unsigned int QvFailifOptions()
{
    return s_failifOptions.load(std::memory_order_relaxed);
}

extern "C" unsigned int QV_SetTraceOptions(unsigned int options)
{
    return Replace(s_traceOptions, options);
}

extern "C" unsigned int QV_GetTraceOptions(void)
{
    return QvTraceOptions();
}

extern "C" unsigned int QV_SetFailifOptions(unsigned int options)
{
    return Replace(s_failifOptions, options);
}
