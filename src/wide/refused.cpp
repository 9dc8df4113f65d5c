// Functions that have no 16-bit form here. Linking a program that calls one shows a message, if the
// linker shows such texts (GNU ld), and the call fails at run time; plinth_check_wide_text fails
// the build of the program.
#include <cerrno>
#include <cstdio>
#include <cwchar>

__attribute__((section(".gnu.warning.open_wmemstream"), used)) const char warning[] =
    "open_wmemstream makes 32-bit wide text: plinth has no 16-bit form of it. Use "
    "std::wostringstream.";
extern "C" FILE* open_wmemstream(wchar_t**, size_t*)
{
    errno = ENOSYS;
    return nullptr;
}
