// Prevents the machine from saving power.
#include <windows.h>

#include "plinth_w32_system.h"

namespace
{

// Older systems lack these two functions.
bool s_loaded = false;
BOOL(WINAPI* s_shutdownBlockReasonCreate)(HWND, LPCWSTR) = nullptr;
BOOL(WINAPI* s_shutdownBlockReasonDestroy)(HWND) = nullptr;

struct PowerSetting
{
    UINT get;
    UINT set;
    BOOL saved; // by the last call that turned it off
};
PowerSetting s_settings[] = {
    {SPI_GETSCREENSAVEACTIVE, SPI_SETSCREENSAVEACTIVE, 0},
    {SPI_GETLOWPOWERACTIVE, SPI_SETLOWPOWERACTIVE, 0},
    {SPI_GETPOWEROFFACTIVE, SPI_SETPOWEROFFACTIVE, 0},
};

template <class Function> void Find(HMODULE module, const char* name, Function& function)
{
    // Converted through a plain function pointer: the compiler warns about a direct cast.
    function =
        reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// Tried only once, even if it fails. The module stays loaded.
void LoadFunctions()
{
    if (s_loaded)
        return;
    s_loaded = true;
    if (const HMODULE user32 = LoadLibraryW(L"User32.dll"))
    {
        Find(user32, "ShutdownBlockReasonCreate", s_shutdownBlockReasonCreate);
        Find(user32, "ShutdownBlockReasonDestroy", s_shutdownBlockReasonDestroy);
    }
}

void TurnOff(HWND hWnd, const wchar_t* pReason)
{
    for (PowerSetting& setting : s_settings)
        SystemParametersInfoW(setting.get, 0, &setting.saved, 0);
    for (const PowerSetting& setting : s_settings)
        SystemParametersInfoW(setting.set, 0, nullptr, SPIF_SENDCHANGE);
    SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_AWAYMODE_REQUIRED);
    if (s_shutdownBlockReasonCreate)
        s_shutdownBlockReasonCreate(hWnd, pReason);
}

void Restore(HWND hWnd)
{
    for (const PowerSetting& setting : s_settings)
        SystemParametersInfoW(setting.set, static_cast<UINT>(setting.saved), nullptr,
                              SPIF_SENDCHANGE);
    SetThreadExecutionState(ES_CONTINUOUS);
    if (s_shutdownBlockReasonDestroy)
        s_shutdownBlockReasonDestroy(hWnd);
}

} // namespace

extern "C" int QV_DisableWindowsPowerSave(HWND hWnd, bool bDisable, const wchar_t* pReason)
{
    LoadFunctions();
    if (bDisable)
        TurnOff(hWnd, pReason);
    else
        Restore(hWnd);
    return QV_OK;
}
