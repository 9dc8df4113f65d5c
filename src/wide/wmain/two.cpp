#include "wmain/wmain.h"

int wmain(int count, wchar_t** words)
{
    return plinth_wide_c_wmain(count, words);
}
