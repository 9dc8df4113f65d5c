// Calls on the system's and the session's message bus.
//
// The library's own call fails if a signal interrupts its wait, and leaves open whether the request
// was sent. So a request is sent once here, and the waits for the connection and the answer go on
// after a signal.
#include "bus.h"

#include <cerrno>
#include <utility>

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
    decltype(&::sd_bus_message_new_method_call) new_method_call;
    decltype(&::sd_bus_message_append) message_append;
    decltype(&::sd_bus_call_async) call_async;
    decltype(&::sd_bus_slot_unref) slot_unref;
    decltype(&::sd_bus_message_is_method_error) is_method_error;
    decltype(&::sd_bus_message_read) message_read;
    decltype(&::sd_bus_message_ref) message_ref;
    decltype(&::sd_bus_message_unref) message_unref;
    decltype(&::sd_bus_is_ready) is_ready;
    decltype(&::sd_bus_process) process;
    decltype(&::sd_bus_wait) wait;
    decltype(&::sd_bus_get_fd) get_fd;
    decltype(&::sd_bus_close_unref) close_unref;
};

bool load(Library& to)
{
    void* const library = sys::dlopen(library_name, RTLD_NOW | RTLD_LOCAL);
    return library && find_function(library, "sd_bus_open_system", to.open_system) &&
           find_function(library, "sd_bus_open_user", to.open_user) &&
           find_function(library, "sd_bus_message_new_method_call", to.new_method_call) &&
           find_function(library, "sd_bus_message_append", to.message_append) &&
           find_function(library, "sd_bus_call_async", to.call_async) &&
           find_function(library, "sd_bus_slot_unref", to.slot_unref) &&
           find_function(library, "sd_bus_message_is_method_error", to.is_method_error) &&
           find_function(library, "sd_bus_message_read", to.message_read) &&
           find_function(library, "sd_bus_message_ref", to.message_ref) &&
           find_function(library, "sd_bus_message_unref", to.message_unref) &&
           find_function(library, "sd_bus_is_ready", to.is_ready) &&
           find_function(library, "sd_bus_process", to.process) &&
           find_function(library, "sd_bus_wait", to.wait) &&
           find_function(library, "sd_bus_get_fd", to.get_fd) &&
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

// Calls a function of the library until no signal interrupts it.
template <class Call> int uninterrupted(const Question& question, Call call)
{
    int result = call();
    while (result == -EINTR && question.left() > 0)
        result = call();
    return result;
}

// Serves the connection until the condition holds. False if it fails or no time is left.
template <class Condition> bool serve_until(sd_bus* bus, const Question& question, Condition holds)
{
    while (!holds())
    {
        const int done = uninterrupted(question, [&] { return library()->process(bus, nullptr); });
        if (done < 0)
            return false;
        if (question.left() == 0)
            return holds();
        // Each wait has the time that is then left.
        if (done == 0 &&
            uninterrupted(question, [&] { return library()->wait(bus, question.left()); }) < 0)
            return false;
    }
    return true;
}

// Null if there is no connection in time.
sd_bus* open_bus(int (*open)(sd_bus**), const Question& question)
{
    sd_bus* bus = nullptr;
    if (question.left() == 0 || uninterrupted(question, [&] { return open(&bus); }) < 0)
        return nullptr;
    int ready = 0;
    const bool is_over =
        serve_until(bus, question, [&] { return (ready = library()->is_ready(bus)) != 0; });
    if (is_over && ready > 0 && question.left() > 0)
        return bus;
    library()->close_unref(bus);
    return nullptr;
}

// A request and its answer.
class Request
{
public:
    Request(sd_bus* bus, const char* name, const char* path, const char* interface,
            const char* method)
        : m_bus(bus)
    {
        if (library()->new_method_call(bus, &m_request, name, path, interface, method) < 0)
            m_request = nullptr;
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
    ~Request()
    {
        library()->message_unref(m_answer);
        library()->message_unref(m_request);
    }
    // Sends the request with its arguments and waits for the answer. Null if there is none in time,
    // or only an error. The answer is valid as long as the object.
    template <class... Arguments>
    sd_bus_message* ask(const Question& question, const char* types, Arguments... arguments)
    {
        if (!m_request || library()->message_append(m_request, types, arguments...) < 0 ||
            !wait_for_answer(question))
            return nullptr;
        return library()->is_method_error(m_answer, nullptr) > 0 ? nullptr : m_answer;
    }

private:
    bool wait_for_answer(const Question& question)
    {
        const auto keep = [](sd_bus_message* answer, void* request, sd_bus_error*)
        {
            static_cast<Request*>(request)->m_answer = library()->message_ref(answer);
            return 1;
        };
        sd_bus_slot* slot = nullptr;
        const uint64_t left = question.left();
        if (left == 0 || library()->call_async(m_bus, &slot, m_request, keep, this, left) < 0)
            return false;
        const bool answered = serve_until(m_bus, question, [this] { return m_answer != nullptr; });
        library()->slot_unref(slot); // an answer that comes later is ignored
        return answered;
    }

    sd_bus* const m_bus;
    sd_bus_message* m_request = nullptr;
    sd_bus_message* m_answer = nullptr;
};

int ask_for_lock(sd_bus* bus, const Question& question, const char* what, const std::string& who,
                 const std::string& why)
{
    Request request(bus, login_name, login_path, login_interface, "Inhibit");
    sd_bus_message* const answer =
        request.ask(question, "ssss", what, who.c_str(), why.c_str(), "block");
    int received = -1;
    // The message closes its descriptor when it is freed.
    const bool got = answer && library()->message_read(answer, "h", &received) > 0;
    return got ? sys::duplicate(received) : -1;
}

bool ask_for_cookie(sd_bus* bus, const Question& question, const std::string& who,
                    const std::string& why, uint32_t& cookie)
{
    Request request(bus, saver_name, saver_path, saver_name, "Inhibit");
    sd_bus_message* const answer = request.ask(question, "ss", who.c_str(), why.c_str());
    return answer && library()->message_read(answer, "u", &cookie) > 0;
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
    const int lock = ask_for_lock(bus, question, what, who, why);
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
    if (!ask_for_cookie(bus, question, who, why, cookie))
    {
        library()->close_unref(bus);
        return;
    }
    release();
    m_bus = bus;
    m_socket = KeptFile(library()->get_fd(bus));
    m_cookie = cookie;
}

void ScreenSaverLock::release()
{
    if (!is_held())
    {
        // The client library would write to the program's file that has the number now, and close
        // it. So it keeps its memory.
        if (m_bus)
            leave_to_parent(std::exchange(m_bus, nullptr));
        return;
    }
    const Question question;
    // If no time is left, the desktop notices the end of the connection.
    if (question.left() > 0)
        Request(m_bus, saver_name, saver_path, saver_name, "UnInhibit")
            .ask(question, "u", m_cookie);
    library()->close_unref(m_bus);
    m_bus = nullptr;
}

} // namespace platform
