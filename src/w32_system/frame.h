// What the parts of the library share about its load and unload.
#pragma once

#include <plinth_w32_pthreadVC.h>

#include "plinth_w32_system.h"

// Guards the worker registry of the asynchronous file I/O. Created at attach, destroyed at detach.
extern pthread_mutexCS_t gs_moduleLock;

// True from the first moment of the detach: the library's threads can no longer begin, or end in
// the usual way (see own_thread.h), while its objects still exist.
bool QvIsDetaching();
void QvBeginDetach();

// True once the tear-down of the library's own objects has begun. Entries that other threads call
// after that do nothing.
bool QvIsTornDown();

// The one stack of tear-downs. Every object, built by a static initialiser or at its first use,
// pushes its own tear-down; after the detach they run, the last pushed first. The caller keeps the
// entry in static storage, so pushing can't fail.
struct QvTearDown
{
    void (*run)() = nullptr;
    QvTearDown* below = nullptr;
};
void QvPushTearDown(QvTearDown& entry, void (*run)());
void QvRunTearDowns();
