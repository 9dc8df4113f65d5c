#include "symbol_engine.h"

bool CSymbolEngine::SymInitialize(HANDLE process, const char* searchPath, bool invade)
{
    m_hProcess = process;
    return ::SymInitialize(process, searchPath, invade) != FALSE;
}

DWORD64 CSymbolEngine::SymLoadModule64(HANDLE file, const char* image, const char* module,
                                       DWORD64 base, DWORD size)
{
    return ::SymLoadModule64(m_hProcess, file, image, module, base, size);
}

bool CSymbolEngine::SymGetModuleInfo64(DWORD64 address, IMAGEHLP_MODULE64& info)
{
    return ::SymGetModuleInfo64(m_hProcess, address, &info) != FALSE;
}

bool CSymbolEngine::SymGetSymFromAddr64(DWORD64 address, DWORD64& displacement,
                                        IMAGEHLP_SYMBOL64& symbol)
{
    return ::SymGetSymFromAddr64(m_hProcess, address, &displacement, &symbol) != FALSE;
}

bool CSymbolEngine::SymGetLineFromAddr64(DWORD64 address, DWORD& displacement,
                                         IMAGEHLP_LINE64& line)
{
    constexpr DWORD farthest = 99; // bytes
    for (DWORD back = 0; back <= farthest && back < address; ++back)
        if (::SymGetLineFromAddr64(m_hProcess, address - back, &displacement, &line))
        {
            if (back != 0)
                displacement = back;
            return true;
        }
    return false;
}
