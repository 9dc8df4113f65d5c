// The event log of the assertion report.
#pragma once

// Hands the text to the system's event log as an error of the source "BugslayerUtil", which the
// first call registers for the module of that name in this process. 0 if that can't be, and then no
// further attempt is worth making; else 1. Any thread; takes no lock.
int ReportToEventLog(const wchar_t* text);
