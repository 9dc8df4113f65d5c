// rand and srand with a state for each thread and results of 15 bits, on which callers of the
// runtime rely.
#define PLINTH_PLATFORM_NO_RUNTIME_NAMES
#include <tchar.h>

namespace
{

thread_local unsigned t_state = 1;

} // namespace

extern "C" void plinth_crt_srand(unsigned seed)
{
    t_state = seed;
}

extern "C" int plinth_crt_rand(void)
{
    // A linear congruential generator modulo 2^32; its high bits are the better ones.
    t_state = t_state * 1664525u + 1013904223u;
    return static_cast<int>(t_state >> 17);
}
