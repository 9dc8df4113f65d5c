// The objects of the debug string channel, which belong to its only listener: two events and a
// buffer with names that the system defines.
#pragma once

#include <array>
#include <string>

#include <windows.h>

#include "record.h"
#include "take_over.h"

namespace trace
{

class ChannelObjects
{
public:
    enum class Result
    {
        ours,
        taken,  // another listener has them
        failed, // they can't be made: problem() returns the reason
    };

    ChannelObjects() = default;
    ~ChannelObjects() { release(); }
    ChannelObjects(const ChannelObjects&) = delete;
    ChannelObjects& operator=(const ChannelObjects&) = delete;

    // Makes the objects. Writers can't use the buffer before free_buffer is called for the first
    // time.
    Result take(const TakeOverWatcher& watcher);
    void release();
    const std::string& problem() const { return m_problem; }

    // Lets writers fill the buffer.
    void free_buffer() { SetEvent(m_buffer_ready); }
    // Copies a text and its writer's process id, then frees the buffer. False if no text came in
    // time. The text is valid until the next call.
    bool take_text(RecordView& record, DWORD milliseconds);

private:
    // The buffer: the writer's process id, then the text, zero-terminated or filling the rest.
    static constexpr size_t buffer_size = 4096;
    static constexpr size_t text_offset = 4;

    Result fail(const char* what);

    HANDLE m_buffer_ready = nullptr; // set: writers may fill the buffer
    HANDLE m_data_ready = nullptr;   // set: the buffer holds a text
    HANDLE m_mapping = nullptr;
    const char* m_buffer = nullptr;
    std::array<char, buffer_size - text_offset> m_text; // the last one
    std::string m_problem;
};

} // namespace trace
