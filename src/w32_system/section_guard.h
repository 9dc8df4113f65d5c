// Holding a critical section for a scope.
#pragma once

#include <windows.h>

class QvSectionGuard
{
public:
    explicit QvSectionGuard(CRITICAL_SECTION& section) : m_section(section)
    {
        EnterCriticalSection(&m_section);
    }
    QvSectionGuard(const QvSectionGuard&) = delete;
    QvSectionGuard& operator=(const QvSectionGuard&) = delete;
    ~QvSectionGuard() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION& m_section;
};
