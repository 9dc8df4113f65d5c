// A thread that the library starts and that uses the library's code and objects: its start and its
// end, also while the library is being unloaded.
//
// The thread that unloads holds the loader's lock. Another thread needs that lock to begin and to
// end, so waiting for either would last for ever. Each thread therefore tells how far it is. One
// that hasn't begun is refused and terminated. One that has left the library's code is terminated.
// One that still runs terminates itself as its last act, which takes no lock. Whoever then sees the
// thread's end knows that it is in no code of the library any more. (A reference to the module is
// no help: taking one needs the same lock, and one that was taken earlier would keep the library
// loaded.)
//
// What it costs: a thread that is terminated never frees what the C run-time keeps for it, some
// hundred bytes (Windows itself frees its stack). That is lost once for each thread that is there
// when the library is unloaded, and at no other time.
#pragma once

#include <atomic>
#include <cstdint>

#include <windows.h>

// How far a thread is: 0 until it has begun, then private to own_thread.cpp. It outlives the
// thread, and belongs to whoever ends the thread.
using QvThreadStage = std::atomic<uint32_t>;

// Null if the system has no thread. procedure: calls QvBeginThread first and QvLeaveThread last.
HANDLE QvStartThread(unsigned(__stdcall* procedure)(void*), void* argument, uint32_t& id,
                     QvThreadStage& stage);

// False: the thread must do nothing but QvLeaveThread and return.
bool QvBeginThread(QvThreadStage& stage);

// From another thread. False if the thread has begun. Otherwise it never will.
bool QvRefuseThread(QvThreadStage& stage);

// The last call of such a thread: nothing of it may be left but to return. Doesn't return while the
// library is being unloaded.
void QvLeaveThread(QvThreadStage& stage);

// Waits at most so many milliseconds for a thread that was asked to end, then terminates it, and
// closes the handle. The thread uses what it was given until it has ended, and a termination only
// starts the end: that is waited for too, for a second at most. While the library is being unloaded
// a thread that has not begun, or has left the library's code, has 200 ms: it may need the loader's
// lock, which it won't get, or only some instructions more.
void QvEndThread(HANDLE thread, QvThreadStage& stage, DWORD limit, DWORD exitCode);
