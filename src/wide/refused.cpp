// What has no 16-bit form here. It says so when a program that calls it is linked, where the linker
// shows such texts (GNU ld), and fails at run time; plinth_check_wide_text fails the build of it.
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
