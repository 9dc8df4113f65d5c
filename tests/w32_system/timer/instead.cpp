#include "instead.h"

#include <cerrno>
#include <mutex>
#include <utility>

#include <process.h>

#include <plinth_w32_system.h>

#include "support/instead.h"
#include "support/wide_text.h"

using test::Instead;

namespace
{

// Initialised at compile time: the library traces before this program's other static objects are
// made.
constinit std::mutex g_mutex; // guards both below
constinit std::vector<std::string> g_assertions;
constinit std::vector<std::string> g_traces;

} // namespace

std::vector<std::string> Instead::assertions()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_assertions, {});
}

std::vector<std::string> Instead::traces()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_traces, {});
}

void Instead::reset()
{
    no_thread = false;
    clock = -1.0;
    clock_step = 0.0;
    multimedia = {};
    message = {};
    assertions();
    traces();
}

TEST_INSTEAD HANDLE CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial,
                                 LPCWSTR name)
{
    const HANDLE event = TEST_REAL(CreateEventW)(security, manual, initial, name);
    if (event && !name)
        ++Instead::events;
    return event;
}

TEST_INSTEAD uintptr_t _beginthreadex(void* security, unsigned size, unsigned (*start)(void*),
                                      void* argument, unsigned flags, unsigned* id)
{
    if (Instead::no_thread.exchange(false))
        return errno = EAGAIN, 0;
    ++Instead::open_threads;
    return TEST_REAL(_beginthreadex)(security, size, start, argument, flags, id);
}

TEST_INSTEAD BOOL CloseHandle(HANDLE object)
{
    DWORD code = 0;
    const bool is_thread = GetExitCodeThread(object, &code);
    is_thread ? --Instead::open_threads : ++Instead::closed_events;
    return TEST_REAL(CloseHandle)(object);
}

TEST_INSTEAD double QV_GetTimeCounter()
{
    if (Instead::clock < 0.0)
        return TEST_REAL(QV_GetTimeCounter)();
    const double now = Instead::clock;
    Instead::clock = now + Instead::clock_step;
    return now;
}

TEST_INSTEAD int QV_Sleep(double milliseconds, int precision)
{
    if (Instead::clock < 0.0)
        return TEST_REAL(QV_Sleep)(milliseconds, precision);
    Instead::clock = Instead::clock + milliseconds;
    return 0;
}

TEST_INSTEAD MMRESULT timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK procedure,
                                   DWORD_PTR user, UINT flags)
{
    test::MultimediaTimer& timer = Instead::multimedia;
    if (!timer.capture)
        return TEST_REAL(timeSetEvent)(delay, resolution, procedure, user, flags);
    timer.asked = {delay, resolution, flags};
    timer.procedure = procedure;
    timer.user = user;
    return timer.id;
}

TEST_INSTEAD MMRESULT timeKillEvent(UINT id)
{
    if (!Instead::multimedia.capture)
        return TEST_REAL(timeKillEvent)(id);
    Instead::multimedia.killed = id;
    return TIMERR_NOERROR;
}

TEST_INSTEAD UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    test::MessageTimer& timer = Instead::message;
    if (timer.ids.empty())
        return TEST_REAL(SetTimer)(window, id, milliseconds, procedure);
    timer.milliseconds.push_back(milliseconds);
    timer.procedure = procedure;
    const UINT_PTR given = timer.ids.front();
    timer.ids.erase(timer.ids.begin());
    return given;
}

TEST_INSTEAD BOOL KillTimer(HWND window, UINT_PTR id)
{
    if (Instead::message.milliseconds.empty())
        return TEST_REAL(KillTimer)(window, id);
    Instead::message.killed.push_back(id);
    return TRUE;
}

TEST_INSTEAD int DiagAssertW(unsigned, const wchar_t* expression, const wchar_t* message,
                             const char*, int)
{
    const std::lock_guard lock(g_mutex);
    g_assertions.push_back(test::utf8(expression) + (message ? "; " : "") +
                           (message ? test::utf8(message) : ""));
    return 1;
}

TEST_INSTEAD void DiagOutputExW(const wchar_t* format, ...)
{
    const std::lock_guard lock(g_mutex);
    g_traces.push_back(test::utf8(format));
}
