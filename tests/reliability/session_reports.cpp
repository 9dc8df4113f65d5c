// Assertion reports to every place but a message box, and the settings of power saving.
#include "session.h"

namespace sweep
{

void report_part(Session& session)
{
    constexpr unsigned places =
        QV_DIAG_DEBUGGER | QV_DIAG_STACKTRACE | QV_DIAG_EVENTLOG | QV_DIAG_LOGFILE;
    SetLastError(ERROR_ACCESS_DENIED);
    session.holds("a report did not carry on",
                  DiagAssertA(places, "false", "a report", "session.cpp", 1) == 0);
    session.holds("the last error was lost", GetLastError() == ERROR_ACCESS_DENIED);
}

void power_part(Session& session)
{
    session.ok("QV_DisableWindowsPowerSave",
               QV_DisableWindowsPowerSave(nullptr, true, L"a fault sweep"), {});
    session.ok("QV_DisableWindowsPowerSave", QV_DisableWindowsPowerSave(nullptr, false, nullptr),
               {});
}

} // namespace sweep
