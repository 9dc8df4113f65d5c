// Why a call failed.
#pragma once

#include <windows.h>

namespace test
{

// The last error if the call returned failure, otherwise 0.
template <class Result> DWORD refusal(Result result, Result failure = {})
{
    return result == failure ? GetLastError() : 0;
}

} // namespace test
