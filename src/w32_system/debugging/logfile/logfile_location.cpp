// Where the log is and which form it has: resources of the main executable, and the installer's
// file in the same folder.
#include <cstddef>
#include <cstring>

#include <windows.h>

#include <shlobj.h>
#include <tchar.h>

#include "logfile_form.h"
#include "logfile_internal.h"

namespace
{

QvLogForm s_wantedForm = QvLogForm::ansi; // guarded by m_classLock

constexpr size_t name_limit = 512; // characters of a folder's name, terminator included

// A resource of the main executable, while it is loaded as data.
class ExecutableResource
{
public:
    ExecutableResource(const wchar_t* name, const wchar_t* type)
    {
        wchar_t path[qv_folder_limit] = L"";
        QV_GetModuleFileName(nullptr, path, qv_folder_limit);
        m_module = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_AS_DATAFILE);
        if (!m_module)
            return;
        const HRSRC found = FindResourceW(m_module, name, type);
        const HGLOBAL loaded = found ? LoadResource(m_module, found) : nullptr;
        if (!loaded)
            return;
        m_size = SizeofResource(m_module, found);
        m_data = LockResource(loaded);
    }
    ExecutableResource(const ExecutableResource&) = delete;
    ExecutableResource& operator=(const ExecutableResource&) = delete;
    ~ExecutableResource()
    {
        if (m_module)
            FreeLibrary(m_module);
    }
    const void* Data() const { return m_data; } // null: the resource doesn't exist
    DWORD Size() const { return m_size; }       // bytes

private:
    HMODULE m_module = nullptr;
    const void* m_data = nullptr;
    DWORD m_size = 0;
};

// Sets folder to the path of the named folder below the common application data folder, and creates
// it. If the path does not fit, folder is empty.
void UseFolder(wchar_t* folder, const wchar_t* name)
{
    constexpr const wchar_t* tail = L"\\Logfiles";
    wchar_t common[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common);
    folder[0] = L'\0';
    if (wcslen(common) + 1 + wcslen(name) + wcslen(tail) + 2 > qv_folder_limit)
        return;
    wcscpy(folder, common);
    wcscat(folder, L"\\");
    wcscat(folder, name);
    wcscat(folder, tail);
    QV_CreateDirectory(folder, 1, QV_SECURITY_DEFAULT);
    wcscat(folder, L"\\");
}

void FolderFromResource(wchar_t* folder)
{
    const ExecutableResource resource(L"LogFileDir", L"LOGFILEDIR");
    const DWORD bytes = resource.Size() & ~1u;
    if (!resource.Data() || resource.Size() == 0 || bytes >= name_limit)
        return;
    wchar_t name[name_limit / 2];
    std::memcpy(name, resource.Data(), bytes);
    name[bytes / 2] = L'\0';
    UseFolder(folder, name);
}

} // namespace

int CQvLogFile::ReadLogFileLocation(wchar_t* folder, const wchar_t* xmlPath)
{
    QvFile file = nullptr;
    if (QV_OpenFile(xmlPath, QV_OPEN_READ, QV_SHARE_READ, QV_SECURITY_DEFAULT, &file) != QV_OK)
        return QV_ERR_SYSTEM;
    uint64_t size = 0;
    void* view = nullptr;
    const bool mapped = QV_GetFileSize(file, &size) == QV_OK &&
                        QV_MapFile(file, QV_MAP_READ, 0, 0, &view) == QV_OK && view;
    if (!mapped)
    {
        QV_CloseFile(file);
        return QV_ERR_SYSTEM;
    }
    wchar_t name[name_limit];
    if (QvFindAppFolder(view, static_cast<size_t>(size), name, name_limit))
        UseFolder(folder, name);
    QV_UnmapFile(view, size);
    QV_CloseFile(file);
    return QV_OK;
}

int CQvLogFile::GetLogFileDir(wchar_t* folder)
{
    folder[0] = L'\0';
    FolderFromResource(folder);
    if (folder[0])
        return QV_OK;

    constexpr const wchar_t* xml_name = L"SetupOptions.xml";
    wchar_t path[qv_folder_limit] = L"";
    QV_GetModuleFileName(nullptr, path, qv_folder_limit);
    wchar_t* const last = wcsrchr(path, L'\\');
    if (last && static_cast<size_t>(last - path) + 1 + wcslen(xml_name) < qv_folder_limit)
    {
        wcscpy(last + 1, xml_name);
        ReadLogFileLocation(folder, path);
    }
    if (folder[0])
        return QV_OK;

    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, folder);
    wcscat(folder, L"\\Quorvane\\Platform\\Logfiles\\");
    return QV_OK;
}

bool CQvLogFile::GetUnicodeEnabled()
{
    const ExecutableResource resource(L"Unicode_Enabled", L"LOGFILECHARSET");
    unsigned char value = 0;
    if (resource.Data() && resource.Size() == 1)
        std::memcpy(&value, resource.Data(), 1);
    s_wantedForm = value == 0   ? QvLogForm::ansi
                   : value == 1 ? QvLogForm::unicode
                                : QvLogForm::unknown;
    return value != 0;
}

QvLogForm QvWantedForm()
{
    return s_wantedForm;
}
