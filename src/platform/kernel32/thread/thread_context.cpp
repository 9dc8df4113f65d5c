// The context of the calling thread: where the caller of GetThreadContext continues.
#include "kernel32/module/call_frames.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

using namespace platform;

extern "C" BOOL GetThreadContext(HANDLE thread, LPCONTEXT context)
{
    int error = 0;
    if (api_fault("GetThreadContext", error))
        return fail_with(static_cast<DWORD>(error));
    if (thread != GetCurrentThread())
        return fail_with(ERROR_NOT_SUPPORTED);
    const auto caller = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
    CallFrame frames[2]; // the caller, and its own caller
    if (collect_frames(frames, 2,
                       [caller](const CallFrame& frame) { return frame.address == caller; }) == 0)
        return fail_with(ERROR_NOT_SUPPORTED); // the code has no unwind tables
    const DWORD flags = context->ContextFlags;
    *context = {};
    context->ContextFlags = flags;
    context->Rip = frames[0].address;
    context->Rsp = frames[0].stack;
    // The value of a frame pointer: the address below the return address.
    context->Rbp = frames[1].stack ? frames[1].stack - 2 * sizeof(void*) : 0;
    return TRUE;
}
