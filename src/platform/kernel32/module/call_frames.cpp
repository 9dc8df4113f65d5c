#include "call_frames.h"

#include <unwind.h>

namespace platform
{

namespace
{

struct Collection
{
    CallFrame* frames;
    size_t capacity;
    bool (*wanted)(const CallFrame&, void*);
    void* argument;
    size_t count = 0;
};

_Unwind_Reason_Code collect(_Unwind_Context* context, void* argument)
{
    Collection& to = *static_cast<Collection*>(argument);
    int interrupted = 0;
    CallFrame frame;
    frame.address = _Unwind_GetIPInfo(context, &interrupted);
    frame.stack = _Unwind_GetCFA(context);
    frame.interrupted = interrupted != 0;
    if (to.count == 0 && !to.wanted(frame, to.argument))
        return _URC_NO_REASON;
    to.frames[to.count++] = frame;
    return to.count < to.capacity ? _URC_NO_REASON : _URC_NORMAL_STOP;
}

} // namespace

size_t collect_frames(CallFrame* frames, size_t capacity,
                      bool (*wanted)(const CallFrame& frame, void* argument), void* argument)
{
    Collection collection{frames, capacity, wanted, argument};
    _Unwind_Backtrace(collect, &collection);
    return collection.count;
}

} // namespace platform
