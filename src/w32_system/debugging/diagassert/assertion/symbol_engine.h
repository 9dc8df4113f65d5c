// The only wrapper of the debug help interface.
//
// That interface serves one thread at a time. Its only user, the assertion report, calls it under
// its lock. The interface's state lasts as long as the process, so nothing is released.
#pragma once

#include <windows.h>

#include <dbghelp.h>

class CSymbolEngine
{
public:
    CSymbolEngine() = default;
    CSymbolEngine(const CSymbolEngine&) = delete;
    CSymbolEngine& operator=(const CSymbolEngine&) = delete;
    virtual ~CSymbolEngine() = default;

    // Stores the process for all other operations, even if the start fails.
    bool SymInitialize(HANDLE process, const char* searchPath, bool invade);
    DWORD64 SymLoadModule64(HANDLE file, const char* image, const char* module, DWORD64 base,
                            DWORD size);
    bool SymGetModuleInfo64(DWORD64 address, IMAGEHLP_MODULE64& info);
    bool SymGetSymFromAddr64(DWORD64 address, DWORD64& displacement, IMAGEHLP_SYMBOL64& symbol);
    // Searches up to 99 bytes backwards for an address with a line; displacement is then the
    // distance in bytes.
    bool SymGetLineFromAddr64(DWORD64 address, DWORD& displacement, IMAGEHLP_LINE64& line);

private:
    HANDLE m_hProcess = nullptr; // null until the engine is started
};

// The instance that the static initialisers build.
CSymbolEngine& QvSymbolEngine();
