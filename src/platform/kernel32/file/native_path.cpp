// The exported form of path conversion, for programs that print paths.
#include "plinth_platform.h"

#include <cstring>

#include "path.h"
#include "system/last_error.h"
#include "winerror.h"

DWORD WINAPI PlinthNativePath(LPCWSTR path, LPSTR buffer, DWORD size)
{
    const platform::NativePath native(path);
    if (!native.ok())
        return 0;
    const size_t length = std::strlen(native.c_str());
    if (!buffer || length >= size)
    {
        platform::fail_with(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(buffer, native.c_str(), length + 1);
    return static_cast<DWORD>(length);
}
