// Asserts with a stack walk, through a library whose report is optimised, and prints the native
// path of its log.
#include <cstdio>

#include <plinth_platform.h>
#include <plinth_w32_system.h>

// The sum prevents the call from becoming a jump, which would have no frame.
extern "C" __attribute__((noinline)) int probe_assert(unsigned options)
{
    return DiagAssertA(options, "caller", nullptr, __FILE__, __LINE__) + static_cast<int>(options);
}

int main()
{
    CQvLogFile::SetMaxLogMessageLength(-1);
    probe_assert(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE);
    char path[4096];
    if (!PlinthNativePath(CQvLogFile::GetLogFilename(), path, sizeof path))
        return 3;
    std::fputs(path, stdout);
    return 0;
}
