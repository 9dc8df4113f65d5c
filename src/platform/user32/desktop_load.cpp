// Finding and loading the plug-in: PLINTH_DESKTOP names its file, or says "none"; else it is in a
// private folder beside the stand-in's own file, in a build as after installing. The folder has the
// version of the interface in its name: a stand-in never loads the plug-in of another version that
// is installed at the same time. It stays loaded.
//
// A plug-in that isn't there is no fault: the user interface library is optional. One that is there
// and can't be used is told of on standard error, since its user would wait for windows in vain.
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

// Empty if none is to be loaded.
std::string plug_in_path()
{
    // The user interface library takes far too much from its environment to have more rights.
    if (has_more_rights())
        return "";
    if (const char* const named = environment("PLINTH_DESKTOP"); named && *named)
        return std::string(named) == "none" ? "" : named;
    LoadedModule self;
    if (!module_at(reinterpret_cast<uintptr_t>(&desktop_host), self))
        return "";
    std::string path = self.path;
    path.resize(path.rfind('/') + 1); // a name without a folder leaves the loader to search
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

// What belongs to a thread is destroyed ahead of what was registered for the end of the process.
struct FirstThreadEnd
{
    ~FirstThreadEnd()
    {
        if (const PlinthDesktop* const told = desktop(); told && told->process_ends)
            told->process_ends();
    }
    void begin() {} // by being used: only then it is destroyed
};
thread_local FirstThreadEnd t_first_thread_end;

// On the thread that loads the stand-in: the main thread, of a program that is linked to it.
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
                           if (!desktop()) // or a test stands in its place
                               load();
                       });
    }
    catch (const std::bad_alloc&)
    {
        // The flag stays unset: the next window tries again.
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
