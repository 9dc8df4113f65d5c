// Rewriting of "ll" in format texts, against the slow way to say it.
#include "fuzz_target.h"
#include "plinth_w32_system.h"

void fuzz::run(Input input)
{
    const std::string format = input.text<char>().data();
    std::string expected = format;
    for (size_t at; (at = expected.find("ll")) != std::string::npos;)
        expected.replace(at, 2, "I64");
    const bool has_length = expected.find("I64") != std::string::npos;

    // Just the room that the result takes.
    std::vector<char> narrow(expected.size() + 1);
    std::vector<wchar_t> wide(narrow.size());
    std::copy(format.begin(), format.end(), narrow.begin());
    const auto widened = [](char c) { return static_cast<wchar_t>(static_cast<uint8_t>(c)); };
    std::transform(format.begin(), format.end(), wide.begin(), widened);
    check(QV_Conv64FmtSpecA(narrow.data()) == has_length, "the result says what the format has");
    check(QV_Conv64FmtSpecW(wide.data()) == has_length, "in both widths");
    check(expected == narrow.data(), "every pair is rewritten, and nothing else");
    check(std::equal(wide.begin(), wide.end(), narrow.begin(),
                     [&](wchar_t w, char c) { return w == widened(c); }),
          "both widths do the same");
}
