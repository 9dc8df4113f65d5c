// Log and traces, the log's settings in the registry, the debug string channel, reports.
#include <atomic>

#include "session.h"

#include <commctrl.h>

namespace
{

constexpr std::initializer_list<int> log_refusals = {QV_ERR_SYSTEM, QV_ERR_WRITEFILE,
                                                     QV_ERR_DISKFULL, QV_ERR_OPENFILE};

// The content of all files in the folder of the logs.
std::string all_logs()
{
    std::string text;
    std::error_code missing;
    const std::string folder =
        std::string(std::getenv("PLINTH_ROOT")) + "/ProgramData/Quorvane/Platform/Logfiles";
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing))
        text += content(entry.path());
    return text;
}

class Records
{
public:
    explicit Records(Session& session) : m_session(session) {}

    // Logs a text of its own; find_all later looks for each confirmed one.
    void log()
    {
        const std::string text = std::string(m_session.strict() ? "<strict " : "<swept ") +
                                 std::to_string(++m_count) + ">";
        if (m_session.ok("QV_Log", QV_Log(test::Wide(text + "\r\n")), log_refusals))
            m_confirmed.push_back(text);
    }

    void find_all() const
    {
        const std::string logs = all_logs();
        for (const std::string& each : m_confirmed)
            m_session.holds("confirmed and lost: " + each, logs.find(each) != std::string::npos);
    }

private:
    Session& m_session;
    int m_count = 0;
    std::vector<std::string> m_confirmed;
};

void trace(Session& session)
{
    DiagOutputExW_hlp("session.cpp", 12);
    DiagOutputExW(L"|wndid:1| |stime| |thrid| |absdt| |adt00| |appnm| |srcid| %d traced", 7);
    DiagOutputA("%s", "a narrow text");
    DiagOutputW(L"%s", L"a wide text");
    SetLastError(ERROR_FILE_NOT_FOUND);
    TraceLastOsErr();
    session.holds("the last error was lost", GetLastError() == ERROR_FILE_NOT_FOUND);
    {
        const CQvTraceExecutionTime measured(L"a block", 1);
    }
}

std::atomic<int> g_texts;

int rows(const wchar_t* title)
{
    const HWND window = FindWindowW(L"PLINTH_DEBUG_WINDOW", title);
    const HWND list = FindWindowExW(window, nullptr, L"SysListView32", nullptr);
    return list ? static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)) : -1;
}

// Writes to the channel until the text shows. With a fault the listener may lack its objects or its
// thread without reporting it; the session then only checks that it starts and ends.
void write_until(Session& session, const char* text, const std::function<bool()>& shows)
{
    if (session.strict())
        session.comes(text,
                      [&]
                      {
                          OutputDebugStringA(text);
                          return shows();
                      });
    else
        OutputDebugStringA(text);
}

} // namespace

void log_part(Session& session)
{
    session.worked("EnableLog", CQvLogFile::EnableLog(true));
    Records records(session);
    records.log();
    trace(session);

    session.worked("GetLogFilename", CQvLogFile::GetLogFilename() != nullptr);
    CALL(CQvLogFile::SetProperties(1, 30), QV_ERR_SYSTEM);
    records.log();
    CALL(CQvLogFile::LogPerSession(false), QV_ERR_SYSTEM);
    CALL(CQvLogFile::CloseLog());
    records.log();
    if (CALL(CQvLogFile::LogPerSession(true), QV_ERR_SYSTEM))
        session.worked("IsPerSession", CQvLogFile::IsPerSession());
    session.ok("ClearLog", CQvLogFile::ClearLog(), log_refusals);
    records.log();
    session.holds("EnableLog off", CQvLogFile::EnableLog(false) || !session.strict());
    session.holds("it is off", QV_Log(L"nobody writes this\r\n") == QV_ERR_SYSTEM);
    CQvLogFile::EnableLog(true);
    records.log();

    // A mebibyte of records causes a split.
    CQvLogFile::SetMaxLogMessageLength(-1);
    const test::Wide half(test::Wide(size_t{600'000}, L'.') + test::Wide("\r\n"));
    for (int i = 0; i < 3; ++i)
        session.ok("QV_Log", QV_Log(half), log_refusals);
    CQvLogFile::SetMaxLogMessageLength(512);
    records.log();
    CALL(CQvLogFile::OpenLog(true)); // the program that opens logs is missing
    records.find_all();
}

void channel_part(Session& session)
{
    g_texts = 0;
    {
        const CQvDebugOutputCapture capture([](const wchar_t*) { ++g_texts; });
        write_until(session, "a captured text", [] { return g_texts > 0; });
    }
    {
        const CDebugFramework framework(nullptr);
        write_until(session, "|wndid:0| a row", [] { return rows(L"Tracing Window ID: 0") > 0; });
    }
    session.holds("a debug window stayed", FindWindowW(L"PLINTH_DEBUG_WINDOW", nullptr) == nullptr);
}

// An assertion report to every place but a message box.
void report_part(Session& session)
{
    SetLastError(ERROR_ACCESS_DENIED);
    session.holds(
        "a report did not carry on",
        DiagAssertA(QV_DIAG_DEBUGGER | QV_DIAG_STACKTRACE | QV_DIAG_EVENTLOG | QV_DIAG_LOGFILE,
                    "false", "a report", "session.cpp", 1) == 0);
    session.holds("the last error was lost", GetLastError() == ERROR_ACCESS_DENIED);
}
