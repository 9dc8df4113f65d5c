#include "support/system_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <syslog.h>

namespace
{

std::mutex g_lock; // guards the messages
std::vector<test::SystemLogMessage> g_messages;

void keep(int priority, const char* format, va_list arguments)
{
    char text[8192];
    vsnprintf(text, sizeof text, format, arguments);
    const std::lock_guard guard(g_lock);
    g_messages.push_back({priority, text});
}

} // namespace

// Both replace the C library's. Fortified code calls the second.
extern "C" __attribute__((visibility("default"))) void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

extern "C" __attribute__((visibility("default"))) void __syslog_chk(int priority, int /*flag*/,
                                                                    const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

namespace test
{

std::vector<SystemLogMessage> system_log()
{
    const std::lock_guard guard(g_lock);
    return g_messages;
}

void clear_system_log()
{
    const std::lock_guard guard(g_lock);
    g_messages.clear();
}

} // namespace test
