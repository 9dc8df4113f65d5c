// Handles that are closed at the end of their scope, and the last errors of calls that failed.
#pragma once

#include <type_traits>
#include <utility>

#include <windows.h>

namespace test
{

// 0 if a call succeeded; else its last error, or ~0 if it set none. Clears the last error, so that
// the next call can't pass with this one's.
template <class Result> DWORD error_of(Result result)
{
    const DWORD error = GetLastError();
    SetLastError(0);
    bool failed = !result;
    if constexpr (std::is_same_v<Result, HANDLE>)
        failed = failed || result == INVALID_HANDLE_VALUE;
    return !failed ? 0 : error ? error : ~DWORD{0};
}

// Keeps the last error of the call that made the handle.
class Handle
{
public:
    explicit Handle(HANDLE handle) : m_handle(handle), m_error(GetLastError()) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(); }
    operator HANDLE() const { return m_handle; }
    DWORD error() const { return m_error; }
    explicit operator bool() const { return m_handle && m_handle != INVALID_HANDLE_VALUE; }
    bool close()
    {
        const HANDLE handle = std::exchange(m_handle, nullptr);
        return handle && handle != INVALID_HANDLE_VALUE && CloseHandle(handle);
    }

private:
    HANDLE m_handle;
    DWORD m_error;
};

inline Handle new_event(bool manual_reset = false, bool initial = false)
{
    return Handle(CreateEventA(nullptr, manual_reset, initial, nullptr));
}

// An existing file, unless the disposition says otherwise.
inline HANDLE open_file(const wchar_t* path, DWORD access,
                        DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE,
                        DWORD disposition = OPEN_EXISTING)
{
    return CreateFileW(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace test
