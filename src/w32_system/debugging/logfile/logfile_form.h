// The form of a log file, ANSI or UTF-16, and the gate for fixing it.
//
// Several processes may find the same empty file, and may want different forms. The first bytes fix
// the form. So a process that finds a file empty takes a gate that all processes use; under the
// gate it checks the file again, and writes its first bytes.
#pragma once

#include <cstdint>

#include <windows.h>

#include "plinth_w32_system.h"

enum class QvLogForm
{
    empty,
    ansi,
    unicode,
    unknown, // wanted by a program whose resource names no form; matches no file with content
};

// Determined by the first two bytes. Changes the file's position.
QvLogForm QvFormOf(QvFile file);

// The form that the main executable's resource asked for when the log was last opened. Needs
// m_classLock.
QvLogForm QvWantedForm();

// Whether an instance that wants this form may append to a file of that form.
inline bool QvMayAppend(QvLogForm wanted, QvLogForm found)
{
    return found == QvLogForm::empty || found == wanted;
}

inline constexpr DWORD qv_gate_patience = 1'000; // ms; the longest wait for a gate

// Holds the gate of a log file, between processes.
class QvFormGate
{
public:
    // Waits until GetTickCount64 has reached the deadline.
    QvFormGate(QvFile file, ULONGLONG deadline);
    QvFormGate(const QvFormGate&) = delete;
    QvFormGate& operator=(const QvFormGate&) = delete;
    ~QvFormGate();
    // False: another process held it all the time. On a volume without locks it is always true.
    bool Passed() const { return m_passed; }

private:
    QvFile m_file;
    bool m_locked = false;
    bool m_passed = true;
};
