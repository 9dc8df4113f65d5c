#include "settings.h"

#include <algorithm>
#include <map>
#include <sstream>

#include <plinth_w32_system.h>

namespace
{

constexpr DWORD most_threads = 16;
constexpr DWORD longest_name = 256; // characters
constexpr DWORD longest_data = 512; // characters

class Key
{
public:
    // The disposition says whether the key is new.
    LONG create(const wchar_t* path, DWORD* disposition)
    {
        return RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                               nullptr, &m_key, disposition);
    }
    Key() = default;
    ~Key()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    void read(const wchar_t* name, DWORD& value) const
    {
        DWORD found = 0;
        DWORD type = 0;
        DWORD size = sizeof found;
        if (RegQueryValueExW(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(&found), &size) ==
                ERROR_SUCCESS &&
            type == REG_DWORD)
            value = found;
    }

    void read(const wchar_t* name, std::wstring& value) const
    {
        wchar_t found[longest_data + 1] = {};
        DWORD type = 0;
        DWORD size = longest_data * sizeof(wchar_t);
        if (RegQueryValueExW(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(found), &size) ==
                ERROR_SUCCESS &&
            type == REG_SZ)
            value = found;
    }

    LONG write(const wchar_t* name, DWORD value) const
    {
        return RegSetValueExW(m_key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                              sizeof value);
    }

    LONG write(const wchar_t* name, const std::wstring& value) const
    {
        return RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }

    // The system returns values in any order; the map sorts them by name.
    std::map<std::wstring, DWORD> names_and_types() const
    {
        std::map<std::wstring, DWORD> all;
        wchar_t name[longest_name];
        DWORD size = longest_name;
        DWORD type = 0;
        for (DWORD i = 0; RegEnumValueW(m_key, i, name, &size, nullptr, &type, nullptr, nullptr) ==
                          ERROR_SUCCESS;
             ++i)
        {
            all[std::wstring(name, size)] = type;
            size = longest_name;
        }
        return all;
    }

private:
    HKEY m_key = nullptr;
};

} // namespace

LONG Settings::load_and_count()
{
    Key key;
    DWORD disposition = 0;
    LONG error = key.create(L"Software\\Acme\\Keeper", &disposition);
    if (error != ERROR_SUCCESS)
        return error;
    key.read(L"Threads", threads);
    key.read(L"Runs", runs);
    key.read(L"Skip", skip);
    threads = std::clamp<DWORD>(threads, 1, most_threads);
    ++runs;
    for (const LONG written :
         {key.write(L"Threads", threads), key.write(L"Runs", runs), key.write(L"Skip", skip)})
        error = error == ERROR_SUCCESS ? written : error;
    for (const auto& [name, type] : key.names_and_types())
        PLINTH_TRACE(L"setting %s, type %u", name.c_str(), type);
    PLINTH_TRACE(L"%s settings, run %u, %u threads",
                 disposition == REG_CREATED_NEW_KEY ? L"new" : L"known", runs, threads);
    return error;
}

bool Settings::skips(const std::wstring& name) const
{
    std::wistringstream ends(skip);
    for (std::wstring end; std::getline(ends, end, L';');)
        if (!end.empty() && name.size() >= end.size() &&
            QV_wcsicmp(name.c_str() + (name.size() - end.size()), end.c_str()) == 0)
            return true;
    return false;
}
