// The load entry: the order of what happens when the library comes into a process and leaves it.
//
// On Windows the system calls DllMain after the static initialisers and before the static
// tear-down. On ELF a constructor of the library does, behind the initialisers with a priority; the
// way out is one function that runs once, at exit or when the library is closed. It is registered
// after the objects are built, so the destructors of the application, which registers later, run
// first and may still trace.
#include <windows.h>

#include "frame.h"
#include "timer/timebase.h"
#include "timer/timer_routes.h"

pthread_mutexCS_t gs_moduleLock;

namespace
{

// The file module's load hook. False refuses the load.
bool FileModuleMain(DWORD reason)
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        return pthread_mutexCS_init(&gs_moduleLock, nullptr) == 0;
    case DLL_PROCESS_DETACH:
        pthread_mutexCS_destroy(&gs_moduleLock);
        return true;
    default:
        return true;
    }
}

bool LibraryMain(HMODULE module, DWORD reason)
{
    DisableThreadLibraryCalls(module);
    const bool good = FileModuleMain(reason);
    if (reason == DLL_PROCESS_ATTACH)
    {
        // rdtsc_initialize opens the log and traces before the time base has started: the first
        // record's times come from the millisecond tick.
        CQvLogFile::Initialize();
        rdtsc_initialize();
        QvTimeBaseStart();
        GetVersionExW(&CQvWinVersion::s_osVersionInfo);
    }
    else if (reason == DLL_PROCESS_DETACH)
    {
        CQvLogFile::Uninitialize();
        QvTimeBaseEnd();
    }
    return good;
}

} // namespace

#if defined(_WIN32)

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID)
{
    const BOOL good = LibraryMain(module, reason);
    if (reason == DLL_PROCESS_DETACH)
        QvRunTearDowns();
    return good;
}

#else

#include <cstdio>
#include <cstdlib>

namespace
{

void Leave()
{
    LibraryMain(nullptr, DLL_PROCESS_DETACH);
    QvRunTearDowns();
    QvJoinEndedTimerThread();
}

struct Departure
{
    Departure() = default;
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;
    ~Departure() { Leave(); }
};

[[gnu::constructor]] void Enter()
{
    if (LibraryMain(nullptr, DLL_PROCESS_ATTACH))
    {
        // Destroyed at the exit, or at the dlclose that unloads this shared object.
        static const Departure departure;
        return;
    }
    // A constructor can't make the loader refuse: end as the loader does with a library that it
    // can't load.
    Leave();
    std::fputs("plinth_w32_system: the module lock could not be created; the library can't be "
               "loaded\n",
               stderr);
    std::_Exit(127);
}

} // namespace

#endif
