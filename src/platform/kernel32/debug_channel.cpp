#include "debug_channel.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "event_state.h"
#include "named_object.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/last_error.h"
#include "system/root.h"
#include "system/text.h"
#include "windows.h"

namespace platform
{

namespace
{

constexpr size_t buffer_size = 4096;
constexpr size_t text_limit = buffer_size - sizeof(DWORD); // bytes, terminator included
constexpr int64_t patience = 500'000'000;                  // ns that a text may cost its writer
constexpr int64_t look_again = 20'000'000; // ns between looks at whether the listener lives
constexpr uint32_t control_magic = 0x31434450;

// How far a writer has come; what the next one has to put right if it died there.
enum Phase : uint32_t
{
    idle,
    has_buffer, // taken from the listener: the next writer has it now
    has_text    // filled: the listener must be told, once more if it was told already
};

struct Control
{
    std::atomic<uint32_t> magic;
    std::atomic<uint32_t> listener;   // 0: nobody listens; else which listener it is
    std::atomic<uint32_t> generation; // of the last listener
    std::atomic<uint32_t> stuck;      // a writer has waited in vain
    std::atomic<uint32_t> phase;      // of the writer whose turn it is: a Phase
    std::atomic<uint32_t> writing;    // the listener whose buffer that writer has
    std::atomic<uint32_t> lost;       // texts that no listener took
    pthread_mutex_t turn;             // robust; which writer has the buffer
};

// The control page is of this machine and session, but its bytes may come from anybody of the same
// user: only what has the magic word is used, and nothing in it is an address or a length.
Control* map_control()
{
    const SharedGate gate;
    if (!gate.ok())
        return nullptr;
    const std::string path = shared_folder() + "/channel";
    const int fd = sys::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (fd < 0)
        return nullptr;
    struct stat found;
    void* view = MAP_FAILED;
    if (sys::fstat(fd, &found) == 0 &&
        (found.st_size == sizeof(Control) || sys::ftruncate(fd, sizeof(Control)) == 0))
        view = sys::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    sys::close(fd);
    if (view == MAP_FAILED)
        return nullptr;
    auto* const control = static_cast<Control*>(view);
    if (control->magic != control_magic)
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(&control->turn, &attributes);
        pthread_mutexattr_destroy(&attributes);
        control->magic = control_magic;
    }
    return control;
}

// Null if there is no shared memory to be had.
Control* control_page()
{
    static Control* const only = map_control();
    return only;
}

// The objects of one listener as a writer sees them. They are used without being held: a writer
// must not keep a listener's objects alive.
class Objects
{
public:
    // Makes sure that the objects are those of this listener. Needs the turn.
    bool attach(uint32_t listener)
    {
        if (m_listener == listener)
            return true;
        detach();
        const int fd = open_object(NamedKind::event, "DBWIN_BUFFER_READY");
        m_buffer_ready = map<EventState>(fd, sizeof(EventState), PROT_READ | PROT_WRITE);
        m_data_ready =
            map_named<EventState>(NamedKind::event, "DBWIN_DATA_READY", sizeof(EventState));
        m_buffer = map_named<char>(NamedKind::mapping, "DBWIN_BUFFER", buffer_size);
        m_alive_fd = fd;
        if (!m_buffer_ready || !m_data_ready || !m_buffer)
        {
            detach();
            return false;
        }
        m_listener = listener;
        return true;
    }

    void detach()
    {
        unmap(m_buffer_ready, sizeof(EventState));
        unmap(m_data_ready, sizeof(EventState));
        unmap(m_buffer, buffer_size);
        if (m_alive_fd >= 0)
            sys::close(m_alive_fd);
        m_alive_fd = -1;
        m_listener = 0;
    }

    bool listener_lives() const { return is_held(m_alive_fd); }
    EventState& buffer_ready() const { return *m_buffer_ready; }
    EventState& data_ready() const { return *m_data_ready; }

