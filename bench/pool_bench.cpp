// The thread pool: passing a call to a waiting thread, and to a new one.
#include <chrono>
#include <filesystem>
#include <semaphore>
#include <thread>

#include <benchmark/benchmark.h>

#include <plinth_w32_pthreadVC.h>
#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

using Clock = std::chrono::steady_clock;

void* nothing(void*)
{
    return nullptr;
}

// After three calls at once, three threads wait.
void fill(CThreadPool* pool)
{
    struct Gate
    {
        std::counting_semaphore<> open{0};
        std::counting_semaphore<> through{0};
    } gate;
    for (int i = 0; i < 3; ++i)
        pool->MakeCallFromThreadPool(
            [](void* argument) -> void*
            {
                static_cast<Gate*>(argument)->open.acquire();
                static_cast<Gate*>(argument)->through.release();
                return nullptr;
            },
            &gate);
    gate.open.release(3);
    for (int i = 0; i < 3; ++i)
        gate.through.acquire();
}

void hand_over(benchmark::State& state)
{
    CThreadPool* const pool = CThreadPool::CreateThreadPool();
    fill(pool);
    for (auto _ : state)
        pool->MakeCallFromThreadPool(nothing, nullptr);
    CThreadPool::DestroyThreadPool(pool);
}
BENCHMARK(hand_over)->Name("pool/hand-over")->UseRealTime();

// One thread that waits on a condition for a value, and acknowledges it by a semaphore.
struct PingPong
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t signal = PTHREAD_COND_INITIALIZER;
    sem_t taken;
    bool call = false;
    bool end = false;

    static void* run(void* argument)
    {
        auto& self = *static_cast<PingPong*>(argument);
        pthread_mutex_lock(&self.mutex);
        for (bool last = false; !last;)
        {
            while (!self.call)
                pthread_cond_wait(&self.signal, &self.mutex);
            self.call = false;
            last = self.end;
            sem_post(&self.taken);
            pthread_mutex_unlock(&self.mutex);
            pthread_mutex_lock(&self.mutex);
        }
        pthread_mutex_unlock(&self.mutex);
        return nullptr;
    }

    void hand_over(bool last)
    {
        pthread_mutex_lock(&mutex);
        call = true;
        end = last;
        pthread_cond_signal(&signal);
        pthread_mutex_unlock(&mutex);
        sem_wait(&taken);
    }
};

void ping_pong(benchmark::State& state)
{
    PingPong pair;
    sem_init(&pair.taken, 0, 0);
    pthread_t thread;
    pthread_create(&thread, nullptr, PingPong::run, &pair);
    for (auto _ : state)
        pair.hand_over(false);
    pair.hand_over(true);
    pthread_join(thread, nullptr);
    sem_destroy(&pair.taken);
}
BENCHMARK(ping_pong)->Name("pool/ping-pong")->UseRealTime();

// Waits until the threads that a round has started have also left the system: otherwise starting
// the next thread would contend with them for the address space. Threads of other benchmarks may
// stay.
class Quiet
{
public:
    void wait()
    {
        std::ptrdiff_t now;
        while ((now = threads()) > m_usual)
            std::this_thread::yield();
        m_usual = now;
    }

private:
    static std::ptrdiff_t threads()
    {
        std::error_code error;
        const std::filesystem::directory_iterator all("/proc/self/task", error);
        return std::distance(begin(all), end(all));
    }

    std::ptrdiff_t m_usual = threads();
};

// For each call a pool is made and ended, outside the measured time, so that the pool is empty.
void empty_pool(benchmark::State& state)
{
    Quiet quiet;
    for (auto _ : state)
    {
        CThreadPool* const pool = CThreadPool::CreateThreadPool();
        const auto start = Clock::now();
        pool->MakeCallFromThreadPool(nothing, nullptr);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        CThreadPool::DestroyThreadPool(pool);
        quiet.wait();
    }
}
BENCHMARK(empty_pool)->Name("pool/empty")->UseManualTime();

void create_thread(benchmark::State& state)
{
    struct Call
    {
        sem_t taken;
        std::binary_semaphore ended{0};
        static void* run(void* argument)
        {
            auto& self = *static_cast<Call*>(argument);
            sem_post(&self.taken);
            self.ended.release();
            return nullptr;
        }
    };
    Quiet quiet;
    for (auto _ : state)
    {
        Call call;
        sem_init(&call.taken, 0, 0);
        const auto start = Clock::now();
        pthread_t thread;
        pthread_create(&thread, nullptr, Call::run, &call);
        pthread_detach(thread);
        sem_wait(&call.taken);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        call.ended.acquire();
        sem_destroy(&call.taken);
        quiet.wait();
    }
}
BENCHMARK(create_thread)->Name("pool/pthread_create")->UseManualTime();

} // namespace
