// Settings of the session: screen saver and power saving of the display.
//
// As on the system a setting belongs to no process: it stays when the process that made it ends,
// until the machine restarts; then the user's own setting applies again. Both are kept in the
// registry, the session's with the identity of its boot. While a process lives that has turned a
// setting off, the desktop's screen saver is really suppressed.
#include <mutex>
#include <new>
#include <string>

#include "kernel32/process/awake.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/kernel_files.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr const wchar_t* user_key = L"Control Panel\\Desktop";
constexpr const wchar_t* session_key = L"Control Panel\\Desktop\\Session";
constexpr const wchar_t* boot_name = L"BootId";

struct Setting
{
    UINT get;
    UINT set;
    const wchar_t* name;
};
constexpr Setting settings[] = {
    {SPI_GETSCREENSAVEACTIVE, SPI_SETSCREENSAVEACTIVE, L"ScreenSaveActive"},
    {SPI_GETLOWPOWERACTIVE, SPI_SETLOWPOWERACTIVE, L"LowPowerActive"},
    {SPI_GETPOWEROFFACTIVE, SPI_SETPOWEROFFACTIVE, L"PowerOffActive"},
};

struct TurnedOff
{
    std::mutex lock; // guards off and changes of the registry; taken before awake.cpp's lock
    bool off[std::size(settings)] = {};
};

constinit OfProcess<TurnedOff> g_turned_off;

TurnedOff& turned_off()
{
    return g_turned_off.get();
}

// The lock is held during waits for other processes.
const AtFork g_at_fork(ForkStep::session_settings,
                       {nullptr, nullptr, [] { g_turned_off.renew(); }});

class Key
{
public:
    explicit Key(const wchar_t* path, bool create = false)
    {
        m_error = create ? RegCreateKeyW(HKEY_CURRENT_USER, path, &m_key)
                         : RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    LONG error() const { return m_error; }

    // UTF-8; empty if there is no text, or one that is too long.
    std::string text(const wchar_t* name) const
    {
        wchar_t value[64] = {};
        DWORD size = sizeof value - sizeof *value;
        if (RegQueryValueExW(m_key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(value),
                             &size) != ERROR_SUCCESS)
            return "";
        return to_utf8(value);
    }
    LONG set_text(const wchar_t* name, const std::string& value)
    {
        wchar_t wide[64] = {};
        const size_t length = wide_from_utf8(value.data(), value.size(), wide, std::size(wide) - 1);
        return RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(wide),
                              static_cast<DWORD>((length + 1) * sizeof *wide));
    }
    void remove(const wchar_t* name) { RegDeleteValueW(m_key, name); }

private:
    HKEY m_key = nullptr;
    LONG m_error;
};

std::string boot_id()
{
    std::string text;
    read_kernel_file("/proc/sys/kernel/random/boot_id", text);
    return text.substr(0, 36); // a UUID in its usual form
}

BOOL is_on(const Setting& setting)
{
    std::string value;
    if (const Key session(session_key);
        session.error() == ERROR_SUCCESS && session.text(boot_name) == boot_id())
        value = session.text(setting.name);
    if (const Key user(user_key); value.empty() && user.error() == ERROR_SUCCESS)
        value = user.text(setting.name);
    return value != "0";
}

LONG store(const Setting& setting, bool on, bool for_the_user)
{
    const std::string value = on ? "1" : "0";
    if (for_the_user)
        if (Key user(user_key, true); user.error() == ERROR_SUCCESS)
            user.set_text(setting.name, value);
    Key session(session_key, true);
    if (session.error() != ERROR_SUCCESS)
        return session.error();
    if (session.text(boot_name) != boot_id())
    {
        for (const Setting& each : settings)
            session.remove(each.name);
        session.set_text(boot_name, boot_id());
    }
    return session.set_text(setting.name, value);
}

BOOL change(size_t index, bool on, bool for_the_user)
{
    const std::lock_guard guard(turned_off().lock);
    bool& off = turned_off().off[index];
    if (!on && !off)
        demand(Inhibition::screen_saver);
    if (on && off)
        end_demand(Inhibition::screen_saver);
    off = !on;
    const LONG error = store(settings[index], on, for_the_user);
    return error == ERROR_SUCCESS ? TRUE : fail_with(static_cast<DWORD>(error));
}

} // namespace

extern "C" BOOL SystemParametersInfoW(UINT action, UINT parameter, PVOID value, UINT change_flags)
{
    try
    {
        for (size_t i = 0; i < std::size(settings); ++i)
        {
            if (action == settings[i].set)
                return change(i, parameter != 0, change_flags & SPIF_UPDATEINIFILE);
            if (action != settings[i].get)
                continue;
            if (!value)
                return fail_with(ERROR_NOACCESS);
            *static_cast<BOOL*>(value) = is_on(settings[i]);
            return TRUE;
        }
        return fail_with(ERROR_INVALID_SPI_VALUE);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}
