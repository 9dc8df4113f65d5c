// The load entry: what happens, and in which order, when the library is loaded and unloaded.
//
// On Windows the system calls DllMain after the static initialisers and before the static
// tear-down. On ELF a constructor of the library takes this part, after the initialisers that have
// a priority. One function does the detach; it runs once, at exit or when the library is closed. It
// is registered after the library's objects are built. The destructors of the application are
// registered later, so they run first and may still trace.
//
// The workers of asynchronous transfers end before anything that they use is destroyed.
#include <new>

#include <windows.h>

#include "file/async_io.h"
#include "frame.h"
#include "timer/timebase.h"
#include "timer/timer_routes.h"

pthread_mutexCS_t gs_moduleLock;

namespace
{

// The file module's load hook. False refuses the load. wait: the longest time that a callback may
// delay the detach, as for QvStopAsyncWorkers; null if no other thread runs any more.
bool FileModuleMain(DWORD reason, const double* wait)
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        return pthread_mutexCS_init(&gs_moduleLock, nullptr) == 0;
    case DLL_PROCESS_DETACH:
        if (wait)
            QvStopAsyncWorkers(*wait);
        pthread_mutexCS_destroy(&gs_moduleLock);
        return true;
    default:
        return true;
    }
}

// During a load there is no caller to catch an exception. Without memory a trace is lost.
void WithoutException(void (*step)())
try
{
    step();
}
catch (const std::bad_alloc&)
{
}

bool LibraryMain(HMODULE module, DWORD reason, const double* wait)
{
    if (reason == DLL_PROCESS_DETACH)
        QvBeginDetach(); // before anything is waited for
    DisableThreadLibraryCalls(module);
    const bool good = FileModuleMain(reason, wait);
    if (reason == DLL_PROCESS_ATTACH)
    {
        // rdtsc_initialize opens the log and traces before the time base has started: the first
        // record's times come from the millisecond tick.
        WithoutException(CQvLogFile::Initialize);
        WithoutException([] { rdtsc_initialize(); });
        QvTimeBaseStart();
        GetVersionExW(&CQvWinVersion::s_osVersionInfo);
    }
    else if (reason == DLL_PROCESS_DETACH)
    {
        if (wait)
            QvEndTimerThreads();
        CQvLogFile::Uninitialize();
        QvTimeBaseEnd();
    }
    return good;
}

} // namespace

#if defined(_WIN32)

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID processEnds)
{
    // When the process ends, the system has already ended its other threads.
    constexpr double unload = qv_async_stop_limit;
    const BOOL good = LibraryMain(module, reason, processEnds ? nullptr : &unload);
    if (reason == DLL_PROCESS_DETACH)
        QvRunTearDowns();
    return good;
}

#else

#include <cstdio>
#include <cstdlib>

namespace
{

// Runs once, called by either of two callers. Usually the loader calls it as a destructor, before
// the handlers that the library has registered. If the process ends and the library was loaded at
// run time, the handler comes first. A callback can't return to code that is unmapped, so a worker
// in a callback is waited for without a limit. (At the end of the process the workers have been
// stopped before, see StopAtExit in async_io.cpp.)
[[gnu::destructor]] void Leave()
{
    static constinit bool s_left = false;
    if (s_left)
        return;
    s_left = true;
    constexpr double unload = -1;
    LibraryMain(nullptr, DLL_PROCESS_DETACH, &unload);
    QvRunTearDowns();
    QvAwaitLastMultimediaCall();
    pthread_await_ending_np(); // workers of pools
}

struct LeaveAtExit
{
    LeaveAtExit() = default;
    LeaveAtExit(const LeaveAtExit&) = delete;
    LeaveAtExit& operator=(const LeaveAtExit&) = delete;
    ~LeaveAtExit() { Leave(); }
};

[[gnu::constructor]] void Enter()
{
    if (LibraryMain(nullptr, DLL_PROCESS_ATTACH, nullptr))
    {
        // Destroyed at the exit, or at the dlclose that unloads this shared object.
        static const LeaveAtExit s_leaveAtExit;
        return;
    }
    // A constructor can't make the loader refuse the library, so end the process as the loader does
    // with a library that it can't load.
    Leave();
    std::fputs("plinth_w32_system: the module lock could not be created; the library can't be "
               "loaded\n",
               stderr);
    std::_Exit(127);
}

} // namespace

#endif
