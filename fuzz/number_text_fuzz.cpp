// Numbers as text and back: doubles of any bits with limits and buffers of any size, and any text.
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include <tchar.h>
#include <windows.h>

#include "fuzz_check.h"
#include "plinth_w32_system.h"

using fuzz::check;

namespace
{

int any_int(fuzz::Input& input)
{
    const unsigned bytes = input.byte() % 5; // small ones most of the time
    unsigned result = 0;
    for (unsigned i = 0; i < bytes; ++i)
        result = result << 8 | input.byte();
    return static_cast<int>(result);
}

double any_double(fuzz::Input& input)
{
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i)
        bits = bits << 8 | input.byte();
    double result;
    std::memcpy(&result, &bits, sizeof result);
    return result;
}

void try_number(fuzz::Input& input)
{
    const double value = any_double(input);
    const int decimals = any_int(input);
    const int least = any_int(input);
    const uint8_t flags = input.byte();
    const int size = flags & 4 ? 1 + input.byte() % 32 : 1100;
    const auto text = std::make_unique<wchar_t[]>(static_cast<size_t>(size));
    for (int i = 0; i < size; ++i)
        text[static_cast<size_t>(i)] = L'#';
    const bool shown =
        QV_DoubleToStringEx(value, decimals, text.get(), size, flags & 1, flags & 2, least);
    check(!shown || decimals >= 0, "negative decimals are refused");
    check(!shown || wcsnlen(text.get(), static_cast<size_t>(size)) < static_cast<size_t>(size),
          "a text that is shown is terminated");
    if (!shown || !std::isfinite(value) || std::fabs(value) < 0.00001)
        return;
    double back = 0;
    check(QV_StringToDouble(text.get(), &back), "what was written can be read");
    // Half a unit of the last decimal, or, where it would have been a bare zero, of the first
    // digit.
    const double unit = std::max(std::pow(10.0, -std::min(decimals, 300)),
                                 std::fabs(value) < 0.5 ? std::fabs(value) : 0.0);
    check(std::fabs(back - value) <= unit * 0.51 + std::fabs(value) * 1e-15,
          "and is the number as far as it was shown");
    check(QV_IsStringDouble(text.get()), "it looks like a number");
}

void try_text(fuzz::Input& input)
{
    size_t length = input.size();
    const auto text = input.text<wchar_t>(length);
    double value = 5;
    const bool read = QV_StringToDouble(text.get(), &value);
    check(read || value == 5, "without a number the variable stays");
    wchar_t* end = nullptr;
    const double same = QV_wstrtod(text.get(), &end);
    check(read == (end != text.get()), "both know the same numbers");
    check(!read || value == same || (std::isnan(value) && std::isnan(same)),
          "and give the same value");
    if (QV_IsStringDouble(text.get()))
        for (const wchar_t* c = text.get(); *c; ++c)
            check(*c < 0x80, "a number is ASCII");

    wchar_t out[64];
    const int stored = GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text.get(), nullptr, out, 64);
    check(stored == 0 || out[stored - 1] == L'\0', "a formatted text is terminated");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setenv("LC_ALL", "C", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    if (input.byte() & 1)
        try_text(input);
    else
        try_number(input);
    return 0;
}
