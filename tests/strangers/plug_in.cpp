// Prints that it was loaded; a program with more rights than its caller must not load it.
#include <cstdio>

[[gnu::constructor]] static void say()
{
    std::fputs("loaded by the caller\n", stderr);
}
