#include "debug_channel_control.h"

#include <algorithm>

#include "debug_channel.h"
#include "event_state.h"
#include "named_object.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/clock_shift.h"
#include "system/root.h"
#include "system/timed_lock.h"
#include "windows.h"

namespace platform
{

namespace
{

constexpr int64_t ns_per_ms = 1'000'000;
constexpr int64_t usual_patience = 500 * ns_per_ms;
// A waiter looks again after so long whether the holder lives; a dead one wakes nobody.
constexpr int64_t longest_sleep = 10 * ns_per_ms;

constexpr size_t page_size = 4096;
constexpr uint32_t magic = 0x33434450; // changes with the layout, and the file's name with it
constexpr char page_name[] = "/channel-3";

static_assert(sizeof(ChannelControl) <= page_size);

// A plain word and no guarded static: a process that was forked while another thread mapped the
// page must not wait for that thread. Two threads may both map it; one view is given back.
std::atomic<ChannelControl*> g_page{nullptr};

// After the gate was waited for in vain, nobody waits for it again before this moment: a text is
// rather lost than held up each time.
std::atomic<int64_t> g_next_try{0};
constexpr int64_t pause_after_failure = 10 * gate_patience;

// The file has its whole size, reserved, before anybody looks at it, and is never cut: other
// processes have it mapped. makes: a missing or a smaller one is made whole, which needs the gate.
ChannelControl* map_page(bool makes)
{
    const std::string path = shared_folder() + page_name;
    const int fd = sys::open(path.c_str(), O_RDWR | O_NOFOLLOW | (makes ? O_CREAT : 0), 0600);
    if (fd < 0)
        return nullptr;
    struct stat found;
    void* view = MAP_FAILED;
    if (makes ? reserve_shared(fd, page_size) == 0
              : sys::fstat(fd, &found) == 0 && found.st_size >= static_cast<off_t>(page_size))
        view = sys::mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    sys::close(fd);
    return view == MAP_FAILED ? nullptr : static_cast<ChannelControl*>(view);
}

bool listener_is_there()
{
    return held(NamedKind::event, debug_channel_listener_event) == Held::yes;
}

// Whether the page says what is true as far as a new process can see: it is one, and it knows of
// the listener if there is any.
bool is_sound(const ChannelControl& page)
{
    return page.magic == magic && (page.listener != 0 || !listener_is_there());
}

// Needs the gate.
ChannelControl* make_page()
{
    ChannelControl* const page = map_page(true);
    if (!page || is_sound(*page))
        return page;
    if (page->magic != magic)
    {
        page->jammed = page->filled = page->stuck = page->lost = 0;
        page->turn = 0;
    }
    page->listener = 0;
    if (listener_is_there())
        number_new_listener(*page);
    page->magic = magic;
    return page;
}

ChannelControl* find_page()
{
    if (ChannelControl* const page = map_page(false))
    {
        if (is_sound(*page))
            return page;
        sys::munmap(page, page_size);
    }
    if (monotonic_ns() < g_next_try.load(std::memory_order_relaxed))
        return nullptr;
    const SharedGate gate;
    if (gate.ok())
        return make_page();
    g_next_try = monotonic_ns() + pause_after_failure;
    return nullptr;
}

ChannelControl* map_control()
{
    ChannelControl* page = find_page();
    ChannelControl* other = nullptr;
    if (page && !g_page.compare_exchange_strong(other, page))
    {
        sys::munmap(page, page_size);
        page = other;
    }
    return page;
}

constexpr uint32_t has_waiters = 1;
constexpr unsigned count_shift = 23;

uint32_t next_turn()
{
    static thread_local uint32_t count = 0;
    return ++count << count_shift | (GetCurrentThreadId() & 0x3FFFFF) << 1;
}

bool holder_is_gone(uint32_t holder)
{
    const pid_t thread = static_cast<pid_t>((holder >> 1) & 0x3FFFFF);
    return thread == 0 || (::kill(thread, 0) != 0 && errno == ESRCH);
}

} // namespace

int64_t channel_patience()
{
    const int64_t changed = clock_shift(&ClockShifts::channel_patience_ns);
    return changed ? changed : usual_patience;
}

ChannelControl* mapped_channel_control()
{
    return g_page.load(std::memory_order_acquire);
}

ChannelControl* channel_control()
{
    ChannelControl* const page = mapped_channel_control();
    if (page) [[likely]]
        return page;
    return shared_folder().empty() ? nullptr : map_control();
}

void number_new_listener(ChannelControl& control)
{
    uint32_t next = control.generation + 1;
    if (next == 0)
        next = 1;
    control.generation = next;
    control.stuck = 0;
    control.listener.store(next, std::memory_order_release);
}

ChannelTurn::ChannelTurn(ChannelControl& control) : m_control(control), m_mine(next_turn())
{
    uint32_t expected = 0;
    const bool taken = control.turn.compare_exchange_strong(expected, m_mine) || wait();
    if (taken && control.jammed.load(std::memory_order_relaxed) != 0)
        control.jammed = 0;
}

bool ChannelTurn::wait()
{
    std::atomic<uint32_t>& turn = m_control.turn;
    const int64_t deadline = monotonic_ns() + channel_patience();
    uint32_t first = turn.load() & ~has_waiters; // the turn that we came upon
    for (bool slept = false;; slept = true)
    {
        uint32_t now = turn.load();
        const uint32_t holder = now & ~has_waiters;
        // The holder gives up after its patience, so one that outlasts a whole wait is stuck.
        const bool is_free =
            holder == 0 || holder == m_control.jammed || (slept && holder_is_gone(holder));
        // Others may wait too: who has waited wakes one of them.
        if (is_free && turn.compare_exchange_strong(now, m_mine | has_waiters))
            return true;
        if (is_free)
            continue;
        const int64_t moment = monotonic_ns();
        if (moment >= deadline)
        {
            if (holder == first)
                m_control.jammed = holder;
            return false;
        }
        if (holder != first)
            first = 0; // it goes on, if slowly
        if ((now & has_waiters) != 0 || turn.compare_exchange_strong(now, now | has_waiters))
            futex_wait(&turn, now | has_waiters, std::min(deadline, moment + longest_sleep), true);
    }
}

bool ChannelTurn::taken() const
{
    return (m_control.turn.load(std::memory_order_relaxed) & ~has_waiters) == m_mine;
}

ChannelTurn::~ChannelTurn()
{
    uint32_t now = m_control.turn.load(std::memory_order_relaxed);
    while ((now & ~has_waiters) == m_mine)
        if (m_control.turn.compare_exchange_weak(now, 0))
        {
            if ((now & has_waiters) != 0)
                futex_wake(&m_control.turn, 1, true);
            return;
        }
}

} // namespace platform
