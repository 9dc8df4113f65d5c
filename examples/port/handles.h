// Owners of handles and locks of the system.
#pragma once

#include <windows.h>

// A handle that is closed at the end of its scope.
class Handle
{
public:
    explicit Handle(HANDLE handle = nullptr) : m_handle(handle) {}
    Handle(Handle&& other) noexcept : m_handle(other.m_handle) { other.m_handle = nullptr; }
    ~Handle()
    {
        if (m_handle)
            CloseHandle(m_handle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    Handle& operator=(Handle&&) = delete;

    HANDLE get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }

private:
    HANDLE m_handle;
};

class CriticalSection
{
public:
    CriticalSection() { InitializeCriticalSection(&m_section); }
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void lock() { EnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};
