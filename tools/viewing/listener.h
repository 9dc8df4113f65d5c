// The listening end of the debug string channel.
//
// Whoever traces waits until the channel's one buffer is free. Therefore a thread of its own does
// nothing but copy a text and free the buffer; the texts wait in a store of limited size, so that
// output that is slow, or stopped with Ctrl-S, holds up no program. When the store is full, texts
// are dropped and counted; the next one that has room comes behind the news of it. So are texts
// that the channel lost, where the system counts them.
//
// The library has a listener too (CQvDebugOutputCapture). This one also takes the writer's process
// id and the whole of a text of more than 1,023 bytes, and comes without opening a log.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include "process_names.h"
#include "source.h"

namespace trace
{

struct ChannelLosses
{
    uint64_t full = 0;    // for want of room here
    uint64_t unheard = 0; // for want of a listener that runs

    uint64_t all() const { return full + unheard; }
};

class Listener : public Source
{
public:
    // Takes the channel and starts to listen. Failure: exit_channel_taken if another listener has
    // it, exit_failed if the objects can't be made.
    Listener();
    ~Listener() override;

    bool next(Record& record, unsigned milliseconds) override;
    bool ended() const override { return false; } // only stop ends it
    void stop() override;
    std::string what() const override { return "the debug string channel"; }

private:
    void run();
    bool take(DWORD milliseconds);
    void count_channel_losses();
    void keep(Record record);
    void release();

    HANDLE m_buffer_ready = nullptr; // set: writers may fill the buffer
    HANDLE m_data_ready = nullptr;   // set: the buffer holds a text
    HANDLE m_mapping = nullptr;
    const char* m_buffer = nullptr;
    std::atomic<bool> m_run{true};
    std::thread m_thread;
    ProcessNames m_names;          // the thread's alone
    uint32_t m_channel_losses = 0; // that are counted; the thread's alone once it runs

    std::mutex m_lock; // guards what follows
    std::condition_variable m_arrived;
    std::deque<Record> m_waiting;
    size_t m_waiting_bytes = 0;
    ChannelLosses m_lost; // since the last text that was kept
};

} // namespace trace
