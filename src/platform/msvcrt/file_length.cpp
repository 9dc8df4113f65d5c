// The descriptor of a stream, and the length of a file.
#include <cerrno>
#include <climits>

#include <io.h>

#include "system/calls.h"

extern "C" int plinth_crt_fileno(FILE* file)
{
    return ::fileno(file);
}

extern "C" int plinth_crt_filelength(int file)
{
    struct stat found;
    if (platform::sys::fstat(file, &found) != 0)
        return -1;
    if (found.st_size > INT_MAX)
    {
        errno = EOVERFLOW;
        return -1;
    }
    return static_cast<int>(found.st_size);
}
