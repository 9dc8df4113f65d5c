#include "wmain/wmain.h"

int wmain(int count, wchar_t** words, wchar_t** /*environment*/)
{
    return wmain(count, words);
}
