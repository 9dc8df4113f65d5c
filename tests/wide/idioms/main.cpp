// Runs all idioms. Prints each name before running it, so that a crash shows which one it was, and
// the failures.
#include <cstdio>
#include <exception>

#include "idioms.h"

namespace
{

bool holds(const Idiom& idiom)
{
    try
    {
        return idiom.holds();
    }
    catch (const std::exception& failure)
    {
        std::printf("%s: ", failure.what());
        return false;
    }
}

} // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    int failed = 0;
    std::size_t count = 0;
    for (const Idioms& table : {string_idioms(), function_idioms(), conversion_idioms(),
                                stream_idioms(), locale_idioms()})
        for (std::size_t i = 0; i < table.count; ++i, ++count)
        {
            std::printf("%s: ", table.first[i].name);
            const bool good = holds(table.first[i]);
            std::printf(good ? "good\n" : "WRONG\n");
            failed += !good;
        }
    std::printf("%zu idioms, %d wrong\n", count, failed);
    return failed != 0;
}
