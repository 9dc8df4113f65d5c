// Keeps exceptions inside the stand-in: its callers expect results and errors, and the system that
// it stands in for throws nothing.
//
// Each exported function that may allocate has, as its outermost block,
//
//     catch (const std::exception& exception)
//     {
//         return failed_by(exception, FALSE);
//     }
//
// What it took before is given back by destructors on the way there. The unwinding by which a
// thread is ended is no std::exception, and goes on.
#pragma once

#include <exception>

#include "last_error.h"
#include "winerror.h"

namespace platform
{

// Sets the last error to what the exception means, and gives the call's own way to tell a failure.
// Nothing of the stand-in throws but for want of memory, or of room for a text's length.
template <class Result> Result failed_by(const std::exception&, Result failure) noexcept
{
    fail_with(ERROR_NOT_ENOUGH_MEMORY);
    return failure;
}

} // namespace platform
