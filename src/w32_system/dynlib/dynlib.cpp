// Modules at run time: loading, freeing, symbols, and information from a module's file.
#include <cstdlib>
#include <memory>
#include <new>

#include <windows.h>

#include <tchar.h>

#include "argument_check.h"
#include "module_file.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\dynlib\\dynlib";

// A copy of the name with the system's separators. Null if there is no memory for it.
std::unique_ptr<wchar_t[]> WithBackslashes(const wchar_t* name)
{
    const size_t size = wcslen(name) + 1;
    std::unique_ptr<wchar_t[]> copy(new (std::nothrow) wchar_t[size]);
    for (size_t i = 0; copy && i < size; ++i)
        copy[i] = name[i] == L'/' ? L'\\' : name[i];
    return copy;
}

} // namespace

extern "C" __qv_hmodule* QV_LoadLibrary(const wchar_t* filename)
{
    if (filename == nullptr || *filename == 0)
    {
        QvRefuse(QV_ERR_NULLPTR, L"filename==NULL || *filename==0",
                 L"QV_LoadLibrary: Library filename must not be empty.", source_name, __LINE__);
        return nullptr;
    }
    const std::unique_ptr<wchar_t[]> copy = WithBackslashes(filename);
    __qv_hmodule* const module = copy ? LoadLibraryW(copy.get()) : nullptr;
    DiagOutputExW_hlp(source_name, __LINE__);
    if (CQvLogFile::Detail())
        DiagOutputExW(module ? L"QV_LoadLibrary(\"%s\") : OK" : L"QV_LoadLibrary(\"%s\") : Failed",
                      filename);
    return module;
}

extern "C" int QV_UnloadLibrary(__qv_hmodule* lib)
{
    if (!lib)
        return QvRefuse(QV_ERR_NULLPTR, L"lib==NULL", L"QV_UnloadLibrary: Wrong library handle.",
                        source_name, __LINE__);
    return FreeLibrary(lib) ? QV_OK : QV_ERR_SYSTEM;
}

extern "C" void* QV_GetSymbol(__qv_hmodule* lib, const char* name)
{
    if (!lib)
    {
        QvRefuse(QV_ERR_NULLPTR, L"lib==NULL", L"QV_GetSymbol: Wrong library handle.", source_name,
                 __LINE__);
        return nullptr;
    }
    if (name == nullptr || *name == 0)
    {
        QvRefuse(QV_ERR_NULLPTR, L"name==NULL || *name==0", L"QV_GetSymbol: Invalid symbol name.",
                 source_name, __LINE__);
        return nullptr;
    }
    return reinterpret_cast<void*>(GetProcAddress(lib, name));
}

extern "C" int QV_GetDataSeg(const wchar_t* filename, const char* section, void** data,
                             uint32_t* size)
{
    if (!data || !size)
        return QvRefuse(QV_ERR_NULLPTR, L"data==NULL || size==NULL",
                        L"QV_GetDataSeg: No place for the data.", source_name, __LINE__);
    if (!section)
        return QvRefuse(QV_ERR_NULLPTR, L"section==NULL", L"QV_GetDataSeg: No section name.",
                        source_name, __LINE__);
    return QvReadSection(filename, section, data, size);
}

extern "C" int QV_FreeDataSeg(void** data)
{
    if (data)
    {
        std::free(*data);
        *data = nullptr;
    }
    return QV_OK;
}

extern "C" uint32_t QV_GetModulePatchNumber(const wchar_t* filename)
{
    return QvReadPatchNumber(filename);
}
