// The plain lock at a moment that a test can reach only by replacing a call of the C library.
#include <dlfcn.h>

#include "support/test.h"

#include <plinth_w32_pthreadVC.h>

namespace
{

void (*g_before_trying)() = nullptr; // called once
pthread_mutexCS_t g_destroyed = nullptr;

TEST(MutexCSAtItsEnd, IsNotTakenByATryThatBeganBefore)
{
    ASSERT_EQ(pthread_mutexCS_init(&g_destroyed, nullptr), 0);
    g_before_trying = [] { EXPECT_EQ(pthread_mutexCS_destroy(&g_destroyed), 0); };
    EXPECT_EQ(pthread_mutexCS_trylock(&g_destroyed), EINVAL);
    pthread_mutexCS_t next = nullptr; // gets the destroyed lock's memory
    ASSERT_EQ(pthread_mutexCS_init(&next, nullptr), 0);
    EXPECT_EQ(pthread_mutexCS_trylock(&next), 0) << "nobody holds it";
    EXPECT_EQ(pthread_mutexCS_unlock(&next), 0);
    EXPECT_EQ(pthread_mutexCS_destroy(&next), 0);
}

} // namespace

// Replaces the C library's function, so that a test can act just before it.
extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    if (void (*const before)() = std::exchange(g_before_trying, nullptr))
        before();
    static const auto real =
        reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
    return real(mutex);
}
