// The last: a program without any wmain is told that it has no "wmain()".
#include "wmain/wmain.h"

int plinth_wide_c_wmain(int /*count*/, wchar_t** /*words*/)
{
    return wmain();
}
