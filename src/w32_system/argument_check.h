// How every failed argument check reports: a silent assertion, then the failure value.
#pragma once

#include "plinth_w32_system.h"

// expression: the condition that must not be true, as text. message: begins with the function's
// name.
inline int QvRefuse(int status, const wchar_t* expression, const wchar_t* message,
                    const char* sourceFile, int line)
{
    DiagAssertW(0, expression, message, sourceFile, line);
    return status;
}
