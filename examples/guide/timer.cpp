// A timer: a function that is called every 5 ms, ten times.
#include <atomic>
#include <cstdio>

#include <plinth_w32_system.h>

namespace
{

int tick(void* data)
{
    ++*static_cast<std::atomic<int>*>(data);
    return 1; // continue; 0 would end the timer
}

} // namespace

int main()
{
    std::atomic<int> ticks = 0;
    const uintptr_t id = QV_SetThreadedTimer(tick, &ticks, 5.0, 10, QV_PRECISION_SLEEP, 1);
    if (id == 0)
        return 1;
    // It ends by itself here; QV_KillTimerAsync would end it earlier. Objects that the callback
    // uses may be destroyed after the wait, not before.
    QV_WaitForTimer(static_cast<unsigned int>(id));
    std::printf("%d ticks\n", ticks.load());
    return 0;
}
