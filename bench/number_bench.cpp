// A number as text.
#include <cstdio>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

namespace
{

// Numbers as people write them.
constexpr double numbers[] = {3.14159, -2.5, 1234567.875, 0.0625, 99.99, -0.333333, 1e9 + 0.5, 42};
constexpr int decimals = 6;

void qv_text(benchmark::State& state)
{
    wchar_t text[64];
    size_t at = 0;
    for (auto _ : state)
    {
        QV_DoubleToStringEx(numbers[at++ % 8], decimals, text, 64, true, false, 0);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(qv_text)->Name("number/QV_DoubleToStringEx");

void bare_text(benchmark::State& state)
{
    char text[64];
    size_t at = 0;
    for (auto _ : state)
    {
        std::snprintf(text, sizeof text, "%.*f", decimals, numbers[at++ % 8]);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(bare_text)->Name("number/snprintf");

// In the user's form: the extra cost of the locale, without a budget.
void qv_text_in_locale(benchmark::State& state)
{
    wchar_t text[64];
    size_t at = 0;
    for (auto _ : state)
    {
        QV_DoubleToString(numbers[at++ % 8], decimals, text, 64);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(qv_text_in_locale)->Name("number/QV_DoubleToString");

} // namespace
