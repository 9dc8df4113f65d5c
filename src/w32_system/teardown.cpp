// The stack of tear-downs.
//
// Ordinary static objects won't do: on some systems their destructors run before the library's
// detach, on others after it. So the library's objects are in storage that the run-time doesn't
// destroy, and each object registers its own clean-up.
#include <atomic>

#include "frame.h"

namespace
{

// Static initialisers push on one thread, first uses push under the trace lock; a lock-free push
// serves both.
constinit std::atomic<QvTearDown*> s_top{nullptr};
constinit std::atomic<bool> s_detaching{false};
constinit std::atomic<bool> s_tornDown{false};

} // namespace

// Sequentially consistent (the default order), so that all threads see this flag and the threads'
// stages change in one order.
bool QvIsDetaching()
{
    return s_detaching;
}

void QvBeginDetach()
{
    s_detaching = true;
}

bool QvIsTornDown()
{
    return s_tornDown.load(std::memory_order_acquire);
}

void QvPushTearDown(QvTearDown& entry, void (*run)())
{
    entry.run = run;
    entry.below = s_top.load(std::memory_order_relaxed);
    while (!s_top.compare_exchange_weak(entry.below, &entry, std::memory_order_release,
                                        std::memory_order_relaxed))
    {
    }
}

void QvRunTearDowns()
{
    s_tornDown.store(true, std::memory_order_release);
    while (QvTearDown* const entry = s_top.load(std::memory_order_acquire))
    {
        s_top.store(entry->below, std::memory_order_relaxed);
        entry->run();
    }
}
