// The registry calls, on top of the hives.
//
// A key handle is an index into a table that holds its hive, path and access rights. Values are
// looked up in the hive as it is on disk at that moment.
#include <cstring>
#include <mutex>
#include <vector>

#include "open_key.h"
#include "system/exception_guard.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

struct KeySlot
{
    unsigned generation = 0;
    bool used = false;
    OpenKey key;
};

struct KeyTable
{
    std::mutex lock; // guards slots; no other lock is taken while it is held
    std::vector<KeySlot> slots;
};

KeyTable& key_table()
{
    static Immortal<KeyTable> only;
    return *only;
}

std::mutex& keys_lock()
{
    return key_table().lock;
}

const AtFork g_at_fork(ForkStep::registry_keys, taken_at_fork<keys_lock>());

constexpr uintptr_t first_root = 0x80000000u;

bool root_key(HKEY key, OpenKey& result)
{
    static constexpr HiveId hives[] = {HiveId::classes_root, HiveId::current_user,
                                       HiveId::local_machine, HiveId::users};
    const uintptr_t number = reinterpret_cast<uintptr_t>(key) - first_root;
    if (number >= sizeof hives / sizeof *hives)
        return false;
    result = {hives[number], "", "", KEY_ALL_ACCESS};
    return true;
}

// Handles are even and above 32 bits, and contain index and generation.
KeySlot* find_slot(HKEY key)
{
    const uint64_t value = reinterpret_cast<uint64_t>(key);
    const size_t index = static_cast<size_t>((value >> 4) & 0xFFFFFFF);
    const auto generation = static_cast<unsigned>(value >> 33);
    if ((value & 0x10000000F) != 0x100000008 || index >= key_table().slots.size())
        return nullptr;
    KeySlot& slot = key_table().slots[index];
    return slot.used && slot.generation == generation ? &slot : nullptr;
}

HKEY add_key(OpenKey key)
{
    const std::lock_guard guard(key_table().lock);
    std::vector<KeySlot>& slots = key_table().slots;
    size_t index = 0;
    while (index < slots.size() && slots[index].used)
        ++index;
    if (index == slots.size())
        slots.emplace_back();
    KeySlot& slot = slots[index];
    slot.used = true;
    slot.generation = (slot.generation + 1) & 0x3FFFFFFF;
    slot.key = std::move(key);
    return reinterpret_cast<HKEY>((uint64_t{slot.generation} << 33) | 0x100000008 |
                                  (static_cast<uint64_t>(index) << 4));
}

// The folded path of a key below another. Separators at the ends and repeated ones don't count.
OpenKey below(const OpenKey& parent, LPCWSTR path)
{
    OpenKey key = parent;
    std::string level;
    const std::string text = path ? to_utf8(path) : "";
    for (size_t i = 0; i <= text.size(); ++i)
    {
        if (i < text.size() && text[i] != '\\')
        {
            level += text[i];
            continue;
        }
        if (!level.empty())
        {
            key.name += (key.name.empty() ? "" : "\\") + level;
            key.path += (key.path.empty() ? "" : "\\") + fold_name(level);
        }
        level.clear();
    }
    return key;
}

LONG open_key(HKEY parent, LPCWSTR path, DWORD access, PHKEY result)
{
    OpenKey from;
    if (!result)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    if (path && path[0] == L'\\')
        return ERROR_BAD_PATHNAME;
    if (!resolve_key(parent, from))
        return ERROR_INVALID_HANDLE;
    OpenKey key = below(from, path);
    DWORD error = 0;
    const auto hive = read_hive(key.hive, error);
    if (!hive)
        return static_cast<LONG>(error);
    if (!hive->count(key.path))
        return ERROR_FILE_NOT_FOUND;
    key.access = access;
    *result = add_key(std::move(key));
    return ERROR_SUCCESS;
}

// Makes a key and those above it. The names of existing levels stay as they are.
void create_levels(Hive& hive, const OpenKey& key)
{
    for (size_t at = 0; at != std::string::npos;)
    {
        at = key.name.find('\\', at ? at + 1 : 0);
        const std::string name = key.name.substr(0, at);
        hive.try_emplace(fold_name(name), RegKey{name, {}});
    }
}

// created, if not null: receives whether the key is new.
LONG create_key(HKEY parent, LPCWSTR path, DWORD access, PHKEY result, bool* created = nullptr)
{
    OpenKey from;
    if (!result)
        return ERROR_INVALID_PARAMETER;
    const LONG opened = open_key(parent, path, access, result);
    if (opened != static_cast<LONG>(ERROR_FILE_NOT_FOUND))
        return opened;
    if (!resolve_key(parent, from))
        return ERROR_INVALID_HANDLE;
    OpenKey key = below(from, path);
    if (key_levels(key.name) > deepest_key)
        return ERROR_INVALID_PARAMETER;
    bool is_new = false; // another process may have made the key first
    const DWORD error = change_hive(key.hive,
                                    [&](Hive& hive) -> DWORD
                                    {
                                        is_new = !hive.contains(key.path);
                                        create_levels(hive, key);
                                        return 0;
                                    });
    if (error)
        return static_cast<LONG>(error);
    key.access = access;
    *result = add_key(std::move(key));
    if (created)
        *created = is_new;
    return ERROR_SUCCESS;
}

// Adds a terminator to a text that was stored without one, if there is room; its size stays as
// stored.
void terminate(const RegValue& value, LPBYTE data, DWORD room)
{
    const size_t size = value.data.size();
    if ((value.type == REG_SZ || value.type == REG_EXPAND_SZ) && room - size >= sizeof(wchar_t))
        std::memset(data + size, 0, sizeof(wchar_t));
}

