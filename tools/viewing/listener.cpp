#include "listener.h"

#include <algorithm>
#include <utility>

#include "channel_losses.h"
#include "failure.h"
#include "ring/ring_records.h"
#include "text.h"

namespace trace
{

namespace
{

using namespace std::chrono_literals;

// How long the thread waits before it checks whether it should end. A signal can't wake it, because
// a signal handler may not set an event.
constexpr DWORD wait_slice = 100; // ms

// How often the ring is read. If the holder woke its readers, it would pay a system call for each;
// reading at intervals costs only the reader. At a million records a second, a quarter of the ring
// is filled in this time.
constexpr auto ring_interval = 20ms;

// How often a follower checks whether the holder still runs, and if not, whether the channel is
// free: another viewer takes it over within a second.
constexpr auto channel_interval = 200ms;

// A look at all processes.
constexpr auto owner_interval = 2s;

// How often the thread checks, while texts come, how many texts writers gave up. A check at each
// text would cost more than copying the text: the count is in a cache line that writers write at
// each text. A writer gives up after half a second, so the place of a loss is nearly exact.
constexpr Time losses_interval = millisecond;

// Records between two checks whether the thread should end.
constexpr int most_at_once = 10'000;

} // namespace

Listener::Listener(TakeOverWatcher watcher, size_t queue)
    : m_watcher(std::move(watcher)), m_queue(queue)
{
    m_follower.open(); // if that fails, the viewer can still take the channel
    m_is_holder = look_at_channel();
    if (m_is_holder)
        begin_to_hold(); // here, so that a viewer that starts later follows this one
    else if (!m_channel.problem().empty())
        throw Failure(exit_failed, "the debug string channel can't be had: " + m_channel.problem());
    m_state.take_news(); // what() already includes it
    m_thread = std::thread([this] { run(); });
}

Listener::~Listener()
{
    Listener::stop();
}

void Listener::stop()
{
    m_run = false;
    if (m_thread.joinable())
        m_thread.join();
}

bool Listener::next_view(RecordView& record, unsigned milliseconds)
{
    if (!m_queue.next(record, milliseconds))
        return false;
    if (record.is_loss())
        return true;
    if (!is_ascii(record.text))
        record.text = m_converted = utf8_from_narrow(record.text);
    if (record.text.ends_with('\n'))
        record.text.remove_suffix(1);
    if (record.text.ends_with('\r'))
        record.text.remove_suffix(1);
    return true;
}

bool Listener::next(Record& record, unsigned milliseconds)
{
    RecordView view;
    if (!next_view(view, milliseconds))
        return false;
    if (!view.name.empty() && (!m_last_name || *m_last_name != view.name))
        m_last_name = std::make_shared<const std::string>(view.name);
    record.time = view.time;
    record.process = view.process;
    record.window = no_window;
    record.name = view.name.empty() ? nullptr : m_last_name;
    record.text.assign(view.text);
    record.lost = view.lost;
    record.since = view.since;
    return true;
}

void Listener::run()
{
    auto looked = std::chrono::steady_clock::now();
    while (m_run && !m_is_holder)
    {
        while (read_ring() && m_run)
        {
        }
        std::this_thread::sleep_for(ring_interval);
        const auto now = std::chrono::steady_clock::now();
        m_follower.look_for_holder(now);
        if (now - looked < channel_interval)
            continue;
        looked = now;
        follow_up();
    }
    if (m_is_holder)
        hold();
    else
        read_rest_of_ring(); // what was there before the end was requested
}

// While the holder shows signs, the channel is not checked: a check opens its first event, and for
// a moment the channel could not become free.
void Listener::follow_up()
{
    m_follower.open();
    if (m_follower.holder_beats())
        describe_holder();
    else if (look_at_channel())
    {
        m_is_holder = true;
        begin_to_hold();
    }
}

// True if this viewer has the channel now.
bool Listener::look_at_channel()
{
    // Before the channel is taken, so that losses until the thread runs are counted.
    m_channel_losses = channel_losses();
    const ChannelObjects::Result result = m_channel.take(m_watcher);
    if (result == ChannelObjects::Result::ours)
        return true;
    if (result == ChannelObjects::Result::taken)
        describe_holder();
    return false;
}

// Sets who has the channel: a viewer, by the ring, or another program.
void Listener::describe_holder()
{
    const RingHolder& holder = m_follower.holder();
    const std::string viewer = program_text(holder.process, holder.name);
    if (m_follower.holder_runs())
    {
        m_state.set(ChannelAccess::following, viewer);
        m_has_followed = true;
        m_owner_asked.reset();
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (m_owner_asked && now - *m_owner_asked < owner_interval)
        return;
    m_owner_asked = now;
    m_owner = channel_owner();
    const bool is_viewer = m_owner ? m_owner->process == holder.process
                                   : holder.heartbeat != 0 && facts_of(holder.process).has_value();
    if (is_viewer)
        m_state.set(ChannelAccess::stalled, viewer);
    else
        m_state.set(ChannelAccess::waiting,
                    m_owner ? program_text(m_owner->process, m_owner->name) : program_text(0, ""));
}

// Takes the records from the ring. True if it may have more.
bool Listener::read_ring()
{
    Record record;
    int count = 0;
    while (count < most_at_once && m_follower.next(record))
    {
        ++count;
        m_queue.put(record);
    }
    m_taken = m_follower.taken();
    m_has_followed = m_has_followed || count > 0;
    return count == most_at_once;
}

// The number of rounds is limited, since a writer may go on writing.
void Listener::read_rest_of_ring()
{
    constexpr int most_rounds = 20; // more than the ring has room for
    for (int i = 0; i < most_rounds && read_ring(); ++i)
    {
    }
}

void Listener::hold()
{
    choose_priority();
    m_channel.free_buffer();
    m_watcher(TakeOverStep::listening);
    while (m_run)
        if (!take(wait_slice))
        {
            count_channel_losses();
            m_share.beat(current_time());
        }
    take(0);                 // what was written before the end was requested
    m_channel.free_buffer(); // lets a waiting writer continue
    m_share.end();           // before another viewer has the channel and writes the ring
    m_channel.release();
}

// Continues where the former holder ended: its records first, then the gap.
void Listener::begin_to_hold()
{
    const Time since = m_follower.last_sign();
    read_rest_of_ring();
    const RingHolder former = m_follower.holder();
    const bool is_shared = m_share.start(m_follower, since, m_watcher);
    const std::string problem = is_shared ? "" : error_text(GetLastError());
    if (m_has_followed)
        m_queue.put(gap_record(since, current_time(), program_text(former.process, former.name)));
    m_follower.close();
    m_state.set(ChannelAccess::holding, problem);
}

bool Listener::take(DWORD milliseconds)
{
    RecordView record;
    if (!m_channel.take_text(record, milliseconds))
        return false;
    const std::shared_ptr<const std::string> name = m_names.name_of(record.process);
    record.name = name ? std::string_view(*name) : "";
    // The clock may be set back.
    if (record.time - m_losses_counted >= losses_interval || record.time < m_losses_counted)
    {
        count_channel_losses(); // were lost before this text, or at the same time
        m_losses_counted = record.time;
    }
    m_share.put(record);
    ++m_taken;
    m_queue.put(record);
    choose_priority();
    return true;
}

// The thread runs before all others, so that writers wait as little as possible. But where it may,
// it then takes its processor from the thread that shows the records: on two processors that one
// stood still for 0.2 s, in which a fast writer filled the queue. So while much waits there, this
// thread has no more right to run than others, and writers wait for it.
void Listener::choose_priority()
{
    constexpr unsigned high = 40; // percent of the queue
    constexpr unsigned low = 10;
    const bool is_first = !m_queue.is_filled_to(m_is_first ? high : low);
    if (std::exchange(m_is_first, is_first) != is_first)
        SetThreadPriority(GetCurrentThread(),
                          is_first ? THREAD_PRIORITY_TIME_CRITICAL : THREAD_PRIORITY_NORMAL);
}

// Counts what writers have given up while this process was stopped or did not run for too long.
void Listener::count_channel_losses()
{
    const uint32_t now = channel_losses();
    const uint32_t fresh = now - std::exchange(m_channel_losses, now);
    m_queue.put_unheard(fresh);
    m_share.put_unheard(fresh);
}

} // namespace trace
