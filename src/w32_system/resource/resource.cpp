// Copying data files into modules and out of them, and loading such resources.
#include <windows.h>

#include "plinth_w32_system.h"
#include "resource_copy.h"

namespace
{

constexpr WORD type_raw_data = 10; // RT_RCDATA

// The last failure of a copy; a success doesn't clear it.
const wchar_t* s_resCopyError = nullptr;

int Status(const wchar_t* failure)
{
    if (!failure)
        return QV_OK;
    s_resCopyError = failure;
    return QV_ERR_SYSTEM;
}

// The languages that a module may carry data for: each primary language with its first sublanguage,
// then two with another sublanguage.
constexpr int first_language = 0x400;
constexpr int last_language = 0x47E;
constexpr int more_languages[] = {0x804, 0xC0A};

// A module opened as data; null if it could not be opened, which means the process's own module.
class DataModule
{
public:
    explicit DataModule(const wchar_t* path)
        : m_module(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE))
    {
    }
    DataModule(const DataModule&) = delete;
    DataModule& operator=(const DataModule&) = delete;
    ~DataModule()
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    operator __qv_hmodule*() const { return m_module; }

private:
    __qv_hmodule* const m_module;
};

} // namespace

extern "C" int QV_ResourceToDll(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath)
{
    return Status(QvStoreResource(name, modulePath, dataPath));
}

extern "C" int QV_DllToResource(const wchar_t* name, const wchar_t* modulePath,
                                const wchar_t* dataPath)
{
    return Status(QvExtractResource(name, modulePath, dataPath));
}

extern "C" const wchar_t* QV_GetResCopyError(void)
{
    return s_resCopyError;
}

const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, __qv_hmodule* module, int id,
                                            int entryId)
{
    target.m_pModule = module;
    const HRSRC found =
        FindResourceW(module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(type_raw_data));
    const HGLOBAL loaded = found ? LoadResource(module, found) : nullptr;
    if (loaded)
        target.AppendData(LockResource(loaded), SizeofResource(module, found),
                          entryId == -1 ? id : entryId);
    return target;
}

const CQvRscData& QV_RCDATAToCQvRscDataByID(CQvRscData& target, const wchar_t* modulePath, int id,
                                            int entryId)
{
    const DataModule module(modulePath);
    return QV_RCDATAToCQvRscDataByID(target, module, id, entryId);
}

const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, __qv_hmodule* module)
{
    target.Clear();
    for (int language = first_language; language <= last_language; ++language)
        QV_RCDATAToCQvRscDataByID(target, module, language, -1);
    for (const int language : more_languages)
        QV_RCDATAToCQvRscDataByID(target, module, language, -1);
    return target;
}

const CQvRscData& QV_RCDATAToCQvRscData(CQvRscData& target, const wchar_t* modulePath)
{
    const DataModule module(modulePath);
    return QV_RCDATAToCQvRscData(target, module);
}
