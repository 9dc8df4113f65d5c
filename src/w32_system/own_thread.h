// A thread that the library starts and that uses the library's code and objects: its start and its
// end, also while the library is being unloaded.
//
// The unloading thread holds the loader's lock. Another thread needs that lock to begin and to end,
// so waiting for either would last for ever. Each thread therefore records its stage. A thread that
// hasn't begun is refused and terminated. A thread that has left the library's code is terminated.
// A thread that still runs terminates itself as its last act, which takes no lock. When the
// unloading thread then sees a thread's end, that thread is no longer in the library's code. (A
// reference to the module does not help: taking one needs the same lock, and one that was taken
// earlier would keep the library loaded.)
//
// The cost: a terminated thread never frees what the C run-time keeps for it, some hundred bytes
// (Windows itself frees its stack). That is lost once for each thread that exists when the library
// is unloaded, and at no other time.
#pragma once

#include <atomic>
#include <cstdint>

#include <windows.h>

// The stage of a thread: 0 until it has begun, then private to own_thread.cpp. It outlives the
// thread and belongs to the caller that ends the thread.
using QvThreadStage = std::atomic<uint32_t>;

// Null if the system refuses a thread. procedure: calls QvBeginThread first and QvLeaveThread last.
HANDLE QvStartThread(unsigned(__stdcall* procedure)(void*), void* argument, uint32_t& id,
                     QvThreadStage& stage);

// False: the thread must only call QvLeaveThread and return.
bool QvBeginThread(QvThreadStage& stage);

// Called from another thread. False if the thread has begun; otherwise it never will.
bool QvRefuseThread(QvThreadStage& stage);

// The last call of such a thread: after it the thread may only return. Doesn't return while the
// library is being unloaded.
void QvLeaveThread(QvThreadStage& stage);

// Waits at most limit milliseconds. False if the thread may still run. If the wait fails, asks for
// the thread's exit code instead.
bool QvAwaitThreadEnd(HANDLE thread, DWORD limit);

// Waits at most limit milliseconds for a thread that was asked to end, then terminates it, and
// closes the handle. The thread uses its argument until it has ended, and a termination only starts
// the end: so that is waited for too, for at most one second. While the library is being unloaded,
// a thread that has not begun or has left the library's code gets at most 200 ms: it either waits
// for the loader's lock, which it won't get, or has only a few instructions left.
void QvEndThread(HANDLE thread, QvThreadStage& stage, DWORD limit, DWORD exitCode);
