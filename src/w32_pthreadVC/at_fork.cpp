#include "at_fork.h"

#include "plinth_w32_pthreadVC.h"

#if !defined(_WIN32)

namespace
{

void GoOnInChild()
{
    UnlockFreeList();
    ForgetEndingThreads();
}

[[maybe_unused]] const int s_registered = pthread_atfork(LockFreeList, UnlockFreeList, GoOnInChild);

} // namespace

#endif
