// The cycle counter family. On a 64-bit platform no counter is available, and every count is 0; the
// calibration is kept for programs that call it.
#include <cmath>

#include <windows.h>

#include "argument_check.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\timer\\rdtsc";

int s_iRdtscInitialized = 0;
int s_iRdtscAvailable = 0;
int s_iCpuFreqKnown = 0;
double s_dCpuFreq = 0.0;          // counts per second
double s_dCpuFreqDeviation = 0.0; // counts per second

constexpr unsigned int calibration_ms = 1000;
constexpr unsigned short calibration_passes = 20;

// Asks the system for the kind of processor. Only the 32-bit kind would have its features read
// next, and this build runs on none of them, so the counter is never available.
int TestForCounter()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(L"RDTSC instruction NOT present.");
    return 0;
}

// Counts per second during one span of the performance counter, which is spent spinning.
double Sample(long long span, unsigned int milliseconds)
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    const long long end = now.QuadPart + span;
    const long long first = rdtsc_count();
    while (now.QuadPart < end)
        QueryPerformanceCounter(&now);
    return 1000.0 * static_cast<double>(rdtsc_count() - first) / milliseconds;
}

} // namespace

extern "C" int rdtsc_initialize(void)
{
    if (s_iRdtscInitialized == 0)
    {
        s_iRdtscInitialized = 1;
        s_iRdtscAvailable = TestForCounter();
    }
    return rdtsc_available();
}

extern "C" int rdtsc_available(void)
{
    return s_iRdtscAvailable;
}

extern "C" long long rdtsc_count(void)
{
    return 0;
}

extern "C" int rdtsc_cpu_freq(double* frequency, double* deviation, unsigned int milliseconds,
                              unsigned short maxPasses)
{
    if (!frequency || !deviation)
        return QvRefuse(0, L"frequency==NULL || deviation==NULL",
                        L"rdtsc_cpu_freq: No place for the result.", source_name, __LINE__);
    LARGE_INTEGER ticks;
    if (!QueryPerformanceFrequency(&ticks))
        return 0;
    const long long span = ticks.QuadPart * milliseconds / 1000;

    double result = Sample(span, milliseconds);
    double deviations = 0.0;
    double mean = 0.0;
    unsigned short passes = 0;
    do
    {
        const double sample = Sample(span, milliseconds);
        result = (sample + result) / 2.0; // the newest sample has a weight of one half
        deviations += std::fabs(sample - result);
        ++passes;
        mean = deviations / passes;
    } while (mean > *deviation && passes < maxPasses);

    *deviation = mean;
    *frequency = result;
    s_dCpuFreqDeviation = mean;
    s_dCpuFreq = result;
    s_iCpuFreqKnown = 1;
    return 1;
}

extern "C" double rdtsc_count2seconds(long long count)
{
    if (s_iCpuFreqKnown == 0 &&
        rdtsc_cpu_freq(&s_dCpuFreq, &s_dCpuFreqDeviation, calibration_ms, calibration_passes) == 0)
        return 0.0;
    return static_cast<double>(count) / s_dCpuFreq;
}
