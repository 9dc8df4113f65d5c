// Rewriting of "ll" in format texts, against the slow way to say it.
#include <memory>
#include <string>

#include "fuzz_check.h"
#include "plinth_w32_system.h"

using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string format(reinterpret_cast<const char*>(data), size);
    format.resize(std::min(format.find('\0'), size));
    std::string expected = format;
    for (size_t at; (at = expected.find("ll")) != std::string::npos;)
        expected.replace(at, 2, "I64");
    const bool has_length = expected.find("I64") != std::string::npos;

    // Just the room that the result takes.
    const size_t room = expected.size() + 1;
    const auto narrow = std::make_unique<char[]>(room);
    const auto wide = std::make_unique<wchar_t[]>(room);
    for (size_t i = 0; i < format.size(); ++i)
    {
        narrow[i] = format[i];
        wide[i] = static_cast<unsigned char>(format[i]);
    }
    check(QV_Conv64FmtSpecA(narrow.get()) == has_length, "the result says what the format has");
    check(QV_Conv64FmtSpecW(wide.get()) == has_length, "in both widths");
    check(expected == narrow.get(), "every pair is rewritten, and nothing else");
    for (size_t i = 0; i < room; ++i)
        check(wide[i] == static_cast<unsigned char>(narrow[i]), "both widths do the same");
    return 0;
}
