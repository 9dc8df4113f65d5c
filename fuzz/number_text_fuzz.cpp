// Numbers as text and back: doubles with any bits, limits and buffers of any size, and any text.
#include <bit>
#include <cmath>

#include <tchar.h>
#include <windows.h>

#include "fuzz_target.h"
#include "plinth_w32_system.h"

using fuzz::check;

namespace
{

[[maybe_unused]] const int g_locale = setenv("LC_ALL", "C", 1);

int any_int(fuzz::Input& input)
{
    const unsigned bytes = input.byte() % 5; // small numbers most of the time
    return static_cast<int>(input.number(bytes));
}

void try_number(fuzz::Input& input)
{
    const auto value = std::bit_cast<double>(input.number(8));
    const int decimals = any_int(input);
    const int least = any_int(input);
    const uint8_t flags = input.byte();
    std::vector<wchar_t> text(flags & 4 ? size_t{1} + input.byte() % 32 : 1100, L'#');
    const bool shown = QV_DoubleToStringEx(
        value, decimals, text.data(), static_cast<int>(text.size()), flags & 1, flags & 2, least);
    if (!shown)
        return;
    check(decimals >= 0, "negative decimals are refused");
    check(wcsnlen(text.data(), text.size()) < text.size(), "a text that is shown is terminated");
    if (!std::isfinite(value) || std::fabs(value) < 0.00001)
        return;
    double back = 0;
    check(QV_StringToDouble(text.data(), &back), "what was written can be read");
    // Half a unit of the last decimal, or, if the number would have shown as zero, of the first
    // digit.
    const double unit = std::max(std::pow(10.0, -std::min(decimals, 300)),
                                 std::fabs(value) < 0.5 ? std::fabs(value) : 0.0);
    check(std::fabs(back - value) <= unit * 0.51 + std::fabs(value) * 1e-15,
          "and is the number as far as it was shown");
}

void try_text(fuzz::Input& input)
{
    const auto text = input.text<wchar_t>();
    double value = 5;
    const bool read = QV_StringToDouble(text.data(), &value);
    check(read || value == 5, "without a number the variable stays");
    wchar_t* end = nullptr;
    const double same = QV_wstrtod(text.data(), &end);
    check(read == (end != text.data()), "both know the same numbers");
    check(!read || value == same || (std::isnan(value) && std::isnan(same)),
          "and give the same value");
    QV_IsStringDouble(text.data());

    wchar_t out[64];
    const int stored = GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text.data(), nullptr, out, 64);
    check(stored == 0 || out[stored - 1] == L'\0', "a formatted text is terminated");
}

} // namespace

void fuzz::run(Input input)
{
    input.byte() & 1 ? try_text(input) : try_number(input);
}
