// The event log of the assertion report.
#pragma once

// Sends the text to the system's event log as an error of the source "BugslayerUtil", which the
// first call registers for the module of that name in this process. 0 if that is impossible, and
// then further attempts are useless; otherwise 1. Any thread; takes no lock.
int ReportToEventLog(const wchar_t* text);
