// The debug string channel as a source of records, for any number of viewers at once.
//
// The channel has room for one listener, and a program that traces waits until the only buffer is
// free. The viewer that has the channel therefore does very little on a thread of its own: it
// copies a text, frees the buffer, and passes the text on, to its own user through a queue and to
// the user's other viewers through the ring (ring/ring_layout.h). A viewer that finds the channel
// taken follows the ring, and checks several times a second whether the channel is free. Thus
// another viewer takes it over when the holder ends.
//
// The library has a listener too (CQvDebugOutputCapture). This one also takes the writer's process
// id and the whole of a text of more than 1,023 bytes, and doesn't open a log.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "channel_objects.h"
#include "channel_owner.h"
#include "channel_state.h"
#include "process_names.h"
#include "record_queue.h"
#include "ring/ring_follower.h"
#include "ring/ring_share.h"
#include "source.h"

namespace trace
{

class Listener : public Source
{
public:
    // Takes the channel, or follows its holder, and starts to listen. Fails with exit_failed if the
    // objects can't be made. watcher: see take_over.h. queue: bytes of records that may wait for
    // next.
    explicit Listener(
        TakeOverWatcher watcher = [](TakeOverStep) {}, size_t queue = RecordQueue::default_limit);
    ~Listener() override;

    bool next(Record& record, unsigned milliseconds) override;
    bool next_view(RecordView& record, unsigned milliseconds) override;
    bool ended() const override { return false; } // only stop ends it
    void stop() override;
    std::string what() const override { return m_state.what(); }
    std::string take_news() override { return m_state.take_news(); }
    std::string shut_out_by() const override { return m_state.shut_out_by(); }
    std::optional<uint64_t> taken() const override { return m_taken.load(); }

private:
    void run();
    void follow_up();
    bool look_at_channel();
    void describe_holder();
    bool read_ring();
    void read_rest_of_ring();

    void hold();
    void begin_to_hold();
    bool take(DWORD milliseconds);
    void choose_priority();
    void count_channel_losses();

    const TakeOverWatcher m_watcher;
    ChannelState m_state;
    RecordQueue m_queue;
    std::atomic<uint64_t> m_taken{0}; // texts that holders have taken since this viewer started
    std::atomic<bool> m_run{true};
    bool m_is_holder = false;
    bool m_has_followed = false; // another viewer

    // Only used by the thread once it runs.
    ChannelObjects m_channel;
    RingFollower m_follower;
    RingShare m_share;
    ProcessNames m_names;
    bool m_is_first = false;       // before other threads
    uint32_t m_channel_losses = 0; // already counted, or from before this viewer had the channel
    Time m_losses_counted = 0;     // the time of the last check while texts came
    std::optional<ChannelOwner> m_owner;
    std::optional<std::chrono::steady_clock::time_point> m_owner_asked;

    std::string m_converted; // the text of the last record, unless the queue holds it
    std::shared_ptr<const std::string> m_last_name; // of the last record, reused for the next

    std::thread m_thread; // last, because it uses the members above
};

} // namespace trace
