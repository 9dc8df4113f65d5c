// The objects that the library's static initialisers build, and their order.
//
// The priorities below set the order, smaller first. All objects are built before the load entry
// runs as attach, and torn down after its detach, the last built first.
#pragma once

#include <new>
#include <utility>

#include "frame.h"

#define QV_PRIORITY_WORKER_REGISTRY 201
#define QV_PRIORITY_SYMBOL_ENGINE 202
#define QV_PRIORITY_DEBUG_FRAMEWORK 203
#define QV_PRIORITY_TRACE_LOCK 204
#define QV_PRIORITY_TIMER_MAP 205

// Builds an object in storage of its own and pushes its tear-down. T is built without arguments.
// The storage is a static member, so each Tag has its own.
template <class T, class Tag> class QvStaticObject
{
public:
    QvStaticObject()
    {
        ::new (static_cast<void*>(s_storage)) T();
        QvPushTearDown(s_tearDown, [] { Get().~T(); });
    }
    static T& Get() { return *std::launder(reinterpret_cast<T*>(s_storage)); }

private:
    alignas(T) static inline unsigned char s_storage[sizeof(T)];
    static inline QvTearDown s_tearDown;
};
