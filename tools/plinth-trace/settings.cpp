// plinth-trace settings: the log's settings in the registry, for all programs of the machine.
//
// The values are read and written one by one, so that setting one leaves the others at their
// defaults. A running program uses a change from its next log file on.
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include <windows.h>

#include "commands.h"
#include "failure.h"
#include "log_files.h"
#include "terminal.h"
#include "text.h"

namespace trace
{

const char* const settings_help =
    "usage: plinth-trace settings [OPTION...]\n"
    "\n"
    "Shows the log's settings and where each comes from: the registry of the machine, or the\n"
    "default. Options change them first. A running program uses a change for its next log file.\n"
    "\n"
    "  --days N            remove log files that are more than N days old (0 to 24855)\n"
    "  --megabytes N|none  continue in a new file when more than N MiB have been written\n"
    "  --per-session yes|no\n"
    "                      yes: each run of a program gets a numbered file of its own; no: it\n"
    "                      appends to the day's newest file\n"
    "  --reset             restore the defaults\n";

namespace
{

constexpr const char* key_path = "Software\\Quorvane\\Misc\\LogFile";

// The library computes the age in seconds as a signed 32-bit number: more days would count as none.
constexpr int64_t most_days = INT32_MAX / 86400;
constexpr uint32_t no_limit = 0xffffffff;

struct Setting
{
    const char* name;  // as the option, without the dashes
    const char* value; // in the registry
    std::string (*shown)(std::optional<uint32_t> stored);
};

std::string shown_days(std::optional<uint32_t> stored)
{
    return std::to_string(stored.value_or(10));
}

std::string shown_megabytes(std::optional<uint32_t> stored)
{
    const uint32_t limit = stored.value_or(no_limit);
    return limit == 0 || limit == no_limit ? "no limit" : std::to_string(limit);
}

std::string shown_per_session(std::optional<uint32_t> stored)
{
    return stored.value_or(1) > 0 ? "yes" : "no";
}

constexpr Setting days{"days", "MaxLogDays", shown_days};
constexpr Setting megabytes{"megabytes", "MaxLogMBytes", shown_megabytes};
constexpr Setting per_session{"per-session", "LogPerSession_4", shown_per_session};

[[noreturn]] void fail(const std::string& what, LONG error)
{
    throw Failure(exit_failed, what + " HKEY_LOCAL_MACHINE\\" + key_path + ": " +
                                   error_text(static_cast<DWORD>(error)));
}

// The open key of the settings.
class Key
{
public:
    // For reading: is_there returns whether the key exists.
    Key()
    {
        const WideText path = wide_from_utf8(key_path);
        const LONG error =
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.data(), 0, KEY_QUERY_VALUE, &m_key);
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
            fail("can't read", error);
    }

    // For writing; the key is made if it doesn't exist.
    struct ForWriting
    {
    };
    explicit Key(ForWriting)
    {
        const WideText path = wide_from_utf8(key_path);
        if (const LONG error = RegCreateKeyW(HKEY_LOCAL_MACHINE, path.data(), &m_key))
            fail("can't write", error);
    }

    ~Key()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    bool is_there() const { return m_key; }

    // None if there is no valid value of the name; wrong: there is one with another type.
    std::optional<uint32_t> read(const Setting& setting, bool& wrong) const
    {
        const WideText name = wide_from_utf8(setting.value);
        DWORD type = 0;
        DWORD value = 0;
        DWORD size = sizeof value;
        const LONG error = RegQueryValueExW(m_key, name.data(), nullptr, &type,
                                            reinterpret_cast<BYTE*>(&value), &size);
        wrong = error == ERROR_MORE_DATA ||
                (error == ERROR_SUCCESS && (type != REG_DWORD || size != sizeof value));
        if (error != ERROR_SUCCESS || wrong)
            return std::nullopt;
        return value;
    }

    void write(const Setting& setting, uint32_t value) const
    {
        const WideText name = wide_from_utf8(setting.value);
        const DWORD data = value;
        if (const LONG error = RegSetValueExW(m_key, name.data(), 0, REG_DWORD,
                                              reinterpret_cast<const BYTE*>(&data), sizeof data))
            fail(std::string("can't write ") + setting.value + " below", error);
    }

    void remove(const Setting& setting) const
    {
        const WideText name = wide_from_utf8(setting.value);
        const LONG error = RegDeleteValueW(m_key, name.data());
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
            fail(std::string("can't remove ") + setting.value + " below", error);
    }

private:
    HKEY m_key = nullptr;
};

struct Changes
{
    std::optional<uint32_t> days;
    std::optional<uint32_t> megabytes;
    std::optional<uint32_t> per_session;
    bool reset = false;

    bool any() const { return days || megabytes || per_session || reset; }
};

Changes read_options(Options& options)
{
    Changes changes;
    if (const auto number = options.take_number("--days", 0, most_days))
        changes.days = static_cast<uint32_t>(*number);
    if (const auto text = options.take_value("--megabytes"))
        changes.megabytes =
            *text == "none"
                ? no_limit
                : static_cast<uint32_t>(options.number_of("--megabytes", *text, 1, no_limit - 1));
    if (const auto text = options.take_value("--per-session"))
    {
        if (*text != "yes" && *text != "no")
            options.refuse("--per-session takes yes or no, not \"" + *text + "\"");
        changes.per_session = *text == "yes" ? 1 : 0;
    }
    changes.reset = options.take_flag("--reset");
    options.finish();
    return changes;
}

void apply(const Changes& changes)
{
    const Key key{Key::ForWriting()};
    if (changes.reset)
        for (const Setting& setting : {days, megabytes, per_session})
            key.remove(setting);
    if (changes.days)
        key.write(days, *changes.days);
    if (changes.megabytes)
        key.write(megabytes, *changes.megabytes);
    if (changes.per_session)
        key.write(per_session, *changes.per_session);
}

void show()
{
    const Key key;
    std::string out;
    for (const Setting& setting : {days, megabytes, per_session})
    {
        bool wrong = false;
        const std::optional<uint32_t> stored =
            key.is_there() ? key.read(setting, wrong) : std::nullopt;
        const char* const source = stored  ? "registry"
                                   : wrong ? "default; the registry's value is not a DWORD"
                                           : "default";
        char line[160];
        std::snprintf(line, sizeof line, "%-12s  %-10s  (%s)\n", setting.name,
                      setting.shown(stored).c_str(), source);
        out += line;
    }
    const WideText folder = wide_from_utf8(default_log_folder());
    put(out + "folder        " + printable_name(native_path(folder.data())) + "\n");
}

} // namespace

int settings(Options& options)
{
    const Changes changes = read_options(options);
    if (changes.any())
        apply(changes);
    show();
    return exit_done;
}

} // namespace trace
