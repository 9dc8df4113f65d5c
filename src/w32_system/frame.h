// What the parts of the library share about its load and unload.
#pragma once

#include <plinth_w32_pthreadVC.h>

#include "plinth_w32_system.h"

// Guards the worker registry of the asynchronous file I/O. Made at process attach, ended at detach.
extern pthread_mutexCS_t gs_moduleLock;

// True from the first moment of the detach on: the library's threads can no longer begin, or end in
// the usual way (see own_thread.h), while its objects are still there.
bool QvIsDetaching();
void QvBeginDetach();

// True from the moment on at which the library's own objects are being torn down. Entries that are
// called after that by threads that still run do nothing.
bool QvIsTornDown();

// The one stack of tear-downs. What is built, by a static initialiser or at its first use, pushes
// its own tear-down; they run last pushed first, after the detach. The caller keeps the entry, in
// static storage, so that pushing can't fail.
struct QvTearDown
{
    void (*run)() = nullptr;
    QvTearDown* below = nullptr;
};
void QvPushTearDown(QvTearDown& entry, void (*run)());
void QvRunTearDowns();
