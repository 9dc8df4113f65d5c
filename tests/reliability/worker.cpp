// One run of the session with at most one fault: load the library, the session, the session once
// more without a fault, unload.
//
//     plinth_fault_worker SECONDS none
//     plinth_fault_worker SECONDS any NTH COUNT ERRNO           see PlinthTestFailAny
//     plinth_fault_worker SECONDS fail NAME NTH COUNT ERROR     PlinthTestFail
//     plinth_fault_worker SECONDS shorten NAME NTH COUNT BYTES  PlinthTestShorten
//     plinth_fault_worker SECONDS memory NTH COUNT              the library's NTH operator new;
//                                                               all from it on if COUNT is 0
//
// fault_sweep.py runs it under plinth_test_launcher and reads the lines of its standard output:
// "calls N", "allocations N" and "operation NAME COUNT" (in the run without a fault), "met NAME"
// (the call that failed), "finding TEXT", "descriptor TARGET" and "file NAME" (open descriptors,
// and files in the folder of the machine, at the end), "done". A signal ends it if it takes longer
// than the seconds.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <unistd.h>

#include <plinth_platform_test.h>

#include "failing_memory.h"

// For the leak checker. Locks that are made at their first use are never destroyed: each load of
// the library leaves its own. A thread that is terminated by another thread never frees the records
// of its thread-local objects' destructors.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:TakeMemory\nleak:__cxa_thread_atexit_impl\n";
}

namespace
{

namespace fs = std::filesystem;

bool g_found = false;
bool g_stays = false; // the fault lasts, so files that couldn't be removed may stay

void finding(const char* text)
{
    g_found = true;
    std::printf("finding %s\n", text);
}

void arm(char** plan)
{
    const std::string kind = plan[0];
    const auto number = [plan](int at) { return static_cast<unsigned>(std::atoi(plan[at])); };
    PlinthTestArm();
    g_stays = kind == "any" && number(2) == 0;
    failing_memory::arm(kind == "memory" ? number(1) : 0, kind == "memory" && number(2) == 0);
    if (kind == "any")
        PlinthTestFailAny(number(1), number(2), std::atoi(plan[3]));
    else if (kind == "fail")
        PlinthTestFail(plan[1], number(2), number(3), std::atoi(plan[4]));
    else if (kind == "shorten")
        PlinthTestShorten(plan[1], number(2), number(3), number(4));
}

// The library with the session.
class Loaded
{
public:
    Loaded() : m_module(dlopen(PLINTH_SWEEP_SESSION, RTLD_NOW | RTLD_LOCAL))
    {
        if (!m_module)
            finding(dlerror());
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    ~Loaded()
    {
        if (m_module && dlclose(m_module) != 0)
            finding("the library can't be unloaded");
    }

    // In a thread of its own: at its end its thread-local objects are destroyed, so that the
    // library can be unloaded.
    void run(const std::string& name, bool strict)
    {
        const std::string folder = std::string(std::getenv("PLINTH_ROOT")) + "/session";
        fs::create_directories(folder);
        fs::current_path("/"); // a session whose calls fail may not change back to its first folder
        using RunSession = void (*)(const char*, bool, void (*)(const char*));
        if (m_module)
            std::thread(reinterpret_cast<RunSession>(dlsym(m_module, "sweep_session")),
                        folder.c_str(), strict, finding)
                .join();
        // Files with names of the session's own may stay after a fault; no others.
        static const std::set<std::string> own = {"file",   "copy",   "moved",  "backup", "tree",
                                                  "moving", "copied", "module", "data",   "out"};
        if (strict || !g_stays)
            for (const auto& entry : fs::directory_iterator(folder))
                if (const std::string file = entry.path().filename(); !own.contains(file))
                    finding(("a file stayed after the " + name + ": " + file).c_str());
        fs::remove_all(folder);
    }

private:
    void* m_module;
};

void tell_leftovers()
{
    for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone; // the descriptor of the iteration itself
        const std::string target = fs::read_symlink(entry, gone);
        if (!gone)
            std::printf("descriptor %s\n", target.c_str());
    }
    for (const char* const folder :
         {static_cast<const char*>(std::getenv("PLINTH_ROOT")), PlinthTestSharedFolder()})
        if (fs::exists(folder))
            for (const auto& entry : fs::recursive_directory_iterator(folder))
                std::printf("file %s\n", entry.path().c_str());
    for (unsigned i = PlinthTestHandles(); i > 0; --i)
        std::puts("descriptor handle"); // a handle of the stand-in
}

bool told_where()
{
    const char* met = PlinthTestFaultMet();
    if (!met)
        met = failing_memory::g_met;
    if (const char* const taker = failing_memory::g_left)
        finding((std::string("an exception of the stand-in came to ") + taker).c_str());
    if (met)
        std::printf("met %s\n", met);
    return met != nullptr;
}

void sweep(char** plan)
{
    arm(plan);
    {
        Loaded library;
        library.run("session", false);
        if (told_where())
        {
            failing_memory::disarm();
            PlinthTestReset();
            return library.run("second session", true);
        }
    }
    // The fault comes at unloading, or not at all.
    told_where();
    failing_memory::disarm();
    std::printf("calls %u\n", PlinthTestCalls(nullptr));
    std::printf("allocations %u\n", failing_memory::g_calls.load());
    for (unsigned i = 0; const char* const name = PlinthTestOperation(i); ++i)
        std::printf("operation %s %u\n", name, PlinthTestCalls(name));
    PlinthTestReset();
    Loaded().run("second session", true);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3 || !std::getenv("PLINTH_TEST_ROOT"))
    {
        std::fprintf(stderr, "Run by fault_sweep.py, under plinth_test_launcher.\n");
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    // The library finds no program or bus of the desktop, whatever the machine has.
    setenv("PATH", "/nowhere", 1);
    for (const char* const bus : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
        setenv(bus, "unix:path=/nowhere", 1);
    alarm(static_cast<unsigned>(std::atoi(argv[1])));
    sweep(argv + 2);
    tell_leftovers();
    std::puts("done");
    return g_found;
}
