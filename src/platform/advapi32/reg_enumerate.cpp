// The keys and values of a key, by number.
//
// They are ordered by their folded names. Each call reads the hive as it is on disk then, so adding
// or removing entries between two calls changes the numbers, as on the system.
#include <cstring>

#include "open_key.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

// Copies a name with its terminator to a buffer of *size characters; *size becomes the length
// without the terminator.
LONG copy_name(const std::string& name, LPWSTR buffer, LPDWORD size)
{
    const size_t length = wide_from_utf8(name.data(), name.size(), nullptr, 0);
    if (length >= *size)
        return ERROR_MORE_DATA;
    wide_from_utf8(name.data(), name.size(), buffer, length);
    buffer[length] = L'\0';
    *size = static_cast<DWORD>(length);
    return ERROR_SUCCESS;
}

// Calls with the hive and the key of a handle.
template <class Call> LONG with_key(HKEY handle, DWORD needed_access, Call call)
{
    OpenKey key;
    if (!resolve_key(handle, key))
        return ERROR_INVALID_HANDLE;
    if (!(key.access & needed_access))
        return ERROR_ACCESS_DENIED;
    DWORD error = 0;
    const auto hive = read_hive(key.hive, error);
    if (!hive)
        return static_cast<LONG>(error);
    const auto found = hive->find(key.path);
    return found == hive->end() ? static_cast<LONG>(ERROR_FILE_NOT_FOUND) : call(*hive, found);
}

// The name of a direct child, null after the last one.
const std::string* child_name(const Hive& hive, Hive::const_iterator key, DWORD index)
{
    const std::string prefix = key->first.empty() ? "" : key->first + "\\";
    for (auto at = hive.lower_bound(prefix);
         at != hive.end() && at->first.compare(0, prefix.size(), prefix) == 0; ++at)
        if (at->first.size() > prefix.size() &&
            at->first.find('\\', prefix.size()) == std::string::npos && index-- == 0)
            return &at->second.name;
    return nullptr;
}

LONG enumerate_key(HKEY handle, DWORD index, LPWSTR name, LPDWORD size)
{
    return with_key(handle, KEY_ENUMERATE_SUB_KEYS,
                    [&](const Hive& hive, Hive::const_iterator key) -> LONG
                    {
                        const std::string* const path = child_name(hive, key, index);
                        if (!path)
                            return ERROR_NO_MORE_ITEMS;
                        const size_t start = path->rfind('\\');
                        return copy_name(start == std::string::npos ? *path
                                                                    : path->substr(start + 1),
                                         name, size);
                    });
}

} // namespace

extern "C" LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_size,
                              LPDWORD reserved, LPWSTR key_class, LPDWORD class_size,
                              LPFILETIME written)
{
    if (!name || !name_size || reserved || (key_class && !class_size))
        return ERROR_INVALID_PARAMETER;
    const LONG result =
        guarded_call("RegEnumKey", [&] { return enumerate_key(key, index, name, name_size); });
    if (result != ERROR_SUCCESS)
        return result;
    if (key_class && *class_size != 0)
        *key_class = L'\0';
    if (class_size)
        *class_size = 0;
    if (written)
        *written = {};
    return ERROR_SUCCESS;
}

extern "C" LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_size,
                              LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD data_size)
{
    if (!name || !name_size || reserved || (data && !data_size))
        return ERROR_INVALID_PARAMETER;
    const auto enumerate = [&](const Hive&, Hive::const_iterator found) -> LONG
    {
        const auto& values = found->second.values;
        if (index >= values.size())
            return ERROR_NO_MORE_ITEMS;
        const RegValue& value = std::next(values.begin(), index)->second;
        if (type)
            *type = value.type;
        const LONG named = copy_name(value.name, name, name_size);
        const LONG copied = copy_data(value, data, data_size);
        return named == ERROR_SUCCESS ? copied : named;
    };
    return guarded_call("RegEnumValue", [&] { return with_key(key, KEY_QUERY_VALUE, enumerate); });
}
