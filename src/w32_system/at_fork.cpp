#include "at_fork.h"

#include <cstddef>
#include <new>

#include <plinth_w32_pthreadVC.h>

#include "frame.h"

namespace
{

constexpr size_t step_count = static_cast<size_t>(QvForkStep::count);
constinit QvForkActions s_actions[step_count]; // written only by static initialisers
constinit std::atomic<uint32_t> s_forks{0};
pthread_mutex_t s_turn = PTHREAD_MUTEX_INITIALIZER; // one fork at a time; before all other locks
constinit bool s_active = false; // guarded by s_turn; false for a fork after the library's end

[[maybe_unused]] void Prepare()
{
    pthread_mutex_lock(&s_turn);
    s_active = !QvIsTornDown();
    for (const QvForkActions& each : s_actions)
        if (s_active && each.take)
            each.take();
}

void Release()
{
    for (size_t i = step_count; i > 0; --i)
        if (s_active && s_actions[i - 1].release)
            s_actions[i - 1].release();
}

[[maybe_unused]] void GoOnInParent()
{
    Release();
    pthread_mutex_unlock(&s_turn);
}

[[maybe_unused]] void GoOnInChild()
{
    s_forks.fetch_add(1, std::memory_order_relaxed);
    Release();
    for (const QvForkActions& each : s_actions)
        if (s_active && each.renew)
            each.renew();
    pthread_mutex_unlock(&s_turn);
}

// Unloading the library removes these handlers.
[[maybe_unused]] const int s_registered = pthread_atfork(Prepare, GoOnInParent, GoOnInChild);

} // namespace

QvAtFork::QvAtFork(QvForkStep step, const QvForkActions& actions)
{
    s_actions[static_cast<size_t>(step)] = actions;
}

uint32_t QvForkCount()
{
    return s_forks.load(std::memory_order_relaxed);
}

void QvLeaveToParent(void* memory)
{
    struct Left
    {
        void* memory;
        Left* next;
    };
    static constinit Left* s_first = nullptr; // the child has one thread
    if (auto* const left = new (std::nothrow) Left{memory, s_first})
        s_first = left;
}
