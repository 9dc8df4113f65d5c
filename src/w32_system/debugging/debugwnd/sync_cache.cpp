// The store between the two threads of a listener.
#include <cstring>
#include <new>

#include <windows.h>

#include <tchar.h>

#include "plinth_w32_system.h"
#include "section_guard.h"

namespace
{

constexpr size_t text_limit = sizeof(CSyncCacheMember::m_szText);

} // namespace

CSyncCacheMember::CSyncCacheMember(char* src)
{
    // A longer text fills the array, without a terminator; a shorter one is padded with zeroes.
    const size_t length = src ? strnlen(src, text_limit) : 0;
    std::memcpy(m_szText, src ? src : "", length);
    std::memset(m_szText + length, 0, text_limit - length);
}

CSyncCacheMember& CSyncCacheMember::operator=(const CSyncCacheMember& other)
{
    if (this != &other)
        std::memcpy(m_szText, other.m_szText, text_limit);
    return *this;
}

CSyncCache::CSyncCache()
{
    InitializeCriticalSection(&m_Lock);
}

CSyncCache::~CSyncCache()
{
    DeleteCriticalSection(&m_Lock);
}

// A copy has a lock of its own.
CSyncCache::CSyncCache(const CSyncCache& other) : m_Items(other.m_Items)
{
    InitializeCriticalSection(&m_Lock);
}

// cppcheck-suppress operatorEqVarError ; the lock stays that of the object
CSyncCache& CSyncCache::operator=(const CSyncCache& other)
{
    if (this != &other)
        m_Items = other.m_Items;
    return *this;
}

int CSyncCache::PushBack(char* src)
try
{
    const QvSectionGuard lock(m_Lock);
    m_Items.emplace_back(src);
    return QV_OK;
}
catch (const std::bad_alloc&)
{
    return QV_ERR_FAILED;
}

int CSyncCache::PopFrontW(wchar_t* dst)
{
    const QvSectionGuard lock(m_Lock);
    if (m_Items.empty())
        return QV_ERR_FAILED;
    // The conversion and the caller need a terminated text.
    char text[text_limit + 1];
    std::memcpy(text, m_Items.front().m_szText, text_limit);
    text[text_limit] = '\0';
    const size_t converted = mbstowcs(dst, text, text_limit);
    if (converted == static_cast<size_t>(-1))
        dst[0] = L'\0';
    dst[text_limit - 1] = L'\0';
    m_Items.pop_front();
    return QV_OK;
}
