// Critical sections: recursive locks on a futex word, without a system call while no thread waits.
//
// LockCount is 0 when free, 1 when taken, 2 when taken and a thread may wait. Owner and recursion
// count are written by the owner alone; other threads read the owner only to learn that they aren't
// it.
#include <atomic>

#include "kernel32/object/event_state.h"
#include "system/calls.h"
#include "system/lock_wait.h"
#include "windows.h"

using namespace platform;

namespace
{

using Word = std::atomic_ref<LONG>;

Word word_of(CRITICAL_SECTION* section)
{
    return Word(section->LockCount);
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
bool enter_again(CRITICAL_SECTION* section, HANDLE thread)
{
    if (owner_of(section).load(std::memory_order_relaxed) != thread)
        return false;
    ++section->RecursionCount;
    return true;
}

void take_over(CRITICAL_SECTION* section, HANDLE thread)
{
    owner_of(section).store(thread, std::memory_order_relaxed);
    section->RecursionCount = 1;
}

bool try_lock(Word word)
{
    LONG expected = 0;
    return word.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                        std::memory_order_relaxed);
}

void lock_slowly(CRITICAL_SECTION* section)
{
    const Word word = word_of(section);
    const auto attempt = [word]
    { return word.load(std::memory_order_relaxed) == 0 && try_lock(word); };
    if (taken_by_looking(attempt, sys::sched_yield))
        return;
    while (word.exchange(2, std::memory_order_acquire) != 0)
        futex_wait(&section->LockCount, 2, -1, false);
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
    const HANDLE thread = self();
    if (enter_again(section, thread))
        return;
    if (!try_lock(word_of(section)))
        lock_slowly(section);
    take_over(section, thread);
}

extern "C" BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section)
{
    const HANDLE thread = self();
    if (enter_again(section, thread))
        return TRUE;
    if (!try_lock(word_of(section)))
        return FALSE;
    take_over(section, thread);
    return TRUE;
}

extern "C" void LeaveCriticalSection(LPCRITICAL_SECTION section)
{
    if (--section->RecursionCount > 0)
        return;
    owner_of(section).store(nullptr, std::memory_order_relaxed);
    if (word_of(section).exchange(0, std::memory_order_release) == 2)
        futex_wake(&section->LockCount, 1, false);
}
