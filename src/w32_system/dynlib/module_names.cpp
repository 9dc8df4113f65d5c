// The names of module files, and the path of a module.
#include <windows.h>

#include "plinth_w32_system.h"

extern "C" const wchar_t* QV_GetDllExt(void)
{
    return L".dll";
}

extern "C" const wchar_t* QV_GetDllPref(void)
{
    return L"";
}

extern "C" int QV_GetModuleFileName(HMODULE module, wchar_t* buffer, unsigned int size)
{
    GetModuleFileNameW(module, buffer, size);
    return QV_OK;
}
