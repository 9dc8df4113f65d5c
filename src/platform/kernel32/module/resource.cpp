// Finding resources and reading them.
//
// The handle of a resource is the address in memory of its description in the module's file; the
// handle of its data is the address of the data. Both are only valid together with their module,
// and as long as it is.
//
// A search without a language takes the neutral one (0), else US English, else the first one found.
// A search for the neutral language does the same: on the system it means the thread's language. A
// search for any other language takes only that one.
#include "resource_id.h"

#include <new>

#include "module.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;
using pe::ResourceTree;

namespace
{

constexpr WORD neutral = 0;
constexpr WORD us_english = 0x409;

// A module's tree, held while a call works on it.
class HeldTree
{
public:
    explicit HeldTree(HMODULE module) : m_module(hold_module(module))
    {
        if (!m_module)
            return;
        if (const DWORD error = m_module->open_file())
            fail_with(error);
        else if (m_module->resources()->empty())
            fail_with(ERROR_RESOURCE_DATA_NOT_FOUND);
        else
            m_tree = m_module->resources();
    }
    explicit operator bool() const { return m_tree; }
    const ResourceTree* operator->() const { return m_tree; }
    const ResourceTree& operator*() const { return *m_tree; }
    DWORD fetch(const pe::Bytes& bytes) const { return m_module->fetch(bytes); }

private:
    std::shared_ptr<Module> m_module;
    const ResourceTree* m_tree = nullptr;
};

// Each returns the offset of what it looks for, or no_offset with the last error.
uint32_t find_type(const ResourceTree& tree, LPCWSTR type)
{
    pe::ResourceId id;
    const uint32_t found = resource_id(type, id) ? tree.find_directory(ResourceTree::root, id)
                                                 : ResourceTree::no_offset;
    if (found == ResourceTree::no_offset)
        fail_with(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return found;
}

uint32_t find_name(const ResourceTree& tree, LPCWSTR type, LPCWSTR name)
{
    const uint32_t names = find_type(tree, type);
    if (names == ResourceTree::no_offset)
        return names;
    pe::ResourceId id;
    const uint32_t found =
        resource_id(name, id) ? tree.find_directory(names, id) : ResourceTree::no_offset;
    if (found == ResourceTree::no_offset)
        fail_with(ERROR_RESOURCE_NAME_NOT_FOUND);
    return found;
}

uint32_t any_language(const ResourceTree& tree, uint32_t languages)
{
    for (const WORD language : {neutral, us_english})
        if (const uint32_t found = tree.find_language(languages, language);
            found != ResourceTree::no_offset)
            return found;
    const uint32_t count = tree.entry_count(languages);
    for (uint32_t i = 0; i < count; ++i)
        if (const ResourceTree::Entry entry = tree.entry(languages, i); !entry.is_directory)
            return entry.target;
    return ResourceTree::no_offset;
}

HRSRC find(HMODULE module, LPCWSTR type, LPCWSTR name, const WORD* language)
{
    try
    {
        const HeldTree tree(module);
        if (!tree)
            return nullptr;
        const uint32_t languages = find_name(*tree, type, name);
        if (languages == ResourceTree::no_offset)
            return nullptr;
        const uint32_t found =
            language ? tree->find_language(languages, *language) : any_language(*tree, languages);
        pe::ResourceData description;
        pe::Bytes bytes;
        if (found == ResourceTree::no_offset)
            fail_with(ERROR_RESOURCE_LANG_NOT_FOUND);
        else if (!tree->data_at(found, description, bytes))
            fail_with(ERROR_BAD_EXE_FORMAT);
        else
            return reinterpret_cast<HRSRC>(const_cast<uint8_t*>(tree->place_of(found)));
    }
    catch (const std::exception& exception)
    {
        failed_by(exception, FALSE);
    }
    return nullptr;
}

// The data of a resource, by its handle. False, with the last error, for a handle that is not the
// module's.
bool data_of(const HeldTree& tree, HRSRC resource, pe::Bytes& bytes)
{
    uint32_t offset = 0;
    pe::ResourceData description;
    return tree &&
           ((tree->offset_of(resource, offset) && tree->data_at(offset, description, bytes)) ||
            fail_with(ERROR_INVALID_PARAMETER));
}

// A type or name for a callback: a number, or a text that lives as long as this object.
class GivenId
{
public:
    explicit GivenId(const pe::ResourceId& id) : m_id(id) {}
    LPWSTR get()
    {
        return m_id.named ? reinterpret_cast<wchar_t*>(m_id.text.data())
                          : MAKEINTRESOURCEW(m_id.number);
    }

private:
    pe::ResourceId m_id;
};

BOOL stopped_by_caller()
{
    return fail_with(ERROR_RESOURCE_ENUM_USER_STOP);
}

// Calls for each entry of a directory that names a directory, until the call says FALSE.
template <class Call> BOOL each_named(const ResourceTree& tree, uint32_t directory, Call call)
{
    const uint32_t count = tree.entry_count(directory);
    for (uint32_t i = 0; i < count; ++i)
    {
        const ResourceTree::Entry entry = tree.entry(directory, i);
        pe::ResourceId id;
        if (!entry.is_directory || !tree.id_of(entry, id))
            continue;
        if (!call(GivenId(id).get()))
            return stopped_by_caller();
    }
    return TRUE;
}

template <class Work> BOOL enumerate(HMODULE module, bool has_call, Work work)
{
    if (!has_call)
        return fail_with(ERROR_INVALID_PARAMETER);
    try
    {
        const HeldTree tree(module);
        return tree ? work(*tree) : FALSE;
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}

} // namespace

namespace platform
{

bool resource_id(LPCWSTR given, pe::ResourceId& id)
{
    id = {};
    if (IS_INTRESOURCE(given))
    {
        id.number = static_cast<uint16_t>(reinterpret_cast<uintptr_t>(given));
        return true;
    }
    const size_t length = wide_length(given);
    if (given[0] == L'#' && length > 1)
    {
        uint32_t number = 0;
        size_t at = 1;
        for (; at < length && given[at] >= L'0' && given[at] <= L'9' && number <= UINT16_MAX; ++at)
            number = number * 10 + static_cast<uint32_t>(given[at] - L'0');
        if (at == length && number <= UINT16_MAX)
        {
            id.number = static_cast<uint16_t>(number);
            return true;
        }
    }
    id.named = true;
    id.text.reserve(length);
    for (size_t i = 0; i < length; ++i)
        id.text.push_back(static_cast<char16_t>(fold_case(given[i])));
    return length <= UINT16_MAX;
}

} // namespace platform

extern "C" HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type)
{
    return find(module, type, name, nullptr);
}

extern "C" HRSRC FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language)
{
    return find(module, type, name, language == neutral ? nullptr : &language);
}

