// The trace lock: guards the state of trace records. Taken before the log's m_classLock, never
// after it. Built by a static initialiser.
#pragma once

#include <windows.h>

extern CRITICAL_SECTION s_traceLock;
