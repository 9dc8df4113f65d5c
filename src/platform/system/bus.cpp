// Calls on the system's and the session's message bus.
#include "bus.h"

#include <systemd/sd-bus.h>

#include "calls.h"
#include "fork.h"
#include "library_function.h"

namespace platform
{

namespace
{

constexpr const char* library_name = "libsystemd.so.0";

// Microseconds. One call of an application makes several requests in a row, so the wait for all
// answers has one limit, which starts anew after a pause.
constexpr uint64_t patience = 2'000'000;
constexpr uint64_t pause = 200'000;

constexpr const char* login_name = "org.freedesktop.login1";
constexpr const char* login_path = "/org/freedesktop/login1";
constexpr const char* login_interface = "org.freedesktop.login1.Manager";
constexpr const char* saver_name = "org.freedesktop.ScreenSaver"; // and its interface
constexpr const char* saver_path = "/org/freedesktop/ScreenSaver";

// The functions used of the library, under its own names.
struct Library
{
    decltype(&::sd_bus_open_system) open_system;
    decltype(&::sd_bus_open_user) open_user;
    decltype(&::sd_bus_set_method_call_timeout) set_method_call_timeout;
    decltype(&::sd_bus_call_method) call_method;
    decltype(&::sd_bus_message_read) message_read;
    decltype(&::sd_bus_message_unref) message_unref;
    decltype(&::sd_bus_is_ready) is_ready;
    decltype(&::sd_bus_process) process;
    decltype(&::sd_bus_wait) wait;
    decltype(&::sd_bus_close_unref) close_unref;
};

bool load(Library& to)
{
    void* const library = sys::dlopen(library_name, RTLD_NOW | RTLD_LOCAL);
    return library && find_function(library, "sd_bus_open_system", to.open_system) &&
           find_function(library, "sd_bus_open_user", to.open_user) &&
           find_function(library, "sd_bus_set_method_call_timeout", to.set_method_call_timeout) &&
           find_function(library, "sd_bus_call_method", to.call_method) &&
           find_function(library, "sd_bus_message_read", to.message_read) &&
           find_function(library, "sd_bus_message_unref", to.message_unref) &&
           find_function(library, "sd_bus_is_ready", to.is_ready) &&
           find_function(library, "sd_bus_process", to.process) &&
           find_function(library, "sd_bus_wait", to.wait) &&
           find_function(library, "sd_bus_close_unref", to.close_unref);
}

struct Loading
{
    Library library;
    const bool good = load(library);
};

// Null without the library; it is never unloaded.
const Library* library()
{
    static constinit OfProcess<Loading> loading;
    const Loading& once = loading.get();
    return once.good ? &once.library : nullptr;
}

uint64_t microseconds_now()
{
    timespec now{};
    sys::clock_gettime(CLOCK_MONOTONIC, &now);
    constexpr uint64_t per_second = 1'000'000;
    constexpr uint64_t nanoseconds = 1'000;
    return static_cast<uint64_t>(now.tv_sec) * per_second +
           static_cast<uint64_t>(now.tv_nsec) / nanoseconds;
}

uint64_t g_left = patience; // the rest of the limit when the last request ended
uint64_t g_last_end = 0;

// The time that one request takes counts against the limit.
class Question
{
public:
    Question() : m_start(microseconds_now())
    {
        if (m_start - g_last_end > pause)
            g_left = patience;
    }
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;
    ~Question()
    {
        g_left = left();
        g_last_end = microseconds_now();
    }
    uint64_t left() const
    {
        const uint64_t taken = microseconds_now() - m_start;
        return taken < g_left ? g_left - taken : 0;
    }

private:
    const uint64_t m_start;
};

// Waits for the connection here: a call would wait for it too, and longer than the limit.
bool connects(sd_bus* bus, const Question& question)
{
    int ready = 0;
    while ((ready = library()->is_ready(bus)) == 0)
    {
        const int done = library()->process(bus, nullptr);
        const uint64_t left = question.left();
        if (done < 0 || left == 0 || (done == 0 && library()->wait(bus, left) < 0))
            return false;
    }
    return ready > 0;
}

// Null if there is no connection in time.
sd_bus* open_bus(int (*open)(sd_bus**), const Question& question)
{
    sd_bus* bus = nullptr;
    if (question.left() == 0 || open(&bus) < 0)
        return nullptr;
    const bool connected = connects(bus, question);
    if (const uint64_t left = question.left(); connected && left > 0)
    {
        library()->set_method_call_timeout(bus, left);
        return bus;
    }
    library()->close_unref(bus);
    return nullptr;
}

int ask_for_lock(sd_bus* bus, const char* what, const std::string& who, const std::string& why)
{
    sd_bus_message* answer = nullptr;
    int received = -1;
    int lock = -1;
    if (library()->call_method(bus, login_name, login_path, login_interface, "Inhibit", nullptr,
                               &answer, "ssss", what, who.c_str(), why.c_str(), "block") < 0)
        return -1;
    // The message closes its descriptor when it is freed.
    if (library()->message_read(answer, "h", &received) > 0)
        lock = sys::duplicate(received);
    library()->message_unref(answer);
    return lock;
}

bool ask_for_cookie(sd_bus* bus, const std::string& who, const std::string& why, uint32_t& cookie)
{
    sd_bus_message* answer = nullptr;
    if (library()->call_method(bus, saver_name, saver_path, saver_name, "Inhibit", nullptr, &answer,
                               "ss", who.c_str(), why.c_str()) < 0)
        return false;
    const bool got = library()->message_read(answer, "u", &cookie) > 0;
    library()->message_unref(answer);
    return got;
}

} // namespace

int take_login_lock(const char* what, const std::string& who, const std::string& why)
{
    if (!library())
        return -1;
    const Question question;
    sd_bus* const bus = open_bus(library()->open_system, question);
    if (!bus)
        return -1;
    const int lock = ask_for_lock(bus, what, who, why);
    library()->close_unref(bus); // the lock doesn't need the connection
    return lock;
}

void ScreenSaverLock::take(const std::string& who, const std::string& why)
{
    const Question question;
    sd_bus* const bus = library() ? open_bus(library()->open_user, question) : nullptr;
    uint32_t cookie = 0;
    if (!bus)
        return;
    if (!ask_for_cookie(bus, who, why, cookie))
    {
        library()->close_unref(bus);
        return;
    }
    release();
    m_bus = bus;
    m_cookie = cookie;
}

void ScreenSaverLock::release()
{
    if (!m_bus)
        return;
    const Question question;
    // If no time is left, the desktop notices the end of the connection.
    if (const uint64_t left = question.left(); left > 0)
    {
        library()->set_method_call_timeout(m_bus, left);
        library()->call_method(m_bus, saver_name, saver_path, saver_name, "UnInhibit", nullptr,
                               nullptr, "u", m_cookie);
    }
    library()->close_unref(m_bus);
    m_bus = nullptr;
}

} // namespace platform
