// The system's list of page files, against the slow way to say what its first line holds.
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "memory/paging_files.h"

namespace
{

bool is_blank(wchar_t c)
{
    return c == L' ' || (c >= 9 && c <= 13);
}

const wchar_t* skip_blanks(const wchar_t* at)
{
    while (is_blank(*at))
        ++at;
    return at;
}

// Digits, of which the first differs from zero only behind others. False without any.
bool skip_digits(const wchar_t*& at, uint64_t& number)
{
    const wchar_t* const start = at;
    for (number = 0; *at >= L'0' && *at <= L'9'; ++at)
        number =
            std::min<uint64_t>(number * 10 + static_cast<unsigned>(*at - L'0'), UINT64_C(1) << 40);
    return at != start;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    size_t length = input.size();
    const auto text = input.text<wchar_t>(length);
    const uint64_t megabytes = QvMaxPageFileMegabytes(text.get());

    const wchar_t* at = skip_blanks(text.get());
    while (*at && !is_blank(*at))
        ++at;
    at = skip_blanks(at);
    uint64_t initial = 0;
    uint64_t largest = 0;
    if (*at == L'+' || *at == L'-') // what a sign means is up to the runtime
        return 0;
    if (!skip_digits(at, initial))
    {
        fuzz::check(megabytes == 0, "no size without numbers");
        return 0;
    }
    at = skip_blanks(at);
    if (*at == L'+' || *at == L'-')
        return 0;
    if (!skip_digits(at, largest))
        fuzz::check(megabytes == 0, "no size with one number");
    else if (largest <= UINT32_MAX)
        fuzz::check(megabytes == largest, "the second number is the size");
    return 0;
}
