// Says that it was loaded, which no program with more rights than its caller may do.
#include <cstdio>

[[gnu::constructor]] static void say()
{
    std::fputs("loaded by the caller\n", stderr);
}
