// The system's list of page files, against the slow way to say what its first line holds.
#include "fuzz_target.h"
#include "memory/paging_files.h"

void fuzz::run(Input input)
{
    const auto text = input.text<wchar_t>();
    const uint64_t megabytes = QvMaxPageFileMegabytes(text.data());
    const wchar_t* at = text.data();
    const auto skip = [&at](bool blanks)
    {
        while (*at && (*at == L' ' || (*at >= 9 && *at <= 13)) == blanks)
            ++at;
    };
    skip(true);
    skip(false); // the name
    for (const bool is_last : {false, true})
    {
        skip(true);
        if (*at == L'+' || *at == L'-') // what a sign means is up to the runtime
            return;
        const wchar_t* const start = at;
        uint64_t number = 0;
        for (; *at >= L'0' && *at <= L'9'; ++at)
            number = std::min<uint64_t>(number * 10 + static_cast<unsigned>(*at - L'0'), UINT64_C(1)
                                                                                             << 40);
        if (at == start)
            return check(megabytes == 0, "no size without two numbers");
        if (is_last && number <= UINT32_MAX)
            check(megabytes == number, "the second number is the size");
    }
}
