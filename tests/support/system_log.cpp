#include "support/system_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include <syslog.h>

namespace
{

std::mutex g_lock; // guards the messages
std::vector<test::SystemLogMessage> g_messages;

} // namespace

// Stands before the C library's.
extern "C" __attribute__((visibility("default"))) void syslog(int priority, const char* format, ...)
{
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard guard(g_lock);
    g_messages.push_back({priority, text});
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
