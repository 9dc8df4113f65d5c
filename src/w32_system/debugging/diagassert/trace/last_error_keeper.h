// Keeps the thread's last error as it was on entry, so that traces and assertions between a failure
// and the caller's check don't change it.
#pragma once

#include <windows.h>

class QvLastErrorKeeper
{
public:
    QvLastErrorKeeper() : m_error(GetLastError()) {}
    QvLastErrorKeeper(const QvLastErrorKeeper&) = delete;
    QvLastErrorKeeper& operator=(const QvLastErrorKeeper&) = delete;
    ~QvLastErrorKeeper() { SetLastError(m_error); }
    DWORD Error() const { return m_error; }

private:
    const DWORD m_error;
};
