// The debug string channel: the writer's side, and how a listener's objects inform it.
//
// The protocol with a listener is the system's: two events, "DBWIN_BUFFER_READY" (the buffer may be
// written) and "DBWIN_DATA_READY" (it holds a text), and a mapping "DBWIN_BUFFER" of 4,096 bytes
// with the writer's process id and a text. In addition, the writers of all of the user's processes
// share a control page:
//
// - One word shows whether there is a listener. Writers read it before anything else, so that a
//   text without a listener costs one load and no system call.
// - Another word shows which writer may use the buffer. A writer that dies with the buffer leaves
//   its mark in the first event's word, and the next writer repairs the channel.
// - A writer that has waited its full time for a listener records this on the page; later writers
//   then don't wait until the listener has taken a text.
#include <cerrno>
#include <cstring>
#include <optional>

#include "debug_channel_control.h"
#include "kernel32/object/event_state.h"
#include "kernel32/object/named_object.h"
#include "plinth_platform.h"
#include "system/calls.h"
#include "system/clock.h"
#include "system/descriptor.h"
#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/fork.h"
#include "system/standard_error.h"
#include "system/text.h"
#include "windows.h"

namespace platform
{

namespace
{

constexpr size_t buffer_size = 4096;
constexpr const char* first_object = debug_channel_listener_event;
constexpr size_t text_limit = buffer_size - sizeof(DWORD); // bytes, terminator included
// How long a writer waits before it checks again whether the listener lives, in ns: short at first,
// so that a dead listener costs little time, then longer and longer.
constexpr int64_t first_look = 100'000;
constexpr int64_t longest_look = 20'000'000;

// While a writer has the buffer, the word of DBWIN_BUFFER_READY holds the number of its turn.
// Taking the buffer and marking it as taken are thus one step. If the writer dies or is stopped for
// too long, the next one notices, as no writer ends its turn with such a value. 0 and 1 show
// whether the event is signalled and are no turn's number; any other value was left by a former
// turn or by a foreign program.
bool is_in_hand(uint32_t word)
{
    return word > 1;
}

// The objects of one listener as a writer sees them. A writer doesn't hold them: it must not keep a
// listener's objects alive.
class Objects
{
public:
    // Makes sure that the objects are those of this listener. Needs the turn.
    bool attach(uint32_t listener)
    {
        if (m_listener == listener) [[likely]]
            return true;
        detach();
        struct stat buffer_ready = {};
        m_buffer_ready = map_event(first_object, &buffer_ready);
        m_data_ready = map_event("DBWIN_DATA_READY");
        m_buffer = map_named<char>(NamedKind::mapping, "DBWIN_BUFFER", buffer_size);
        if (!m_buffer_ready || !m_data_ready || !m_buffer)
        {
            detach();
            return false;
        }
        m_device = buffer_ready.st_dev;
        m_inode = buffer_ready.st_ino;
        m_listener = listener;
        m_process = GetCurrentProcessId();
        return true;
    }

    void detach()
    {
        unmap_event(m_buffer_ready);
        unmap_event(m_data_ready);
        unmap(m_buffer, buffer_size);
        m_listener = 0;
    }

    // For a process just forked: another thread of its parent may have been using the objects.
    void forget() { *this = Objects(); }

    // The object is opened for each check, which is rare. If a descriptor were kept, the program
    // could close it and its number could become another file; the listener would then seem dead.
    // If another object has the name, it belongs to another listener.
    bool listener_lives() const
    {
        struct stat found = {};
        const Held state = held(NamedKind::event, first_object, &found);
        return state == Held::unknown ||
               (state == Held::yes && found.st_dev == m_device && found.st_ino == m_inode);
    }

    const EventUse& buffer_ready() const { return *m_buffer_ready; }
    const EventUse& data_ready() const { return *m_data_ready; }

    void put(const char* text, size_t length)
    {
        std::memcpy(m_buffer, &m_process, sizeof m_process);
        std::memcpy(m_buffer + sizeof m_process, text, length);
        m_buffer[sizeof m_process + length] = '\0';
    }

private:
    // Opens only an object that a process holds: a listener makes its objects one after the other,
    // and the name of one not made yet may still belong to a dead listener's object.
    static int open_held(NamedKind kind, const char* name)
    {
        const std::string path = named_object_path(kind, name);
        const int fd = path.empty() ? -1 : sys::open(path.c_str(), O_RDWR | O_NOFOLLOW);
        if (fd < 0 || held(fd) == Held::yes)
            return fd;
        sys::close(fd);
        return -1;
    }

    template <class T> static T* map(int fd, size_t size, struct stat& found)
    {
        if (fd < 0 || sys::fstat(fd, &found) != 0 || found.st_size < static_cast<off_t>(size))
            return nullptr;
        void* const view = sys::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        return view == MAP_FAILED ? nullptr : static_cast<T*>(view);
    }

