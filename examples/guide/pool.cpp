// A pool of threads: calls run at once, on threads that are kept for the next calls.
#include <cstdio>

#include <plinth_w32_system.h>

namespace
{

struct Sum
{
    int from;
    int to;
    long long result;
};

void* add_up(void* argument)
{
    Sum& sum = *static_cast<Sum*>(argument);
    for (int i = sum.from; i < sum.to; ++i)
        sum.result += i;
    return nullptr;
}

} // namespace

int main()
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    if (!pool)
        return 1;
    Sum parts[4] = {{0, 250, 0}, {250, 500, 0}, {500, 750, 0}, {750, 1000, 0}};
    for (Sum& part : parts)
    {
        if (pool->MakeCallFromThreadPool(add_up, &part) != QV_OK)
            add_up(&part); // there is no free thread, and nothing was called
    }
    CThreadPool::DestroyThreadPool(pool); // waits for the calls

    long long sum = 0;
    for (const Sum& part : parts)
        sum += part.result;
    std::printf("%lld\n", sum);
    return 0;
}
