// The error mode of the process. It has no effect: there are no error dialogs to suppress.
#include <atomic>

#include "windows.h"

namespace
{

std::atomic<UINT> g_error_mode{0};

} // namespace

extern "C" UINT SetErrorMode(UINT mode)
{
    return g_error_mode.exchange(mode);
}
