// Keeps the thread's last error as it was on entry: tracing and asserting between a failure and the
// caller's look at it change nothing.
#pragma once

#include <windows.h>

class QvLastErrorKeeper
{
public:
    QvLastErrorKeeper() : m_error(GetLastError()) {}
    QvLastErrorKeeper(const QvLastErrorKeeper&) = delete;
    QvLastErrorKeeper& operator=(const QvLastErrorKeeper&) = delete;
    ~QvLastErrorKeeper() { SetLastError(m_error); }
    DWORD error() const { return m_error; }

private:
    const DWORD m_error;
};
