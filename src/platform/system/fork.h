// What the stand-in does when a process forks: one list of its locks, in their order, and of the
// state that a child makes anew.
//
// The child of a fork has only the forking thread. A lock that another thread held would stay held
// for ever there, and its table half changed. So the forking thread takes the short locks before
// the fork, in the order in which they may be held together, and releases them in both processes. A
// lock that is held during a wait for another process, or during a callback, is not taken: the
// child makes it and all that it guards anew; the old ones belong to the parent.
//
// vfork and posix_spawn run none of this; their children call nothing of the stand-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace platform
{

// The steps of a fork, in the order of their locks: a thread that holds one takes only later ones.
// A step that takes no lock has its place by what it makes anew.
enum class ForkStep : unsigned
{
    gates,
    threads, // other steps need the thread's id, which is different in the child
    exit_process,
    console_control,
    desktop,
    message_box,
    shutdown_reasons,
    session_settings,
    awake,
    symbols,
    timer_events,
    timer_periods,
    window_classes,
    list_models,
    message_queues,
    windows,
    resource_updates,
    modules,
    module_files,
    loader_list,
    registry_keys,
    hives,
    mapped_views,
    mapped_files,
    file_ranges,
    handles,
    sockets,
    locale,
    local_time,
    debug_channel,
    faults,
    count
};

// The actions of a step; each may be null.
struct ForkActions
{
    void (*take)() = nullptr;    // before the fork
    void (*release)() = nullptr; // after it, in the parent and in the child
    void (*renew)() = nullptr;   // in the child, when all steps have released
};

// Registers the actions of a step: an object of static storage in the file that has the lock.
class AtFork
{
public:
    AtFork(ForkStep step, const ForkActions& actions);
};

// For a lock that is taken before the fork. lock: returns the lock, and is called at each use.
template <std::mutex& (*lock)()> constexpr ForkActions taken_at_fork(void (*renew)() = nullptr)
{
    return {[] { lock().lock(); }, [] { lock().unlock(); }, renew};
}

// For memory that belongs to the parent, or that holds descriptors which the program has closed: it
// is never used again, but stays reachable for a leak checker. Nothing in it is destroyed: a thread
// of the parent may have been using it, or the numbers belong to other files now.
void leave_to_parent(void* memory);

// An object that is made at its first use, never destroyed, and made anew in a forked child. Any
// thread may get it, also after a fork in the middle of its making.
template <class T> class OfProcess
{
public:
    T& get()
    {
        T* found = m_object.load(std::memory_order_acquire);
        if (found) [[likely]]
            return *found;
        T* const made = new T;
        if (m_object.compare_exchange_strong(found, made, std::memory_order_acq_rel))
            return *made;
        delete made;
        return *found;
    }
    bool is(const T& object) const { return m_object.load() == &object; }
    // For the child. Returns the former object, or null; it belongs to the parent.
    T* renew()
    {
        T* const former = m_object.exchange(nullptr);
        if (former)
            leave_to_parent(former);
        return former;
    }

private:
    std::atomic<T*> m_object{nullptr};
};

} // namespace platform
