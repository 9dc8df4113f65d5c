#include "debug_channel_control.h"

#include "named_object.h"
#include "plinth_platform_test.h"
#include "system/calls.h"
#include "system/root.h"

namespace platform
{

namespace
{

constexpr int64_t ns_per_ms = 1'000'000;
constexpr int64_t usual_patience = 500 * ns_per_ms;
std::atomic<int64_t> g_patience{usual_patience};

constexpr size_t page_size = 4096;
constexpr uint32_t magic = 0x32434450; // changes with the layout, and the file's name with it
constexpr char page_name[] = "/channel-2";

static_assert(sizeof(ChannelControl) <= page_size);

// A plain word and no guarded static: a process that was forked while another thread mapped the
// page must not wait for that thread. Two threads may both map it; one view is given back.
std::atomic<ChannelControl*> g_page{nullptr};

void make_turn(pthread_mutex_t& turn)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&turn, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

// The file has its whole size, reserved, before anybody looks at it, and is never cut: other
// processes have it mapped.
void* map_page()
{
    const std::string path = shared_folder() + page_name;
    const int fd = sys::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (fd < 0)
        return MAP_FAILED;
    void* view = MAP_FAILED;
    if (reserve_shared(fd, page_size) == 0)
        view = sys::mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    sys::close(fd);
    return view;
}

ChannelControl* map_control()
{
    const SharedGate gate;
    if (!gate.ok())
        return nullptr;
    void* const view = map_page();
    if (view == MAP_FAILED)
        return nullptr;
    auto* page = static_cast<ChannelControl*>(view);
    if (page->magic != magic)
    {
        make_turn(page->turn);
        page->magic = magic;
    }
    ChannelControl* other = nullptr;
    if (!g_page.compare_exchange_strong(other, page))
    {
        sys::munmap(view, page_size);
        page = other;
    }
    return page;
}

} // namespace

int64_t channel_patience()
{
    return g_patience.load(std::memory_order_relaxed);
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

ChannelTurn::ChannelTurn(ChannelControl& control) : m_control(control)
{
    int result = pthread_mutex_trylock(&control.turn);
    if (result == EBUSY && control.jammed.load(std::memory_order_relaxed) == 0)
    {
        // The holder gives up after its patience, so this wait is short; its own limit is for a
        // holder that was stopped. The lock's clock is the wall clock: ThreadSanitizer doesn't know
        // the call with another one.
        timespec until;
        ::clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += channel_patience();
        until.tv_sec += until.tv_nsec / 1'000'000'000;
        until.tv_nsec %= 1'000'000'000;
        result = pthread_mutex_timedlock(&control.turn, &until);
        if (result == ETIMEDOUT)
            control.jammed = 1;
    }
    if (result == EOWNERDEAD)
        result = pthread_mutex_consistent(&control.turn);
    m_taken = result == 0;
    if (m_taken && control.jammed.load(std::memory_order_relaxed) != 0)
        control.jammed = 0;
}

ChannelTurn::~ChannelTurn()
{
    if (m_taken)
        pthread_mutex_unlock(&m_control.turn);
}

} // namespace platform

extern "C" void PlinthTestSetChannelPatience(uint32_t milliseconds)
{
    platform::g_patience =
        milliseconds ? milliseconds * platform::ns_per_ms : platform::usual_patience;
}
