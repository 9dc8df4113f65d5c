#include "paging_files.h"

#include <cwchar>

#include <tchar.h>

uint32_t QvMaxPageFileMegabytes(const wchar_t* list)
{
    unsigned int megabytes = 0;
    return swscanf(list, L"%*s %*u %u", &megabytes) == 1 ? megabytes : 0;
}
