// Critical sections: recursive locks on a futex word, without a system call while nobody waits.
//
// LockCount is 0 when free, 1 when taken, 2 when taken and somebody may wait. Owner and recursion
// count are written by the owner alone; others read the owner only to learn that it isn't them.
#include <atomic>

#include "event_state.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr int spins = 100;

std::atomic<uint32_t>& word_of(CRITICAL_SECTION* section)
{
    static_assert(sizeof(std::atomic<uint32_t>) == sizeof section->LockCount);
    return reinterpret_cast<std::atomic<uint32_t>&>(section->LockCount);
}

std::atomic_ref<HANDLE> owner_of(CRITICAL_SECTION* section)
{
    return std::atomic_ref<HANDLE>(section->OwningThread);
}

HANDLE self()
{
    return reinterpret_cast<HANDLE>(uintptr_t{GetCurrentThreadId()});
}

// True if this thread has the lock already.
bool enter_again(CRITICAL_SECTION* section)
{
    if (owner_of(section).load(std::memory_order_relaxed) != self())
        return false;
    ++section->RecursionCount;
    return true;
}

void take_over(CRITICAL_SECTION* section)
{
    owner_of(section).store(self(), std::memory_order_relaxed);
    section->RecursionCount = 1;
}

bool try_lock(std::atomic<uint32_t>& word)
{
    uint32_t expected = 0;
    return word.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                        std::memory_order_relaxed);
}

void lock_slowly(std::atomic<uint32_t>& word)
{
    for (int i = 0; i < spins; ++i)
        if (word.load(std::memory_order_relaxed) == 0 && try_lock(word))
            return;
    while (word.exchange(2, std::memory_order_acquire) != 0)
        futex_wait(word, 2, -1, false);
}

} // namespace

extern "C" void InitializeCriticalSection(LPCRITICAL_SECTION section)
{
    *section = {};
}

// Nothing is held outside the structure, so entering a deleted section is harmless.
extern "C" void DeleteCriticalSection(LPCRITICAL_SECTION section)
{
    owner_of(section).store(nullptr, std::memory_order_relaxed);
}

extern "C" void EnterCriticalSection(LPCRITICAL_SECTION section)
{
    if (enter_again(section))
        return;
    if (!try_lock(word_of(section)))
        lock_slowly(word_of(section));
    take_over(section);
}

extern "C" BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section)
{
    if (enter_again(section))
        return TRUE;
    if (!try_lock(word_of(section)))
        return FALSE;
    take_over(section);
    return TRUE;
}

extern "C" void LeaveCriticalSection(LPCRITICAL_SECTION section)
{
    if (--section->RecursionCount > 0)
        return;
    owner_of(section).store(nullptr, std::memory_order_relaxed);
    if (word_of(section).exchange(0, std::memory_order_release) == 2)
        futex_wake(word_of(section), 1, false);
}
