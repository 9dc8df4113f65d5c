// The measurement of a block's time.
//
// It is in the log's folder because its users look for it there, but it doesn't use the log: its
// record is an ordinary trace record.
#include <cstdio>
#include <cwchar>
#include <new>

#include <windows.h>

#include <mmsystem.h>
#include <tchar.h>

#include "plinth_w32_system.h"

#include "logfile_internal.h"

namespace
{

constexpr size_t name_limit = 1024; // characters, terminator included
constexpr size_t text_room = 32;    // of " took ", the number and " ms"

wchar_t* CopyName(const wchar_t* name)
{
    const size_t length = name ? wcslen(name) : name_limit;
    if (length >= name_limit)
        return nullptr;
    wchar_t* const copy = new (std::nothrow) wchar_t[length + 1];
    if (copy)
        memcpy(copy, name, (length + 1) * sizeof *copy);
    return copy;
}

} // namespace

// The tick is read after the name was copied, so that the copying is not measured.
CQvTraceExecutionTime::CQvTraceExecutionTime(const wchar_t* name, int level)
    : m_uStartTime(0), m_iLevel(level), m_pwsName(CopyName(name))
{
    m_uStartTime = timeGetTime();
}

CQvTraceExecutionTime::CQvTraceExecutionTime(const CQvTraceExecutionTime& other)
    : m_uStartTime(other.m_uStartTime), m_iLevel(other.m_iLevel), m_pwsName(nullptr)
{
}

CQvTraceExecutionTime& CQvTraceExecutionTime::operator=(const CQvTraceExecutionTime& other)
{
    if (this == &other)
        return *this;
    delete[] m_pwsName;
    m_pwsName = nullptr;
    m_uStartTime = other.m_uStartTime;
    m_iLevel = other.m_iLevel;
    return *this;
}

CQvTraceExecutionTime::~CQvTraceExecutionTime()
{
    if (!m_pwsName)
        return;
    const size_t size = wcslen(m_pwsName) + text_room;
    if (wchar_t* const text = new (std::nothrow) wchar_t[size])
    {
        _snwprintf(text, size, L"%s took %i ms", m_pwsName, GetTimeToNowMs());
        QvTraceExecutionTime(text);
        delete[] text;
    }
    delete[] m_pwsName;
    m_pwsName = nullptr;
}

int CQvTraceExecutionTime::GetTimeToNowMs()
{
    return static_cast<int>(timeGetTime() - static_cast<uint32_t>(m_uStartTime));
}
