// The system's list of page files: a list without a digit has no size.
#include "fuzz_target.h"
#include "memory/paging_files.h"

void fuzz::run(Input input)
{
    const auto text = input.text<wchar_t>();
    const auto is_digit = [](wchar_t c) { return c >= L'0' && c <= L'9'; };
    check(QvMaxPageFileMegabytes(text.data()) == 0 || std::ranges::any_of(text, is_digit),
          "no size without a number");
}
