// Files of the runtime library: the names of streams come with <tchar.h>.
#ifndef PLINTH_PLATFORM_IO_H
#define PLINTH_PLATFORM_IO_H

#include "tchar.h"

#ifdef __cplusplus
extern "C"
{
#endif

    PLINTH_CRT int plinth_crt_fileno(FILE* file);
    // Bytes; -1 if the number doesn't fit, or there is no such file.
    PLINTH_CRT int plinth_crt_filelength(int file);

#ifdef __cplusplus
}
#endif

#ifndef PLINTH_PLATFORM_NO_RUNTIME_NAMES
#define _fileno plinth_crt_fileno
#define _filelength plinth_crt_filelength
#endif

#endif