    void put(const char* text, size_t length)
    {
        const DWORD process = GetCurrentProcessId();
        std::memcpy(m_buffer, &process, sizeof process);
        std::memcpy(m_buffer + sizeof process, text, length);
        m_buffer[sizeof process + length] = '\0';
    }

private:
    static int open_object(NamedKind kind, const char* name)
    {
        const std::string path = named_object_path(kind, name);
        return path.empty() ? -1 : sys::open(path.c_str(), O_RDWR | O_NOFOLLOW);
    }

    template <class T> static T* map(int fd, size_t size, int protection)
    {
        struct stat found;
        if (fd < 0 || sys::fstat(fd, &found) != 0 || found.st_size < static_cast<off_t>(size))
            return nullptr;
        void* const view = sys::mmap(nullptr, size, protection, MAP_SHARED, fd, 0);
        return view == MAP_FAILED ? nullptr : static_cast<T*>(view);
    }

    template <class T> static T* map_named(NamedKind kind, const char* name, size_t size)
    {
        const int fd = open_object(kind, name);
        T* const view = map<T>(fd, size, PROT_READ | PROT_WRITE);
        if (fd >= 0)
            sys::close(fd);
        return view;
    }

    template <class T> static void unmap(T*& view, size_t size)
    {
        if (view)
            sys::munmap(view, size);
        view = nullptr;
    }