LONG query_value(HKEY handle, LPCWSTR name, LPDWORD type, LPBYTE data, LPDWORD size)
{
    OpenKey key;
    if (data && !size)
        return ERROR_INVALID_PARAMETER;
    if (!resolve_key(handle, key))
        return ERROR_INVALID_HANDLE;
    if (!(key.access & KEY_QUERY_VALUE))
        return ERROR_ACCESS_DENIED;
    DWORD error = 0;
    const auto hive = read_hive(key.hive, error);
    if (!hive)
        return static_cast<LONG>(error);
    const auto found_key = hive->find(key.path);
    if (found_key == hive->end())
        return ERROR_FILE_NOT_FOUND;
    const auto found = found_key->second.values.find(fold_name(name ? to_utf8(name) : ""));
    if (found == found_key->second.values.end())
        return ERROR_FILE_NOT_FOUND;
    const RegValue& value = found->second;
    if (type)
        *type = value.type;
    const DWORD room = size ? *size : 0;
    const LONG result = copy_data(value, data, size);
    if (result == ERROR_SUCCESS && data)
        terminate(value, data, room);
    return result;
}

// Changes one key's values.
template <class Change> LONG change_values(HKEY handle, Change change)
{
    OpenKey key;
    if (!resolve_key(handle, key))
        return ERROR_INVALID_HANDLE;
    if (!(key.access & KEY_SET_VALUE))
        return ERROR_ACCESS_DENIED;
    return static_cast<LONG>(change_hive(key.hive,
                                         [&](Hive& hive) -> DWORD
                                         {
                                             const auto found = hive.find(key.path);
                                             return found == hive.end() ? ERROR_FILE_NOT_FOUND
                                                                        : change(found->second);
                                         }));
}

} // namespace

namespace platform
{

LONG copy_data(const RegValue& value, LPBYTE data, LPDWORD size)
{
    if (!size)
        return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = static_cast<DWORD>(value.data.size());
    if (!data)
        return ERROR_SUCCESS;
    if (room < value.data.size())
        return ERROR_MORE_DATA;
    if (!value.data.empty())
        std::memcpy(data, value.data.data(), value.data.size());
    return ERROR_SUCCESS;
}

bool resolve_key(HKEY key, OpenKey& result)
{
    if (root_key(key, result))
        return true;
    const std::lock_guard guard(key_table().lock);
    const KeySlot* const slot = find_slot(key);
    if (!slot)
        return false;
    result = slot->key;
    return true;
}

} // namespace platform

extern "C" LONG RegOpenKeyExW(HKEY key, LPCWSTR path, DWORD, DWORD access, PHKEY result)
{
    return guarded_call("RegOpenKey", [&] { return open_key(key, path, access, result); });
}

extern "C" LONG RegOpenKeyW(HKEY key, LPCWSTR path, PHKEY result)
{
    return RegOpenKeyExW(key, path, 0, KEY_ALL_ACCESS, result);
}

extern "C" LONG RegCreateKeyW(HKEY key, LPCWSTR path, PHKEY result)
{
    return guarded_call("RegCreateKey",
                        [&] { return create_key(key, path, KEY_ALL_ACCESS, result); });
}

extern "C" LONG RegCreateKeyExW(HKEY key, LPCWSTR path, DWORD reserved, LPWSTR, DWORD options,
                                REGSAM access, LPSECURITY_ATTRIBUTES, PHKEY result,
                                LPDWORD disposition)
{
    if (!path || reserved != 0)
        return ERROR_INVALID_PARAMETER;
    if (options & REG_OPTION_VOLATILE)
        return ERROR_NOT_SUPPORTED;
    return guarded_call("RegCreateKey",
                        [&]
                        {
                            bool created = false;
                            const LONG error = create_key(key, path, access, result, &created);
                            if (error == ERROR_SUCCESS && disposition)
                                *disposition =
                                    created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
                            return error;
                        });
}

extern "C" LONG RegCloseKey(HKEY key)
try
{
    OpenKey root;
    if (root_key(key, root))
        return ERROR_SUCCESS;
    const std::lock_guard guard(key_table().lock);
    KeySlot* const slot = find_slot(key);
    if (!slot)
        return ERROR_INVALID_HANDLE;
    slot->used = false;
    slot->key = {};
    return ERROR_SUCCESS;
}
catch (const std::exception& exception)
{
    return failed_by(exception, LONG{ERROR_NOT_ENOUGH_MEMORY});
}

extern "C" LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data,
                                 LPDWORD size)
{
    return guarded_call("RegQueryValue", [&] { return query_value(key, name, type, data, size); });
}

extern "C" LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data,
                               DWORD size)
{
    if (!data && size != 0)
        return ERROR_INVALID_PARAMETER;
    return guarded_call("RegSetValue",
                        [&]
                        {
                            RegValue value{name ? to_utf8(name) : "", type, {data, data + size}};
                            return change_values(key,
                                                 [&value](RegKey& in) -> DWORD
                                                 {
                                                     in.values[fold_name(value.name)] = value;
                                                     return 0;
                                                 });
                        });
}

extern "C" LONG RegDeleteValueW(HKEY key, LPCWSTR name)
{
    return guarded_call("RegDeleteValue",
                        [&]
                        {
                            const std::string folded = fold_name(name ? to_utf8(name) : "");
                            return change_values(key,
                                                 [&folded](RegKey& in) -> DWORD {
                                                     return in.values.erase(folded)
                                                                ? ERROR_SUCCESS
                                                                : ERROR_FILE_NOT_FOUND;
                                                 });
                        });
}
