// What the stand-in does when a process forks: the one list of its locks, in their order, and what
// a child makes anew.
//
// The child of a fork has the forking thread alone. A lock that another thread held then would stay
// held for good, and its table half changed. So the forking thread takes the short locks before the
// fork, in the order in which they may be held together, and gives them back on both sides. A lock
// that is held over a wait for another process, or during a callback, is not taken: the child makes
// it anew with all that it guards, which belongs to the parent.
//
// vfork and posix_spawn run none of this; their children call nothing of the stand-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace platform
{

// The steps of a fork, in the order of their locks: a thread that holds one takes later ones only.
// A step without a lock that is taken has its place by what it makes anew.
enum class ForkStep : unsigned
{
    gates,
    threads, // the others ask for the thread's id, which is another one in the child
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

// What a step does; each may be null.
struct ForkActions
{
    void (*take)() = nullptr;    // before the fork
    void (*release)() = nullptr; // after it, in the parent and in the child
    void (*renew)() = nullptr;   // in the child, when all steps have released
};

// Registers what a step does: an object of static storage in the file that has the lock.
class AtFork
{
public:
    AtFork(ForkStep step, const ForkActions& actions);
};

// For a lock that is taken before the fork. lock: returns it, and is called once for each use.
template <std::mutex& (*lock)()> constexpr ForkActions taken_at_fork(void (*renew)() = nullptr)
{
    return {[] { lock().lock(); }, [] { lock().unlock(); }, renew};
}

// For what belongs to the parent: keeps the memory, which is never used again, in reach of a leak
// checker. Nothing in it is destroyed: a thread that isn't here may have been at it.
void leave_to_parent(void* memory);

// An object that is made at its first use, never destroyed, and made anew in a forked child. Any
// thread may ask for it, also after a fork in the middle of its making.
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
    // In the child. The former one, or null; it belongs to the parent.
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
