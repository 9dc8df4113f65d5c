// Finding and loading the plug-in: PLINTH_DESKTOP names its file, or is "none"; else the plug-in is
// in a private folder beside the stand-in's own file, both in a build and installed. The folder's
// name contains the version of the interface: a stand-in never loads the plug-in of another version
// installed at the same time. The plug-in stays loaded.
//
// A missing plug-in is no error: the user interface library is optional. One that exists but can't
// be used is reported on standard error, since the user would wait for windows in vain.
#include <cstdio>
#include <mutex>
#include <new>
#include <string>

#include <plinth_platform.h>

#include "desktop_host.h"
#include "kernel32/module/loaded_modules.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/last_error.h"
#include "system/report.h"

namespace platform
{

namespace
{

constexpr const char* file_name = PLINTH_PRIVATE_FOLDER "/libplinth_desktop_qt.so";

// Empty if no plug-in shall be loaded.
std::string plug_in_path()
{
    // The user interface library uses too much of its environment to be safe in a program that has
    // more rights than its caller.
    if (has_more_rights())
        return "";
    if (const char* const named = environment("PLINTH_DESKTOP"); named && *named)
        return std::string(named) == "none" ? "" : named;
    LoadedModule self;
    if (!module_at(reinterpret_cast<uintptr_t>(&desktop_host), self))
        return "";
    std::string path = self.path;
    path.resize(path.rfind('/') + 1); // without a folder, the loader searches
    path += file_name;
    return sys::access(path.c_str(), R_OK) == 0 ? path : "";
}

void load()
{
    const std::string path = plug_in_path();
    if (path.empty())
        return;
    const unsigned displays = reachable_displays();
    if (displays == 0)
        return;
    void* const module = sys::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto* const start = module ? reinterpret_cast<PlinthDesktopStartFunction*>(
                                     sys::dlsym(module, "PlinthDesktopStart"))
                               : nullptr;
    if (!start)
    {
        const char* const why = dlerror();
        report("no windows, since their plug-in can't be loaded: " + (why ? why : path));
        return;
    }
    const PlinthDesktop* const desktop = start(&desktop_host, displays);
    if (desktop && desktop->size == sizeof(PlinthDesktop))
        attach_desktop(*desktop);
    else
        report("no windows, since " + path + " can't show them here");
}

// A thread's objects are destroyed before the functions registered for the end of the process run.
struct FirstThreadEnd
{
    ~FirstThreadEnd()
    {
        if (const PlinthDesktop* const told = desktop(); told && told->process_ends)
            told->process_ends();
    }
    void begin() {} // only an object that is used is destroyed
};
thread_local FirstThreadEnd t_first_thread_end;

// Runs on the thread that loads the stand-in: the main thread, in a program that is linked to it.
[[gnu::constructor]] void watch_first_thread()
{
    t_first_thread_end.begin();
}

} // namespace

void load_desktop()
{
    static std::once_flag once;
    const DWORD error = GetLastError();
    try
    {
        std::call_once(once,
                       []
                       {
                           if (!desktop()) // a test may have attached its own
                               load();
                       });
    }
    catch (const std::bad_alloc&)
    {
        // The flag stays unset, so the next window tries again.
        std::fputs("plinth: no windows, since memory is short\n", stderr);
    }
    SetLastError(error);
}

} // namespace platform

extern "C" BOOL WINAPI PlinthHasDesktop(void)
{
    platform::load_desktop();
    return platform::desktop() != nullptr;
}
