// The stand-in's test interface: faults and time.
//
// It exists on Linux, in builds with the option PLINTH_TEST_INTERFACE. Nothing that is shipped is
// built with it. Inert unless armed: until the first call of a Plinth...Arm or ...Fail function
// below, it costs each operation of the stand-in one relaxed load.
//
// Operations have names. A Linux call has the name of the call ("open", "write", "fcntl", "mmap",
// "rename", "pthread_create", ...; src/platform/system/calls.h has the list) and fails with an
// errno. An operation of the Windows interface that makes no Linux call, or whose failure a test
// wants separately, has the name of the function ("QueryPerformanceFrequency",
// "SetSecurityDescriptorDacl", ...) and fails with a system error, in that function's own way of
// failing.
//
// All functions may be called from any thread; a fault applies to the calls of all threads.
#ifndef PLINTH_PLATFORM_TEST_H
#define PLINTH_PLATFORM_TEST_H

#include <stdint.h>

#include "windef.h"

#ifdef __cplusplus
extern "C"
{
#endif

    // Makes calls nth, nth + 1, ... nth + count - 1 of the operation fail with the error, counted
    // from 1 at this call. A count of 0 means all from nth on. Faults accumulate until
    // PlinthTestReset.
    PLINTH_PLATFORM_API void PlinthTestFail(const char* operation, unsigned nth, unsigned count,
                                            int error);

    // The same, but the calls move at most the given number of bytes (read, write, pread, pwrite).
    PLINTH_PLATFORM_API void PlinthTestShorten(const char* operation, unsigned nth, unsigned count,
                                               size_t bytes);

    // Calls the function before the nth call of the operation, on the calling thread, so that a
    // test can stop, kill or fork the process at that very moment.
    PLINTH_PLATFORM_API void PlinthTestBefore(const char* operation, unsigned nth,
                                              void (*act)(void));

    // Makes the nth Linux call of any name fail, and the count - 1 after it, for sweeps. With
    // EINTR, calls that restart after a signal do so here, and count again.
    PLINTH_PLATFORM_API void PlinthTestFailAny(unsigned nth, unsigned count, int error);

    // Starts counting calls without any fault.
    PLINTH_PLATFORM_API void PlinthTestArm(void);

    // The calls of an operation since arming; of all Linux calls with a null name.
    PLINTH_PLATFORM_API unsigned PlinthTestCalls(const char* operation);

    // The names of the operations that were called since arming, by position in alphabetical order;
    // null after the last. The text lives as long as the process.
    PLINTH_PLATFORM_API const char* PlinthTestOperation(unsigned position);

    // The operation that met the first fault since arming, null if none has met one. The text lives
    // as long as the process.
    PLINTH_PLATFORM_API const char* PlinthTestFaultMet(void);

    // Adds milliseconds to the wall clock (system and local time, but not the file times of new
    // files).
    PLINTH_PLATFORM_API void PlinthTestShiftWallClock(int64_t milliseconds);

    // Holds the 32-bit millisecond tick (timeGetTime) at the value, so that differences of ticks
    // are set by the test and don't depend on the machine's speed.
    PLINTH_PLATFORM_API void PlinthTestSetTick(uint32_t tick);

    // Adds milliseconds to the clock that limits waits for other processes (gates, the registry).
    PLINTH_PLATFORM_API void PlinthTestShiftPatience(int64_t milliseconds);

    // The longest time that a text of the debug string channel may cost its writer in this process;
    // 0: the usual 500 ms. With more, no text is lost because the machine is too busy to run the
    // listener.
    PLINTH_PLATFORM_API void PlinthTestSetChannelPatience(uint32_t milliseconds);

    // How often a fork of this process looks whether loads of modules and look-ups have ended,
    // until it goes on without; 0: as usual. With more, no child hangs because the machine is too
    // busy.
    PLINTH_PLATFORM_API void PlinthTestSetForkLooks(uint32_t looks);

    // Makes the files in which the kernel tells its figures (/proc, /sys) come from below a folder,
    // native path; null for the real ones.
    PLINTH_PLATFORM_API void PlinthTestSetKernelRoot(const char* folder);

    // Removes all faults, shifts and the kernel root, and stops counting.
    PLINTH_PLATFORM_API void PlinthTestReset(void);

    // How many handles of the stand-in are open in this process.
    PLINTH_PLATFORM_API unsigned PlinthTestHandles(void);

    // The folder of this process's shared named objects, UTF-8; the text lives as long as the
    // process.
    PLINTH_PLATFORM_API const char* PlinthTestSharedFolder(void);

#ifdef __cplusplus
}
#endif

#endif
