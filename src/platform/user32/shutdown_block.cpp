// Reasons not to shut down, one for each window. A window is only a name here: a program without
// windows may use any value.
#include <map>
#include <mutex>
#include <new>

#include "kernel32/process/awake.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

struct Reasons
{
    std::mutex lock; // guards windows; taken before the lock of awake.cpp
    std::map<HWND, std::string> windows;
};

constinit OfProcess<Reasons> g_reasons;

Reasons& reasons()
{
    return g_reasons.get();
}

// The lock is held during waits for other processes.
const AtFork g_at_fork(ForkStep::shutdown_reasons, {nullptr, nullptr, [] { g_reasons.renew(); }});

} // namespace

extern "C" BOOL ShutdownBlockReasonCreate(HWND window, LPCWSTR reason)
{
    if (!reason)
        return fail_with(ERROR_INVALID_PARAMETER);
    try
    {
        const size_t length = wide_length(reason);
        const std::string text =
            to_utf8(reason, length < MAX_STR_BLOCKREASON ? length : MAX_STR_BLOCKREASON - 1);
        const std::lock_guard guard(reasons().lock);
        const bool is_new = reasons().windows.insert_or_assign(window, text).second;
        if (!text.empty())
            set_inhibition_reason(text);
        if (is_new)
            demand(Inhibition::shutdown);
        return TRUE;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL ShutdownBlockReasonDestroy(HWND window)
try
{
    const std::lock_guard guard(reasons().lock);
    if (reasons().windows.erase(window) == 0)
        return fail_with(ERROR_NOT_FOUND);
    end_demand(Inhibition::shutdown);
    return TRUE;
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}