extern "C" HGLOBAL LoadResource(HMODULE module, HRSRC resource)
try
{
    int error = 0;
    if (api_fault("LoadResource", error))
    {
        fail_with(static_cast<DWORD>(error));
        return nullptr;
    }
    const HeldTree tree(module);
    pe::Bytes bytes;
    if (!data_of(tree, resource, bytes))
        return nullptr;
    if (const DWORD failure = tree.fetch(bytes))
    {
        fail_with(failure);
        return nullptr;
    }
    return const_cast<uint8_t*>(bytes.data());
}
catch (const std::exception& exception)
{
    return failed_by(exception, HGLOBAL{});
}

extern "C" LPVOID LockResource(HGLOBAL data)
{
    int error = 0;
    return api_fault("LockResource", error) ? nullptr : data;
}

extern "C" DWORD SizeofResource(HMODULE module, HRSRC resource)
try
{
    pe::Bytes bytes;
    return data_of(HeldTree(module), resource, bytes) ? static_cast<DWORD>(bytes.size()) : 0;
}
catch (const std::exception& exception)
{
    return failed_by(exception, DWORD{0});
}

extern "C" BOOL EnumResourceTypesW(HMODULE module, ENUMRESTYPEPROCW call, LONG_PTR argument)
{
    return enumerate(module, call,
                     [&](const ResourceTree& tree)
                     {
                         return each_named(tree, ResourceTree::root,
                                           [&](LPWSTR type)
                                           { return call(module, type, argument); });
                     });
}

extern "C" BOOL EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW call,
                                   LONG_PTR argument)
{
    return enumerate(module, call,
                     [&](const ResourceTree& tree)
                     {
                         const uint32_t names = find_type(tree, type);
                         return names == ResourceTree::no_offset
                                    ? FALSE
                                    : each_named(tree, names,
                                                 [&](LPWSTR name)
                                                 { return call(module, type, name, argument); });
                     });
}

extern "C" BOOL EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name,
                                       ENUMRESLANGPROCW call, LONG_PTR argument)
{
    return enumerate(module, call,
                     [&](const ResourceTree& tree)
                     {
                         const uint32_t languages = find_name(tree, type, name);
                         if (languages == ResourceTree::no_offset)
                             return FALSE;
                         const uint32_t count = tree.entry_count(languages);
                         for (uint32_t i = 0; i < count; ++i)
                         {
                             const ResourceTree::Entry entry = tree.entry(languages, i);
                             if (!entry.is_directory && entry.id <= UINT16_MAX &&
                                 !call(module, type, name, static_cast<WORD>(entry.id), argument))
                                 return stopped_by_caller();
                         }
                         return TRUE;
                     });
}
