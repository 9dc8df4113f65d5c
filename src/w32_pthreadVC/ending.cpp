// The last instructions of detached threads.
//
// A thread that has announced its end still has to return through the code that it ran. After that
// return the system calls the destructor of thread-specific data. Ours is in this module, which
// stays in the process.
#include <atomic>
#include <cstdint>

#include "at_fork.h"
#include "plinth_w32_pthreadVC.h"

namespace
{

constexpr timespec poll_interval = {0, 1'000'000};

std::atomic<uint32_t> s_ending{0};
pthread_once_t s_once = PTHREAD_ONCE_INIT;
pthread_key_t s_key;
bool s_hasKey = false;

void HasEnded(void*)
{
    s_ending.fetch_sub(1, std::memory_order_release);
}

void MakeKey()
{
    s_hasKey = pthread_key_create(&s_key, HasEnded) == 0;
}

} // namespace

void ForgetEndingThreads()
{
    s_ending = 0;
}

extern "C" void pthread_ending_np()
{
    pthread_once(&s_once, MakeKey);
    if (!s_hasKey)
        return;
    s_ending.fetch_add(1, std::memory_order_relaxed);
    if (pthread_setspecific(s_key, &s_ending) != 0)
        HasEnded(nullptr);
}

extern "C" void pthread_await_ending_np()
{
    while (s_ending.load(std::memory_order_acquire) != 0)
        pthread_delay_np(&poll_interval);
}
