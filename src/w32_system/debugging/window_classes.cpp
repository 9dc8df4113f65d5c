// Window class descriptions.
#include <windows.h>

#include "debug_window.h"
#include "plinth_w32_system.h"

CWndClassEx::CWndClassEx() : WNDCLASSEXW()
{
    cbSize = sizeof(WNDCLASSEXW);
}

CWndClassEx& CWndClassEx::operator=(const CWndClassEx& other) = default;

CDbgWndClassEx::CDbgWndClassEx(WNDPROC pfnWndProc)
{
    lpfnWndProc = pfnWndProc;
    cbWndExtra = 8;
    hInstance = GetModuleHandleW(nullptr);
    hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    lpszClassName = qv_debug_window_class;
}

CDbgWndClassEx& CDbgWndClassEx::operator=(const CDbgWndClassEx& other) = default;
