#include "logfile_form.h"

namespace
{

constexpr uint64_t gate_start = uint64_t{1} << 40; // far beyond the end of any log
constexpr uint64_t gate_length = 1;

} // namespace

QvLogForm QvFormOf(QvFile file)
{
    unsigned char mark[2] = {};
    uint64_t got = 0;
    if (QV_SeekFile(file, 0, 0) != QV_OK)
        return QvLogForm::unknown;
    QV_ReadFile(file, mark, sizeof mark, &got, nullptr);
    if (got == 0)
        return QvLogForm::empty;
    return got == 2 && mark[0] == 0xFF && mark[1] == 0xFE ? QvLogForm::unicode : QvLogForm::ansi;
}

// A lock request fails at once, so it is repeated.
QvFormGate::QvFormGate(QvFile file, ULONGLONG deadline) : m_file(file)
{
    for (;;)
    {
        m_locked = QV_LockFile(m_file, gate_start, gate_length) == QV_OK;
        if (m_locked || GetLastError() != ERROR_LOCK_VIOLATION)
            return;
        if (GetTickCount64() >= deadline)
            break;
        Sleep(1);
    }
    m_passed = false;
}

QvFormGate::~QvFormGate()
{
    if (m_locked)
        QV_UnlockFile(m_file, gate_start, gate_length);
}
