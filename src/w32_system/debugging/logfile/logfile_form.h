// The form of a log file, ANSI or UTF-16, and the gate under which it is fixed.
//
// Several processes may find the same empty file, of which each wants its own form. The first bytes
// fix the form, so whoever finds a file empty looks again, and writes its first bytes, under a gate
// that all of them use.
#pragma once

#include <cstdint>

#include <windows.h>

#include "plinth_w32_system.h"

enum class QvLogForm
{
    empty,
    ansi,
    unicode,
    unknown, // what a program wants whose resource names no form: no file with content has it
};

// By the first two bytes. Leaves the file's position anywhere.
QvLogForm QvFormOf(QvFile file);

// The form that the main executable's resource asked for when the log was last opened. Needs
// m_classLock.
QvLogForm QvWantedForm();

// Whether an instance that wants this form may append to a file of that form.
inline bool QvMayAppend(QvLogForm wanted, QvLogForm found)
{
    return found == QvLogForm::empty || found == wanted;
}

inline constexpr DWORD qv_gate_patience = 1'000; // ms that a gate is waited for

// Holds the gate of a log file, between processes.
class QvFormGate
{
public:
    // Waits for it until GetTickCount64 has reached the deadline.
    QvFormGate(QvFile file, ULONGLONG deadline);
    QvFormGate(const QvFormGate&) = delete;
    QvFormGate& operator=(const QvFormGate&) = delete;
    ~QvFormGate();
    // False: somebody else had it all the time. On a volume without locks everybody passes.
    bool Passed() const { return m_passed; }

private:
    QvFile m_file;
    bool m_locked = false;
    bool m_passed = true;
};
