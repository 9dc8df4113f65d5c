#include "debug_channel_control.h"

#include "kernel32/object/named_object.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/clock_shift.h"
#include "system/root.h"
#include "system/timed_lock.h"

namespace platform
{

namespace
{

constexpr int64_t ns_per_ms = 1'000'000;
constexpr int64_t usual_patience = 500 * ns_per_ms;

// The turn among the threads of this process.
constinit std::atomic<uint32_t> g_own_turn{0};
constinit std::atomic<uint32_t> g_own_jammed{0};

constexpr size_t page_size = 4096;
static_assert(sizeof(ChannelControl) <= page_size);

// A plain word, not a guarded static: a process that was forked while another thread mapped the
// page must not wait for that thread. Two threads may both map it; one view is then unmapped.
std::atomic<ChannelControl*> g_page{nullptr};

// After a failed wait for the gate, no text waits for it again before this time: losing texts is
// better than a pause of a second at each.
std::atomic<int64_t> g_next_try{0};
constexpr int64_t pause_after_failure = 10 * gate_patience;

// The file has its whole size, reserved, before any process maps it, and is never cut, as other
// processes have it mapped. makes: a missing or smaller file is made whole, which needs the gate.
ChannelControl* map_page(bool makes)
{
    const std::string path = shared_folder() + channel_page_name;
    const int fd = open_own(path, makes);
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

// The page if it is mapped already, for callers that hold the gate.
ChannelControl* mapped_channel_control()
{
    return g_page.load(std::memory_order_acquire);
}

// Numbers a new listener. Needs the gate.
void number_new_listener(ChannelControl& control)
{
    uint32_t next = control.generation + 1;
    if (next == 0)
        next = 1;
    control.generation = next;
    control.stuck = 0;
    control.listener.store(next, std::memory_order_release);
}

bool listener_is_there()
{
    return held(NamedKind::event, debug_channel_listener_event) == Held::yes;
}

// Whether the page is correct as far as a new process can see: it has its mark, and it names the
// listener if there is one.
bool is_sound(const ChannelControl& page)
{
    return page.magic == channel_page_mark && (page.listener != 0 || !listener_is_there());
}

// Needs the gate.
ChannelControl* make_page()
{
    ChannelControl* const page = map_page(true);
    if (!page || is_sound(*page))
        return page;
    if (page->magic != channel_page_mark)
    {
        page->jammed = page->filled = page->stuck = page->lost = 0;
        page->turn = 0;
    }
    page->listener = 0;
    if (listener_is_there())
        number_new_listener(*page);
    page->magic = channel_page_mark;
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
    if (gate.gave_up())
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

} // namespace

int64_t channel_patience()
{
    const int64_t changed = clock_shift(&ClockShifts::channel_patience_ns);
    return changed ? changed : usual_patience;
}

ChannelControl* channel_control()
{
    ChannelControl* const page = mapped_channel_control();
    if (page) [[likely]]
        return page;
    return shared_folder().empty() ? nullptr : map_control();
}

namespace
{

void prepare_for_listener()
{
    channel_control();
}

void listener_came()
{
    if (ChannelControl* const control = mapped_channel_control())
        number_new_listener(*control);
}

void listener_went()
{
    if (ChannelControl* const control = mapped_channel_control())
        control->listener.store(0, std::memory_order_release);
}

const ObjectWatcher g_watcher(NamedKind::event, debug_channel_listener_event,
                              {prepare_for_listener, listener_came, listener_went});

} // namespace

ChannelTurn::ChannelTurn(ChannelControl& control, int64_t deadline)
    : m_own({g_own_turn, g_own_jammed, false}, deadline, channel_patience()),
      m_shared({control.turn, control.jammed, true}, deadline, channel_patience(), m_own.taken())
{
}

bool forget_own_turn()
{
    g_own_jammed = 0;
    return g_own_turn.exchange(0) == 0;
}

} // namespace platform
