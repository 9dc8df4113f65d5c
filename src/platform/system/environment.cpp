#include "environment.h"

#include <atomic>
#include <string>

#include <cstdlib>
#include <cstring>

#include <sys/auxv.h>

#include "report.h"

namespace platform
{

namespace
{

// Variables that a caller may have set on purpose. The other ones that are read (HOME, PATH,
// DISPLAY) are set in every environment, so ignoring them is not reported.
constexpr const char* named_if_ignored[] = {
    "PLINTH_ROOT",       "PLINTH_DRIVES",       "PLINTH_DESKTOP", "PLINTH_SHELL_OPEN",
    "PLINTH_MESSAGEBOX", "PLINTH_DEBUG_OUTPUT", "XDG_STATE_HOME"};

void say_once_what_is_ignored()
{
    static std::atomic<bool> said{false};
    if (said.exchange(true))
        return;
    std::string names;
    for (const char* const name : named_if_ignored)
        if (std::getenv(name))
            names += (names.empty() ? "" : ", ") + std::string(name);
    if (names.empty())
        return;
    report("this program has more rights than its caller; ignored from the environment: " + names);
}

} // namespace

bool has_more_rights()
{
    static const bool marked = ::getauxval(AT_SECURE) != 0;
    return marked;
}

const char* environment(const char* name)
{
    if (!has_more_rights())
        return ::secure_getenv(name);
    say_once_what_is_ignored();
    return nullptr;
}

const char* locale_environment(const char* name)
{
    if (!has_more_rights())
        return ::secure_getenv(name);
    const char* const value = std::getenv(name);
    return value && !std::strchr(value, '/') ? value : nullptr;
}

} // namespace platform
