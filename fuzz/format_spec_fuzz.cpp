// Rewriting "ll" in format texts, compared with a simple, slow version.
#include "fuzz_target.h"
#include "plinth_w32_system.h"

void fuzz::run(Input input)
{
    const std::string format = input.text<char>().data();
    std::string expected = format;
    for (size_t at; (at = expected.find("ll")) != std::string::npos;)
        expected.replace(at, 2, "I64");
    // The buffer has exactly the size of the result.
    std::vector<char> rewritten(expected.size() + 1);
    std::copy(format.begin(), format.end(), rewritten.begin());
    check(QV_Conv64FmtSpecA(rewritten.data()) == (expected.find("I64") != std::string::npos),
          "the result says what the format has");
    check(expected == rewritten.data(), "every pair is rewritten, and nothing else");
}