    template <class T>
    static T* map_named(NamedKind kind, const char* name, size_t size, struct stat* what = nullptr)
    {
        struct stat found;
        const Descriptor fd(open_held(kind, name));
        return map<T>(fd, size, what ? *what : found);
    }

    template <class T> static void unmap(T*& view, size_t size)
    {
        if (view)
            sys::munmap(view, size);
        view = nullptr;
    }

    static std::optional<EventUse> map_event(const char* name, struct stat* what = nullptr)
    {
        auto* words = map_named<EventState>(NamedKind::event, name, sizeof(EventState), what);
        const auto use = words ? EventUse::of_shared(words) : std::nullopt;
        if (!use)
            unmap(words, sizeof(EventState));
        return use;
    }

    static void unmap_event(std::optional<EventUse>& event)
    {
        if (event)
            unmap(event->words, sizeof(EventState));
        event.reset();
    }

    uint32_t m_listener = 0;
    dev_t m_device = 0; // of the listener's first object
    ino_t m_inode = 0;
    DWORD m_process = 0;
    std::optional<EventUse> m_buffer_ready;
    std::optional<EventUse> m_data_ready;
    char* m_buffer = nullptr;
};

// Guarded by the turn, which no two threads of any process have at once.
constinit Objects g_objects;

// A point where a test counts, or has the process killed or stopped: the fault's error is the
// signal.
void test_point(const char* name)
{
    int signal = 0;
    if (api_fault(name, signal)) [[unlikely]]
        ::raise(signal);
}

// Used when a listener died before it could sign off. A new listener gets a new number.
void declare_dead(ChannelControl& control, uint32_t listener)
{
    control.listener.compare_exchange_strong(listener, 0);
    g_objects.detach();
}

// Whether the listener waits for a text and none is on its way, though the buffer isn't signalled:
// then a program has damaged the word, and the buffer is taken.
bool signal_was_lost(const ChannelControl& control, uint32_t turn)
{
    const EventState& data = *g_objects.data_ready().words;
    uint32_t expected = 0;
    return data.waiters.load() != 0 && data.signalled.load() == 0 && control.filled.load() == 0 &&
           g_objects.buffer_ready().words->signalled.compare_exchange_strong(expected, turn);
}

// Waits until the listener frees the buffer. False if it is dead or does not take texts.
bool wait_for_buffer(ChannelControl& control, uint32_t turn, uint32_t listener, int64_t deadline)
{
    const EventUse& ready = g_objects.buffer_ready();
    if (ready.try_take(turn))
        return true;
    const bool stuck = control.stuck.load(std::memory_order_relaxed) == listener;
    if (stuck && signal_was_lost(control, turn))
        return true;
    for (int64_t pause = first_look;; pause = pause * 2 < longest_look ? pause * 2 : longest_look)
    {
        const int64_t now = monotonic_ns();
        // An earlier writer may have waited for this listener already.
        if (stuck || now >= deadline)
        {
            if (!g_objects.listener_lives())
                declare_dead(control, listener);
            else if (signal_was_lost(control, turn))
                return true;
            control.stuck = listener;
            return false;
        }
        test_point("OutputDebugString.wait");
        const int64_t until = now + pause < deadline ? now + pause : deadline;
        if (ready.wait_until(until, turn) == WAIT_OBJECT_0)
            return true;
        if (!g_objects.listener_lives())
        {
            declare_dead(control, listener);
            return false;
        }
    }
}

// Informs the listener of the text in its buffer, which ends the writer's hold on the buffer.
void announce(ChannelControl& control, uint32_t turn)
{
    g_objects.data_ready().set();
    test_point("OutputDebugString.announced");
    // Unless the listener has taken the text and signalled again already.
    uint32_t expected = turn;
    g_objects.buffer_ready().words->signalled.compare_exchange_strong(expected, 0);
    control.filled.store(0, std::memory_order_relaxed);
}

// Takes the buffer over from a writer that died with it. False if no writer left one, or if the
// listener must read it first.
bool inherit_buffer(ChannelControl& control, uint32_t turn, uint32_t listener, int64_t deadline)
{
    const EventUse& ready = g_objects.buffer_ready();
    uint32_t former = ready.words->signalled.load();
    if (!is_in_hand(former) || !ready.words->signalled.compare_exchange_strong(former, turn))
    {
        control.filled.store(0, std::memory_order_relaxed); // of one that died at its very end
        return false;
    }
    if (control.filled.load() != listener)
        return true;
    // The buffer holds a text, announced or not. If the listener had been informed, it would be
    // reading it now and finish very soon: informed twice, it would read while the next writer
    // writes.
    const int64_t soon = monotonic_ns() + longest_look;
    if (g_objects.data_ready().words->signalled.load() != 1 &&
        ready.wait_until(soon < deadline ? soon : deadline, turn) == WAIT_OBJECT_0)
        return true;
    announce(control, turn);
    return false;
}

enum class Sent
{
    yes,
    no,        // the listener doesn't take the text
    overtaken, // this thread was stopped for so long that another writer has the turn
};

// Frees the buffer without having written a text, unless another writer has taken it over.
void give_back(uint32_t turn)
{
    uint32_t expected = turn;
    const EventUse& ready = g_objects.buffer_ready();
    if (ready.words->signalled.compare_exchange_strong(expected, 0))
        ready.set();
}

// Sends one text to the listener in a turn of its own. length <= text_limit - 1.
Sent send_in_turn(ChannelControl& control, const char* text, size_t length)
{
    const int64_t deadline = monotonic_ns() + channel_patience();
    const ChannelTurn turn(control, deadline);
    const uint32_t listener = control.listener.load(std::memory_order_acquire);
    if (!turn.taken() || listener == 0)
        return Sent::no;
    if (!g_objects.attach(listener))
    {
        // Without this, every later text of every process would look for the listener again. A
        // listener that is still making its objects has already made the first one.
        if (held(NamedKind::event, first_object) == Held::no)
            declare_dead(control, listener);
        return Sent::no;
    }
    if (!inherit_buffer(control, turn.number(), listener, deadline) &&
        !wait_for_buffer(control, turn.number(), listener, deadline))
        return turn.taken() ? Sent::no : Sent::overtaken;
    test_point("OutputDebugString.taken");
    if (!turn.taken())
    {
        give_back(turn.number());
        return Sent::overtaken;
    }
    control.filled.store(0, std::memory_order_relaxed);
    control.stuck.store(0, std::memory_order_relaxed);
    g_objects.put(text, length);
    control.filled.store(listener);
    test_point("OutputDebugString.filled");
    if (turn.taken()) // else another writer has announced it, or taken its place
        announce(control, turn.number());
    return Sent::yes;
}

// False if the listener doesn't take the text.
bool send(ChannelControl& control, const char* text, size_t length)
{
    Sent sent = Sent::overtaken;
    for (int attempt = 0; attempt < 3 && sent == Sent::overtaken; ++attempt)
        sent = send_in_turn(control, text, length);
    return sent == Sent::yes;
}

// PLINTH_DEBUG_OUTPUT=stderr: for programs without a listener at hand.
bool mirrors_to_stderr()
{
    static const bool wanted = []
    {
        const char* const setting = environment("PLINTH_DEBUG_OUTPUT");
        return setting && std::strcmp(setting, "stderr") == 0;
    }();
    return wanted;
}

// A turn lasts as long as a listener lets a writer wait, so a fork doesn't wait for it.
void let_go_in_child()
{
    if (forget_own_turn())
        g_objects.detach(); // they name the parent as the writer
    else
        g_objects.forget();
}

const AtFork g_at_fork(ForkStep::debug_channel,
                       {[] { static_cast<void>(mirrors_to_stderr()); }, nullptr, let_go_in_child});

// The channel, if there is a listener. Without one this is a single load.
ChannelControl* open_channel()
{
    ChannelControl* const control = channel_control();
    return control && control->listener.load(std::memory_order_acquire) != 0 ? control : nullptr;
}

void put_out(const char* text, size_t length)
{
    if (mirrors_to_stderr())
        write_standard_error({text, length});
    ChannelControl* const control = open_channel();
    if (control && !send(*control, text, length))
        control->lost.fetch_add(1, std::memory_order_relaxed);
}

// Whether there is any reader. Checked before memory for the text is reserved: most texts have no
// reader.
bool has_reader()
{
    return mirrors_to_stderr() || open_channel();
}

void put_out(LPCSTR text)
{
    size_t length = strnlen(text, text_limit);
    if (length == text_limit)
    {
        // Too long: it is cut, but not inside a character, which has at most four bytes.
        const size_t longest = --length;
        while (length + 3 > longest && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
            --length;
    }
    put_out(text, length);
}

[[gnu::noinline]] void put_out(LPCWSTR text)
{
    char bytes[text_limit];
    size_t length = 0;
    // A character has at least one byte, so more characters than the limit can't fit.
    const size_t units = wide_length_within(text, text_limit);
    utf8_from_wide(text, units, bytes, text_limit - 1, &length);
    put_out(bytes, length);
}

// Keeps the thread's last error and errno: a trace between a failed call and the check of its error
// must not change them.
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

template <class Text> void put_out_if_read(Text text)
try
{
    const ErrorKeeper keeper;
    if (text && has_reader())
        put_out(text);
}
catch (const std::exception& exception)
{
    failed_by(exception, FALSE); // the text is lost
}

} // namespace

} // namespace platform

using namespace platform;

extern "C" void OutputDebugStringA(LPCSTR text)
{
    put_out_if_read(text);
}

extern "C" void OutputDebugStringW(LPCWSTR text)
{
    put_out_if_read(text);
}

extern "C" DWORD WINAPI PlinthLostDebugTexts(void)
try
{
    const ChannelControl* const control = channel_control();
    return control ? control->lost.load(std::memory_order_relaxed) : 0;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}