    uint32_t m_listener = 0;
    int m_alive_fd = -1;
    EventState* m_buffer_ready = nullptr;
    EventState* m_data_ready = nullptr;
    char* m_buffer = nullptr;
};

// Guarded by the turn, which no two threads of any process have at once.
Objects& objects()
{
    static Objects& only = *new Objects;
    return only;
}

// A writer's turn at the channel.
class Turn
{
public:
    explicit Turn(Control& control) : m_control(control)
    {
        int result = pthread_mutex_trylock(&control.turn);
        if (result == EBUSY)
        {
            // The holder gives up after its patience, so this wait is short; its own limit is for
            // a holder that was stopped. The lock's clock is the wall clock.
            timespec until;
            ::clock_gettime(CLOCK_REALTIME, &until);
            until.tv_nsec += patience;
            until.tv_sec += until.tv_nsec / 1'000'000'000;
            until.tv_nsec %= 1'000'000'000;
            result = pthread_mutex_timedlock(&control.turn, &until);
        }
        m_inherited = result == EOWNERDEAD;
        if (m_inherited)
        {
            pthread_mutex_consistent(&control.turn);
            result = 0;
        }
        m_taken = result == 0;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn()
    {
        if (m_taken)
            pthread_mutex_unlock(&m_control.turn);
    }
    bool taken() const { return m_taken; }
    bool inherited() const { return m_inherited; } // from a writer that died with it

private:
    Control& m_control;
    bool m_taken = false;
    bool m_inherited = false;
};

// Waits for the buffer. False if the listener is dead or does not take texts.
bool wait_for_buffer(Control& control, Objects& channel, uint32_t listener, int64_t deadline)
{
    EventState& ready = channel.buffer_ready();
    if (ready.try_take())
        return true;
    if (control.stuck.load(std::memory_order_relaxed) == listener)
        return false; // somebody has waited for this listener already
    for (;;)
    {
        const int64_t now = monotonic_ns();
        if (now >= deadline)
        {
            control.stuck = listener;
            return false;
        }
        const int64_t until = now + look_again < deadline ? now + look_again : deadline;
        if (ready.wait_until(until, true) == WAIT_OBJECT_0)
            return true;
        if (!channel.listener_lives())
        {
            // It was killed and could not say so itself.
            const SharedGate gate;
            uint32_t expected = listener;
            if (gate.ok() && !channel.listener_lives())
                control.listener.compare_exchange_strong(expected, 0);
            channel.detach();
            return false;
        }
    }
}

void lose(Control& control)
{
    control.lost.fetch_add(1, std::memory_order_relaxed);
}

// Hands one text to the listener. length <= text_limit - 1.
void send(Control& control, const char* text, size_t length)
{
    const int64_t deadline = monotonic_ns() + patience;
    const Turn turn(control);
    if (!turn.taken())
        return lose(control);
    const uint32_t listener = control.listener.load(std::memory_order_acquire);
    Objects& channel = objects();
    if (listener == 0 || !channel.attach(listener))
        return lose(control);
    const bool left_over = turn.inherited() && control.writing == listener;
    const uint32_t left_phase = left_over ? control.phase.load() : idle;
    if (left_phase == has_text)
        channel.data_ready().set(true);
    if (left_phase != has_buffer && !wait_for_buffer(control, channel, listener, deadline))
        return lose(control);
    control.writing = listener;
    control.phase = has_buffer;
    control.stuck = 0;
    channel.put(text, length);
    control.phase = has_text;
    channel.data_ready().set(true);
    control.phase = idle;
}

// PLINTH_DEBUG_OUTPUT=stderr: for programs without a listener at hand.
bool mirrors_to_stderr()
{
    static const bool wanted = []
    {
        const char* const setting = std::getenv("PLINTH_DEBUG_OUTPUT");
        return setting && std::strcmp(setting, "stderr") == 0;
    }();
    return wanted;
}

void mirror(const char* text, size_t length)
{
    while (length > 0)
    {
        const ssize_t count = sys::write(STDERR_FILENO, text, length);
        if (count <= 0)
            return;
        text += count;
        length -= static_cast<size_t>(count);
    }
}

// The channel, if there is anybody to write to. The ordinary case is one load.
Control* open_channel()
{
    Control* const control = control_page();
    return control && control->listener.load(std::memory_order_acquire) != 0 ? control : nullptr;
}

void put_out(const char* text, size_t length)
{
    if (mirrors_to_stderr())
        mirror(text, length);
    if (Control* const control = open_channel())
        send(*control, text, length);
}

// Keeps the thread's last error and errno: a trace between a failure and its reader changes
// nothing.
class ErrorKeeper
{
public:
    ErrorKeeper() : m_error(GetLastError()), m_errno(errno) {}
    ErrorKeeper(const ErrorKeeper&) = delete;
    ErrorKeeper& operator=(const ErrorKeeper&) = delete;
    ~ErrorKeeper()
    {
        SetLastError(m_error);
        errno = m_errno;
    }

private:
    const DWORD m_error;
    const int m_errno;
};

} // namespace

void debug_channel_prepare()
{
    control_page();
}

void debug_channel_listener_came()
{
    if (Control* const control = control_page())
    {
        uint32_t next = control->generation + 1;
        if (next == 0)
            next = 1;
        control->generation = next;
        control->stuck = 0;
        control->listener.store(next, std::memory_order_release);
    }
}

void debug_channel_listener_went()
{
    if (Control* const control = control_page())
        control->listener.store(0, std::memory_order_release);
}

} // namespace platform

using namespace platform;

extern "C" void OutputDebugStringA(LPCSTR text)
{
    const ErrorKeeper keeper;
    if (!text || (!mirrors_to_stderr() && !open_channel()))
        return;
    size_t length = strnlen(text, text_limit);
    if (length == text_limit)
    {
        // Too long: cut, but not inside a character.
        --length;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
            --length;
    }
    put_out(text, length);
}

extern "C" void OutputDebugStringW(LPCWSTR text)
{
    const ErrorKeeper keeper;
    if (!text || (!mirrors_to_stderr() && !open_channel()))
        return;
    char bytes[text_limit];
    size_t length = 0;
    // A character has one byte at least, so more characters than the limit can't matter.
    size_t units = 0;
    while (units < text_limit && text[units])
        ++units;
    utf8_from_wide(text, units, bytes, text_limit - 1, &length);
    put_out(bytes, length);
}
