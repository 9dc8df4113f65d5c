// Timers that run at once, one curve for each kind that can have many: setting and killing one
// more, processor time for each firing, and memory. They are compared with what Linux has: timerfd
// and epoll on one thread for the kinds that share a thread, sleeping threads for the kind that has
// threads.
//
// The modes that spin are left out: each of their timers takes a processor.
#include "curve.h"

#include <atomic>
#include <functional>
#include <memory>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <windows.h>

#include <plinth_w32_system.h>

#include "measure.h"

namespace load
{

namespace
{

constexpr long interval_ms = 20;
constexpr long nanoseconds_per_millisecond = 1'000'000;

std::atomic<size_t> g_firings{0};

int fire(void*)
{
    g_firings.fetch_add(1, std::memory_order_relaxed);
    return 1;
}

// Waits this many milliseconds.
void sleep_for(long milliseconds)
{
    usleep(static_cast<useconds_t>(milliseconds * 1000));
}

// Dispatches messages one by one, so that after each firing the pump looks at the clock.
void pump_for(long milliseconds)
{
    const double end = QV_GetTimeCounter() + static_cast<double>(milliseconds);
    MSG message;
    while (QV_GetTimeCounter() < end && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

// One kind of timers. The runner calls pass to let time pass, since some kinds need a message pump.
class Timers
{
public:
    virtual ~Timers() = default;
    virtual void set() = 0;  // adds one to the list
    virtual void kill() = 0; // kills the last one; it may last until its next firing
    virtual void pass(long milliseconds) { sleep_for(milliseconds); }
    virtual void await_end() = 0; // waits for the killed ones
};

class OurTimers : public Timers
{
public:
    explicit OurTimers(int precision) : m_precision(precision) {}
    void set() override
    {
        const auto id = static_cast<unsigned>(
            QV_SetThreadedTimer(fire, nullptr, interval_ms, 0, m_precision, 1));
        require(id != 0, "no timer");
        m_ids.push_back(id);
    }
    void kill() override
    {
        QV_KillTimerAsync(m_ids.back());
        m_killed.push_back(m_ids.back());
        m_ids.pop_back();
    }
    void pass(long milliseconds) override
    {
        if (m_precision == QV_PRECISION_POSTED)
            pump_for(milliseconds);
        else
            sleep_for(milliseconds);
    }
    void await_end() override
    {
        for (const unsigned id : m_killed)
            if (m_precision != QV_PRECISION_POSTED)
                QV_WaitForTimer(id);
            else
                for (MSG message;
                     QV_GetTimerRecord(id) && GetMessageW(&message, nullptr, 0, 0) > 0;)
                    DispatchMessageW(&message);
        m_killed.clear();
    }

private:
    int m_precision;
    std::vector<unsigned> m_ids;
    std::vector<unsigned> m_killed;
};

class DescriptorTimers final : public Timers
{
public:
    DescriptorTimers() : m_set(epoll_create1(EPOLL_CLOEXEC)), m_thread([this] { run(); }) {}
    DescriptorTimers(const DescriptorTimers&) = delete;
    DescriptorTimers& operator=(const DescriptorTimers&) = delete;
    ~DescriptorTimers() override
    {
        m_end = true;
        DescriptorTimers::set(); // wakes the thread
        m_thread.join();
        DescriptorTimers::kill();
        close(m_set);
    }
    void set() override
    {
        const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
        const timespec period{0, interval_ms * nanoseconds_per_millisecond};
        const itimerspec setting{period, period};
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = timer;
        require(timer >= 0 && timerfd_settime(timer, 0, &setting, nullptr) == 0 &&
                    epoll_ctl(m_set, EPOLL_CTL_ADD, timer, &event) == 0,
                "no timerfd");
        m_timers.push_back(timer);
    }
    void kill() override
    {
        close(m_timers.back());
        m_timers.pop_back();
    }
    void await_end() override {}

private:
    void run()
    {
        constexpr int most = 64;
        epoll_event events[most];
        while (!m_end)
        {
            const int count = epoll_wait(m_set, events, most, -1);
            for (int i = 0; i < count; ++i)
            {
                uint64_t ticks = 0;
                if (read(events[i].data.fd, &ticks, sizeof ticks) == sizeof ticks)
                    fire(nullptr);
            }
        }
    }

    int m_set;
    std::atomic<bool> m_end{false};
    std::vector<int> m_timers;
    std::thread m_thread;
};

class SleepingThreads : public Timers
{
public:
    void set() override { m_timers.push_back(std::make_unique<Timer>()); }
    void kill() override
    {
        m_timers.back()->stop = true;
        m_killed.push_back(std::move(m_timers.back()));
        m_timers.pop_back();
    }
    void await_end() override
    {
        for (const std::unique_ptr<Timer>& timer : m_killed)
            timer->thread.join();
        m_killed.clear();
    }

private:
    struct Timer
    {
        std::atomic<bool> stop{false};
        std::thread thread{[this] { run(); }};
        void run()
        {
            timespec next{};
            clock_gettime(CLOCK_MONOTONIC, &next);
            while (!stop)
            {
                next.tv_nsec += interval_ms * nanoseconds_per_millisecond;
                if (next.tv_nsec >= 1'000'000'000)
                {
                    next.tv_nsec -= 1'000'000'000;
                    ++next.tv_sec;
                }
                clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
                fire(nullptr);
            }
        }
    };
    std::vector<std::unique_ptr<Timer>> m_timers;
    std::vector<std::unique_ptr<Timer>> m_killed;
};

struct Figures
{
    double set = 0;      // ns
    double kill = 0;     // ns
    double firing = 0;   // ns of processor time
    double heap = 0;     // bytes for each timer
    double resident = 0; // likewise
};

Figures run(Timers& timers, size_t count, bool quick)
{
    Figures figures;
    const Memory before = memory_now();
    for (size_t i = 0; i < count; ++i)
        timers.set();
    timers.pass(quick ? interval_ms : 10 * interval_ms);
    const Memory during = memory_now();
    const auto number = static_cast<double>(count);
    figures.heap = (during.heap - before.heap) / number;
    figures.resident = (during.resident - before.resident) / number;

    const size_t firings = g_firings;
    const double processor = processor_time();
    timers.pass(quick ? 2 * interval_ms : count < 100 ? 2'000 : 1'000);
    figures.firing = (processor_time() - processor) / static_cast<double>(g_firings - firings);

    Series set;
    Series kill;
    for (int i = 0; i < (quick ? 1 : 31); ++i)
    {
        set.add(timed([&] { timers.set(); }));
        kill.add(timed([&] { timers.kill(); }));
        timers.await_end();
    }
    figures.set = set.median();
    figures.kill = kill.median();
    for (size_t i = 0; i < count; ++i)
        timers.kill();
    timers.await_end();
    return figures;
}

std::unique_ptr<Timers> peer_of(int precision)
{
    if (precision == QV_PRECISION_SLEEP)
        return std::make_unique<SleepingThreads>();
    return std::make_unique<DescriptorTimers>();
}

Curve measure_kind(const char* name, const char* title, int precision, bool quick)
{
    const bool threads = precision == QV_PRECISION_SLEEP;
    Curve curve(name, title,
                {{"timers", "timers", 0},
                 {"set_us", "setting one, us", 1},
                 {"peer_set_us", threads ? "a thread, us" : "timerfd, us", 1},
                 {"set_per_peer", "ratio", 2},
                 {"kill_us", "killing one, us", 2},
                 {"firing_us", "a firing, us of processor", 2},
                 {"peer_firing_us", threads ? "clock_nanosleep, us" : "timerfd, epoll, us", 2},
                 {"firing_per_peer", "ratio", 2},
                 {"heap_bytes", "heap bytes each", 0},
                 {"resident_kib", "resident KiB each", 1}});
    for (size_t count = 1; count <= (quick ? 10 : 1'000); count *= 10)
    {
        OurTimers ours(precision);
        const Figures figures = run(ours, count, quick);
        const Figures peer = run(*peer_of(precision), count, quick);
        curve.add({static_cast<double>(count), figures.set / 1e3, peer.set / 1e3,
                   figures.set / peer.set, figures.kill / 1e3, figures.firing / 1e3,
                   peer.firing / 1e3, figures.firing / peer.firing, figures.heap,
                   count < 100 ? not_measured : figures.resident / 1024});
    }
    return curve;
}

} // namespace

std::vector<Curve> measure_timers(bool quick)
{
    return {measure_kind("timers_multimedia", "Multimedia timers (modes 4 to 6) at 20 ms",
                         QV_PRECISION_MM_1, quick),
            measure_kind("timers_message", "Message timers (mode 9) at 20 ms", QV_PRECISION_POSTED,
                         quick),
            measure_kind("timers_thread", "Timers with a thread each (mode 1) at 20 ms",
                         QV_PRECISION_SLEEP, quick)};
}

} // namespace load
