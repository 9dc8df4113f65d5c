// Keeps exceptions inside the stand-in: its callers expect results and errors, and the real
// system's functions throw nothing.
//
// Each exported function that may allocate has, as its outermost block,
//
//     catch (const std::exception& exception)
//     {
//         return failed_by(exception, FALSE);
//     }
//
// Destructors release what the function took before. The unwinding that ends a thread is no
// std::exception, and continues.
#pragma once

#include <exception>

#include "last_error.h"
#include "winerror.h"

namespace platform
{

// Sets the last error to match the exception, and returns the call's own failure value. The
// stand-in throws only for lack of memory, or when a text would be too long.
template <class Result> Result failed_by(const std::exception&, Result failure) noexcept
{
    fail_with(ERROR_NOT_ENOUGH_MEMORY);
    return failure;
}

} // namespace platform
