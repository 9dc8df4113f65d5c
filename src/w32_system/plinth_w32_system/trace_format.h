// PLINTH_TRACE: trace records whose formats are checked at compile time (C++20).
//
//     PLINTH_TRACE(L"opened %s, %I64d bytes", path, size);
//
// is the same as
//
//     DiagOutputExW_hlp(__FILE__, __LINE__);
//     if (CQvLogFile::Detail())
//         DiagOutputExW(L"opened %s, %I64d bytes", path, size);
//
// and costs the same: the arguments are not evaluated without detail traces. A format that doesn't
// fit its arguments does not compile; the error names the function of trace_format_fault that
// explains why. The rules are those of DiagOutputExW on both systems:
//
//   %s %ls %ws              wide text          %d %u %x %ld %c ...     up to 32 bits
//   %hs %S                  narrow text        %I64d %lld %zd %Id      64 bits
//   %e %f %g %a             float, double      %p                      a pointer
//   * for width, precision  up to 32 bits
//
// On Linux a long has 64 bits and doesn't fit %ld: the formats mean the same as on Windows.
#ifndef PLINTH_W32_SYSTEM_TRACE_FORMAT_H
#define PLINTH_W32_SYSTEM_TRACE_FORMAT_H

#include "diagnostics.h"

// In C++17 there is no such macro: the compiler can't check the formats.
#if __cplusplus >= 202002L

#include "internal/format_check.h"

// One trace record with its place in the source. The first argument is a literal of wide text.
#define PLINTH_TRACE(...)                                                                          \
    do                                                                                             \
    {                                                                                              \
        DiagOutputExW_hlp(__FILE__, __LINE__);                                                     \
        if (CQvLogFile::Detail())                                                                  \
            ::plinth::trace_format::Write(__VA_ARGS__);                                            \
    } while (false)

#endif

#endif
