// Walking the calling thread's stack, one frame per call.
//
// The unwinder reports the whole stack at once, so the frames after the last one returned are kept
// for the next calls, a few at a time: the frames above a function that is still running don't
// change. A frame is identified by its stack pointer.
#include "kernel32/module/call_frames.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "windows.h"

#include "dbghelp.h"

using namespace platform;

namespace
{

constexpr size_t kept = 32;

struct Walk
{
    CallFrame frames[kept];
    size_t count = 0;
};

thread_local Walk t_walk;

// Whether the walk has returned its first frame.
bool has_begun(const STACKFRAME64& frame)
{
    return frame.Reserved[0] != 0;
}

// Collects from the frame of the context on: the innermost one that is not below this call and
// whose own caller's stack begins above the context's stack pointer.
void collect_from_context(uintptr_t caller, uintptr_t stack)
{
    // Frames come innermost first, and the end of one only shows with the next.
    bool in_caller = false;
    CallFrame before;
    bool reached = false;
    collect_frames(t_walk.frames, 1,
                   [&](const CallFrame& frame)
                   {
                       if (in_caller && !reached && frame.stack > stack)
                           return reached = true;
                       in_caller = in_caller || frame.address == caller;
                       before = frame;
                       return false;
                   });
    t_walk.count = collect_frames(
        t_walk.frames, kept, [&](const CallFrame& frame) { return frame.stack == before.stack; });
}

// The index of the frame with this stack pointer among the kept ones, which then include the next
// frame if there is one. False if the stack doesn't have the frame.
bool keep_from(uintptr_t stack, size_t& at)
{
    for (at = 0; at + 1 < t_walk.count; ++at)
        if (t_walk.frames[at].stack == stack)
            return true;
    t_walk.count = collect_frames(t_walk.frames, kept,
                                  [stack](const CallFrame& frame) { return frame.stack == stack; });
    at = 0;
    return t_walk.count != 0;
}

ADDRESS64 flat(uintptr_t address)
{
    return {address, 0, AddrModeFlat};
}

// The outermost frame may have address 0.
uintptr_t shown_address(const CallFrame& frame)
{
    return frame.interrupted || frame.address == 0 ? frame.address : frame.address - 1;
}

} // namespace

extern "C" BOOL StackWalk64(DWORD machine, HANDLE process, HANDLE thread, LPSTACKFRAME64 frame,
                            PVOID, PREAD_PROCESS_MEMORY_ROUTINE64,
                            PFUNCTION_TABLE_ACCESS_ROUTINE64 function_table_access,
                            PGET_MODULE_BASE_ROUTINE64 get_module_base,
                            PTRANSLATE_ADDRESS_ROUTINE64)
{
    int error = 0;
    if (api_fault("StackWalk64", error))
        return fail_with(static_cast<DWORD>(error));
    if (machine != IMAGE_FILE_MACHINE_AMD64 || !frame)
        return fail_with(ERROR_INVALID_PARAMETER);
    if (process != GetCurrentProcess() || thread != GetCurrentThread())
        return fail_with(ERROR_NOT_SUPPORTED);
    const bool first = !has_begun(*frame);
    size_t at = 0;
    if (first)
        collect_from_context(reinterpret_cast<uintptr_t>(__builtin_return_address(0)),
                             frame->AddrStack.Offset);
    if (!keep_from(first && t_walk.count ? t_walk.frames[0].stack : frame->AddrStack.Offset, at))
        return fail_with(ERROR_INVALID_ADDRESS);
    if (!first && ++at >= t_walk.count)
        return fail_with(ERROR_NO_MORE_ITEMS);

    const CallFrame& now = t_walk.frames[at];
    if (!first)
        frame->AddrPC = flat(shown_address(now));
    frame->AddrStack = flat(now.stack);
    const bool has_caller = keep_from(now.stack, at) && at + 1 < t_walk.count;
    const CallFrame caller = has_caller ? t_walk.frames[at + 1] : CallFrame{};
    frame->AddrReturn = flat(caller.address);
    frame->AddrFrame = flat(has_caller ? caller.stack - 2 * sizeof(void*) : 0);
    frame->Reserved[0] = 1;
    if (get_module_base)
        get_module_base(process, frame->AddrPC.Offset);
    frame->FuncTableEntry =
        function_table_access ? function_table_access(process, frame->AddrPC.Offset) : nullptr;
    return TRUE;
}

// The frame description entry of an address, from the C++ run-time.
struct EhBases
{
    void* text;
    void* data;
    void* function;
};
extern "C" const void* _Unwind_Find_FDE(void* address, EhBases* bases);

extern "C" PVOID SymFunctionTableAccess64(HANDLE process, DWORD64 address)
{
    EhBases bases{};
    if (process != GetCurrentProcess())
    {
        fail_with(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return const_cast<void*>(_Unwind_Find_FDE(reinterpret_cast<void*>(address), &bases));
}
