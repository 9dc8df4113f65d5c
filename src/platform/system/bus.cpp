// Calls on the system's and the session's message bus.
#include "bus.h"

#include <systemd/sd-bus.h>

#include "calls.h"
#include "fork.h"

namespace platform
{

namespace
{

constexpr const char* library_name = "libsystemd.so.0";
constexpr uint64_t patience = 2'000'000; // microseconds for an answer: no program hangs on a bus

constexpr const char* login_name = "org.freedesktop.login1";
constexpr const char* login_path = "/org/freedesktop/login1";
constexpr const char* login_interface = "org.freedesktop.login1.Manager";
constexpr const char* saver_name = "org.freedesktop.ScreenSaver"; // and its interface
constexpr const char* saver_path = "/org/freedesktop/ScreenSaver";

// What is used of the library, under its own names.
struct Library
{
    decltype(&::sd_bus_open_system) open_system;
    decltype(&::sd_bus_open_user) open_user;
    decltype(&::sd_bus_set_method_call_timeout) set_method_call_timeout;
    decltype(&::sd_bus_call_method) call_method;
    decltype(&::sd_bus_message_read) message_read;
    decltype(&::sd_bus_message_unref) message_unref;
    decltype(&::sd_bus_flush_close_unref) flush_close_unref;
};

template <class Function> bool find(void* library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(sys::dlsym(library, name));
    return function != nullptr;
}

bool load(Library& to)
{
    void* const library = sys::dlopen(library_name, RTLD_NOW | RTLD_LOCAL);
    return library && find(library, "sd_bus_open_system", to.open_system) &&
           find(library, "sd_bus_open_user", to.open_user) &&
           find(library, "sd_bus_set_method_call_timeout", to.set_method_call_timeout) &&
           find(library, "sd_bus_call_method", to.call_method) &&
           find(library, "sd_bus_message_read", to.message_read) &&
           find(library, "sd_bus_message_unref", to.message_unref) &&
           find(library, "sd_bus_flush_close_unref", to.flush_close_unref);
}

struct Loading
{
    Library library;
    const bool good = load(library);
};

// Null if the library isn't there; it is never unloaded.
const Library* library()
{
    static constinit OfProcess<Loading> s_loading;
    const Loading& once = s_loading.get();
    return once.good ? &once.library : nullptr;
}

sd_bus* open_bus(int (*open)(sd_bus**))
{
    sd_bus* bus = nullptr;
    if (open(&bus) < 0)
        return nullptr;
    library()->set_method_call_timeout(bus, patience);
    return bus;
}

int ask_for_lock(sd_bus* bus, const char* what, const std::string& who, const std::string& why)
{
    sd_bus_message* answer = nullptr;
    int received = -1;
    int lock = -1;
    if (library()->call_method(bus, login_name, login_path, login_interface, "Inhibit", nullptr,
                               &answer, "ssss", what, who.c_str(), why.c_str(), "block") < 0)
        return -1;
    // The descriptor in the message goes with the message.
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
    sd_bus* const bus = open_bus(library()->open_system);
    if (!bus)
        return -1;
    const int lock = ask_for_lock(bus, what, who, why);
    library()->flush_close_unref(bus); // the lock doesn't need it
    return lock;
}

void ScreenSaverLock::take(const std::string& who, const std::string& why)
{
    sd_bus* const bus = library() ? open_bus(library()->open_user) : nullptr;
    uint32_t cookie = 0;
    if (!bus)
        return;
    if (!ask_for_cookie(bus, who, why, cookie))
    {
        library()->flush_close_unref(bus);
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
    library()->call_method(m_bus, saver_name, saver_path, saver_name, "UnInhibit", nullptr, nullptr,
                           "u", m_cookie);
    library()->flush_close_unref(m_bus);
    m_bus = nullptr;
}

} // namespace platform
