// The last form: for a program without any wmain, the linker reports a missing "wmain()".
#include "wmain/wmain.h"

int plinth_wide_c_wmain(int /*count*/, wchar_t** /*words*/)
{
    return wmain();
}
