// What has no 16-bit form here. Each says so when a program that calls it is linked, where the
// linker shows such texts (GNU ld), and fails at run time; plinth_check_wide_text fails the build
// of it.
#include <cerrno>
#include <cstdio>
#include <cwchar>

#define PLINTH_WARN(name, remedy)                                                                  \
    __attribute__((section(".gnu.warning." #name), used)) const char warning_##name[] =            \
        #name " reads or writes 32-bit wide text: plinth has no 16-bit form of it. " remedy;
// The headers may have given the plain name another symbol.
#define PLINTH_NO_SCAN(name)                                                                       \
    PLINTH_WARN(name, "Read a line with fgetws and take it apart with swscanf.")                   \
    extern "C" int plinth_wide_no_##name() __asm__(#name);                                         \
    int plinth_wide_no_##name()                                                                    \
    {                                                                                              \
        errno = ENOSYS;                                                                            \
        return EOF;                                                                                \
    }

PLINTH_NO_SCAN(wscanf)
PLINTH_NO_SCAN(vwscanf)
PLINTH_NO_SCAN(vfwscanf)
PLINTH_NO_SCAN(fwscanf)
PLINTH_NO_SCAN(__isoc99_wscanf)
PLINTH_NO_SCAN(__isoc99_fwscanf)
PLINTH_NO_SCAN(__isoc23_wscanf)
PLINTH_NO_SCAN(__isoc23_fwscanf)
PLINTH_NO_SCAN(__isoc99_vwscanf)
PLINTH_NO_SCAN(__isoc99_vfwscanf)
PLINTH_NO_SCAN(__isoc23_vwscanf)
PLINTH_NO_SCAN(__isoc23_vfwscanf)
PLINTH_WARN(open_wmemstream, "Use std::wostringstream.")
extern "C" FILE* open_wmemstream(wchar_t**, size_t*)
{
    errno = ENOSYS;
    return nullptr;
}
