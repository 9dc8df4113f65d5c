// Window class descriptions.
#include <windows.h>

#include "debug_window.h"
#include "plinth_w32_system.h"

// cppcheck-suppress uninitDerivedMemberVar ; all of it is zeroed
CWndClassEx::CWndClassEx() : WNDCLASSEXW()
{
    cbSize = sizeof(WNDCLASSEXW);
}

CWndClassEx& CWndClassEx::operator=(const CWndClassEx& other) = default;

// cppcheck-suppress uninitDerivedMemberVar ; the base class zeroes all of it
CDbgWndClassEx::CDbgWndClassEx(WNDPROC pfnWndProc)
{
    lpfnWndProc = pfnWndProc;
    cbWndExtra = 8;
    hInstance = GetModuleHandleW(nullptr);
    hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    lpszClassName = qv_debug_window_class;
}

CDbgWndClassEx& CDbgWndClassEx::operator=(const CDbgWndClassEx& other) = default;
