// Paths of the runtime library.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <algorithm>
#include <cerrno>

#include <tchar.h>

#include "kernel32/file/file_status.h"
#include "kernel32/file/native_path.h"
#include "kernel32/file/path.h"
#include "system/calls.h"

using namespace platform;

namespace
{

// Copies a part of a path into a buffer of the runtime's fixed size; a null buffer skips it.
void copy_part(wchar_t* to, size_t size, const wchar_t* from, const wchar_t* end)
{
    if (!to)
        return;
    const size_t length = std::min(static_cast<size_t>(end - from), size - 1);
    std::copy_n(from, length, to);
    to[length] = L'\0';
}

} // namespace

extern "C" void plinth_crt_wsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* directory,
                                      wchar_t* name, wchar_t* extension)
{
    const wchar_t* rest = path;
    if (path[0] && path[1] == L':')
        rest = path + 2;
    copy_part(drive, _MAX_DRIVE, path, rest);
    const wchar_t* base = rest;
    const wchar_t* dot = nullptr;
    const wchar_t* end = rest;
    for (; *end; ++end)
        if (is_separator(*end))
        {
            base = end + 1;
            dot = nullptr;
        }
        else if (*end == L'.')
            dot = end;
    if (!dot)
        dot = end;
    copy_part(directory, _MAX_DIR, rest, base);
    copy_part(name, _MAX_FNAME, base, dot);
    copy_part(extension, _MAX_EXT, dot, end);
}

// mode: 0 existence, 2 writing, 4 reading, 6 both.
extern "C" int plinth_crt_waccess(const wchar_t* path, int mode)
{
    const NativePath native(path);
    struct stat found;
    if (!native.ok())
    {
        errno = ENOENT;
        return -1;
    }
    if (sys::stat(native.c_str(), &found) != 0)
        return -1;
    if ((mode & 2) && has_no_write_bit(found))
    {
        errno = EACCES;
        return -1;
    }
    return sys::access(native.c_str(), ((mode & 2) ? W_OK : 0) | ((mode & 4) ? R_OK : 0));
}
