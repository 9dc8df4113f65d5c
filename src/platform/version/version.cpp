// Version information of module files.
//
// A caller's block holds its own length in its first two bytes; GetFileVersionInfoW makes sure that
// the length is not more than it has copied, and so VerQueryValueW can rely on it.
#include <algorithm>
#include <cstring>
#include <new>

#include "system/exception_guard.h"
#include "system/last_error.h"
#include "system/text.h"
#include "version_block.h"
#include "windows.h"

using namespace platform;

namespace
{

constexpr WORD type_version = 16;
constexpr WORD name_version = 1;

// The version block of a file while it is open. On failure the last error is set.
class VersionResource
{
public:
    explicit VersionResource(LPCWSTR path)
        : m_module(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE))
    {
        const HRSRC found = m_module ? FindResourceW(m_module, MAKEINTRESOURCEW(name_version),
                                                     MAKEINTRESOURCEW(type_version))
                                     : nullptr;
        if (!found)
            return;
        m_size = SizeofResource(m_module, found);
        m_data = LoadResource(m_module, found);
        if (m_size < sizeof(WORD))
        {
            fail_with(ERROR_RESOURCE_DATA_NOT_FOUND);
            m_data = nullptr;
        }
    }
    VersionResource(const VersionResource&) = delete;
    VersionResource& operator=(const VersionResource&) = delete;
    ~VersionResource()
    {
        if (!m_module)
            return;
        const DWORD error = GetLastError();
        FreeLibrary(m_module);
        SetLastError(error);
    }
    const void* data() const { return m_data; } // null: there is none
    DWORD size() const { return m_size; }

private:
    const HMODULE m_module;
    const void* m_data = nullptr;
    DWORD m_size = 0;
};

} // namespace

extern "C" DWORD GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle)
try
{
    if (handle)
        *handle = 0;
    const VersionResource version(path);
    return version.data() ? version.size() : 0;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" BOOL GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD size, LPVOID block)
try
{
    if (!block || size < sizeof(WORD))
        return fail_with(block ? ERROR_INSUFFICIENT_BUFFER : ERROR_INVALID_DATA);
    const VersionResource version(path);
    if (!version.data())
        return FALSE;
    const DWORD count = std::min(size, version.size());
    std::memcpy(block, version.data(), count);
    WORD length = 0;
    std::memcpy(&length, block, sizeof length);
    if (length > count)
    {
        length = static_cast<WORD>(count);
        std::memcpy(block, &length, sizeof length);
    }
    return TRUE;
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}

extern "C" BOOL VerQueryValueW(LPCVOID block, LPCWSTR path, LPVOID* value, PUINT size)
{
    if (!block || !path || !value)
        return fail_with(ERROR_INVALID_PARAMETER);
    WORD length = 0;
    std::memcpy(&length, block, sizeof length);
    VersionValue found{};
    if (!find_version_value({block, length},
                            {reinterpret_cast<const char16_t*>(path), wide_length(path)}, found))
    {
        if (size)
            *size = 0;
        return fail_with(ERROR_RESOURCE_TYPE_NOT_FOUND);
    }
    *value = const_cast<uint8_t*>(static_cast<const uint8_t*>(block)) + found.offset;
    if (size)
        *size = found.size;
    return TRUE;
}
