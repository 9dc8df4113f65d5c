// A third-party library, whose wchar_t has 32 bits. It is not linked with ours.
#include "work.h"

static_assert(sizeof(wchar_t) == 4);

extern "C" std::size_t third(int count)
{
    return work(count);
}
