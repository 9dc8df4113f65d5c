#include "instead.h"

#include <cstdarg>
#include <cstdlib>
#include <mutex>
#include <new>

#include <dlfcn.h>
#include <pthread.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

using test::Instead;

std::atomic<int> Instead::thread_error{0};
std::atomic<long> Instead::joinable_threads{0};
std::atomic<long> Instead::events{0};
std::atomic<long> Instead::closed_handles{0};
std::atomic<long> Instead::blocks{0};
std::atomic<double> Instead::clock{-1.0};
std::atomic<double> Instead::clock_step{0.0};
Instead::MultimediaTimer Instead::multimedia;
Instead::MessageTimer Instead::message;

namespace
{

template <class Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Made at the first use: the library traces before this program's objects are built.
struct Reports
{
    std::mutex mutex;
    std::vector<std::string> assertions;
    std::vector<std::string> traces;
};

Reports& reports()
{
    static Reports& only = *new Reports;
    return only;
}

bool own_clock()
{
    return Instead::clock >= 0.0;
}

} // namespace

std::vector<std::string> Instead::assertions()
{
    const std::lock_guard lock(reports().mutex);
    return std::move(reports().assertions);
}

std::vector<std::string> Instead::traces()
{
    const std::lock_guard lock(reports().mutex);
    return std::move(reports().traces);
}

void Instead::reset()
{
    thread_error = 0;
    clock = -1.0;
    clock_step = 0.0;
    multimedia = {};
    message = {};
    assertions();
    traces();
}

#define INSTEAD extern "C" __attribute__((visibility("default")))

INSTEAD int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                           void* (*start)(void*), void* argument)
{
    if (const int error = Instead::thread_error.exchange(0))
        return error;
    int state = PTHREAD_CREATE_JOINABLE;
    if (attributes)
        pthread_attr_getdetachstate(attributes, &state);
    if (state == PTHREAD_CREATE_JOINABLE)
        ++Instead::joinable_threads;
    return next<decltype(pthread_create)>("pthread_create")(thread, attributes, start, argument);
}

INSTEAD int pthread_join(pthread_t thread, void** result)
{
    --Instead::joinable_threads;
    return next<decltype(pthread_join)>("pthread_join")(thread, result);
}

INSTEAD int pthread_detach(pthread_t thread)
{
    --Instead::joinable_threads;
    return next<decltype(pthread_detach)>("pthread_detach")(thread);
}

INSTEAD HANDLE CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial, LPCWSTR name)
{
    const HANDLE event =
        next<decltype(CreateEventW)>("CreateEventW")(security, manual, initial, name);
    if (event && !name)
        ++Instead::events;
    return event;
}

INSTEAD BOOL CloseHandle(HANDLE object)
{
    ++Instead::closed_handles;
    return next<decltype(CloseHandle)>("CloseHandle")(object);
}

INSTEAD double QV_GetTimeCounter()
{
    if (!own_clock())
        return next<decltype(QV_GetTimeCounter)>("QV_GetTimeCounter")();
    const double now = Instead::clock;
    Instead::clock = now + Instead::clock_step;
    return now;
}

INSTEAD int QV_Sleep(double milliseconds, int precision)
{
    if (!own_clock())
        return next<decltype(QV_Sleep)>("QV_Sleep")(milliseconds, precision);
    Instead::clock = Instead::clock + milliseconds;
    return 0;
}

INSTEAD MMRESULT timeSetEvent(UINT delay, UINT resolution, LPTIMECALLBACK procedure, DWORD_PTR user,
                              UINT flags)
{
    Instead::MultimediaTimer& timer = Instead::multimedia;
    if (!timer.capture)
        return next<decltype(timeSetEvent)>("timeSetEvent")(delay, resolution, procedure, user,
                                                            flags);
    timer.delay = delay;
    timer.resolution = resolution;
    timer.flags = flags;
    timer.procedure = procedure;
    timer.user = user;
    return timer.id;
}

INSTEAD MMRESULT timeKillEvent(UINT id)
{
    if (!Instead::multimedia.capture)
        return next<decltype(timeKillEvent)>("timeKillEvent")(id);
    Instead::multimedia.killed = id;
    return TIMERR_NOERROR;
}

INSTEAD UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure)
{
    Instead::MessageTimer& timer = Instead::message;
    if (timer.ids.empty())
        return next<decltype(SetTimer)>("SetTimer")(window, id, milliseconds, procedure);
    timer.milliseconds.push_back(milliseconds);
    timer.procedure = procedure;
    const UINT_PTR given = timer.ids.front();
    timer.ids.erase(timer.ids.begin());
    return given;
}

INSTEAD BOOL KillTimer(HWND window, UINT_PTR id)
{
    if (Instead::message.milliseconds.empty())
        return next<decltype(KillTimer)>("KillTimer")(window, id);
    Instead::message.killed.push_back(id);
    return TRUE;
}

INSTEAD int DiagAssertW(unsigned, const wchar_t* expression, const wchar_t* message, const char*,
                        int)
{
    const std::lock_guard lock(reports().mutex);
    reports().assertions.push_back(test::utf8(expression) + (message ? "; " : "") +
                                   (message ? test::utf8(message) : ""));
    return 1;
}

INSTEAD void DiagOutputExW(const wchar_t* format, ...)
{
    const std::lock_guard lock(reports().mutex);
    reports().traces.push_back(test::utf8(format));
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    void* const memory = std::malloc(size);
    Instead::blocks += memory != nullptr;
    return memory;
}

void* operator new(size_t size)
{
    if (void* const memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    if (memory)
        --Instead::blocks;
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    operator delete(memory);
}
