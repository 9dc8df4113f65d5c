// The event log, written to the system's log (syslog).
//
// An event is one message of the facility "user": "SOURCE (event 0xNNNNNNNN): TEXTS". The program's
// own name and settings for that log (openlog) stay unchanged.
#include <new>
#include <string>

#include <windows.h>

#include "kernel32/object/handle_table.h"
#include "system/calls.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"

using namespace platform;

namespace
{

class EventSource : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::event_source;

    explicit EventSource(std::string name) : Object(object_kind), m_name(std::move(name)) {}
    const std::string& name() const { return m_name; }

private:
    const std::string m_name;
};

int priority_of(WORD type)
{
    const struct
    {
        WORD type;
        int priority;
    } rows[] = {{EVENTLOG_ERROR_TYPE, LOG_ERR},
                {EVENTLOG_WARNING_TYPE, LOG_WARNING},
                {EVENTLOG_AUDIT_FAILURE, LOG_NOTICE}};
    for (const auto& row : rows)
        if (row.type == type)
            return LOG_USER | row.priority;
    return LOG_USER | LOG_INFO;
}

// Converts line ends to LF.
std::string plain_lines(LPCWSTR text)
{
    std::string lines = text ? to_utf8(text) : "";
    for (size_t at = 0; (at = lines.find("\r\n", at)) != std::string::npos;)
        lines.erase(at, 1);
    while (!lines.empty() && lines.back() == '\n')
        lines.pop_back();
    return lines;
}

std::string message_of(const std::string& source, DWORD event, WORD strings, LPCWSTR* texts)
{
    char number[32];
    std::snprintf(number, sizeof number, " (event 0x%08X):", event);
    std::string message = source + number;
    for (WORD i = 0; i < strings; ++i)
        message += (i ? "\n" : " ") + plain_lines(texts[i]);
    return message;
}

} // namespace

extern "C" HANDLE RegisterEventSourceW(LPCWSTR server, LPCWSTR source)
{
    int error = 0;
    if (api_fault("RegisterEventSourceW", error))
        fail_with(static_cast<DWORD>(error));
    else if (!source || !*source || (server && *server)) // only this machine's log
        fail_with(ERROR_INVALID_PARAMETER);
    else
        try
        {
            return insert_handle(new EventSource(to_utf8(source)));
        }
        catch (const std::exception& exception)
        {
            failed_by(exception, FALSE);
        }
    return nullptr;
}

extern "C" BOOL ReportEventW(HANDLE log, WORD type, WORD, DWORD event, PSID, WORD strings, DWORD,
                             LPCWSTR* texts, LPVOID)
{
    int error = 0;
    if (api_fault("ReportEventW", error))
        return fail_with(static_cast<DWORD>(error));
    const Pin<EventSource> source(log);
    if (!source)
        return FALSE;
    if (strings != 0 && !texts)
        return fail_with(ERROR_INVALID_PARAMETER);
    try
    {
        const std::string message = message_of(source->name(), event, strings, texts);
        return sys::syslog(priority_of(type), message.c_str()) == 0 ? TRUE : fail_errno(errno);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

extern "C" BOOL DeregisterEventSource(HANDLE log)
{
    return close_handle(log, ObjectKind::event_source);
}
