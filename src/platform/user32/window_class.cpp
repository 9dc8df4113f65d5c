#include "window_class.h"

#include <map>
#include <mutex>
#include <new>

#include "kernel32/thread.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"

using namespace platform;

namespace
{

constexpr ATOM first_atom = 0xC000; // numbers below it are no texts
constexpr size_t name_limit = 256;  // characters, without the terminator

struct Classes
{
    std::mutex lock;                 // guards table; nothing else is locked with it
    std::vector<ClassPointer> table; // by atom, from first_atom on
};

// Never destroyed: threads have windows until the very end of the process.
Classes& classes()
{
    static Classes& only = *new Classes;
    return only;
}

bool is_atom(LPCWSTR name)
{
    return reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
}

ClassPointer find_locked(LPCWSTR name)
{
    if (is_atom(name))
    {
        const auto atom = reinterpret_cast<ULONG_PTR>(name);
        return atom >= first_atom && atom - first_atom < classes().table.size()
                   ? classes().table[atom - first_atom]
                   : nullptr;
    }
    for (const ClassPointer& each : classes().table)
        if (compare_folded(each->name.data(), name) == 0)
            return each;
    return nullptr;
}

bool is_valid(const WNDCLASSEXW& given)
{
    return given.cbSize == sizeof given && given.lpfnWndProc && given.cbWndExtra >= 0 &&
           given.cbClsExtra >= 0 && !is_atom(given.lpszClassName) && *given.lpszClassName &&
           wide_length(given.lpszClassName) <= name_limit;
}

} // namespace

namespace platform
{

ClassPointer find_class(LPCWSTR name)
{
    const Uninterrupted<std::mutex> lock(classes().lock);
    ClassPointer found = find_locked(name);
    if (!found)
        fail_with(ERROR_CANNOT_FIND_WND_CLASS);
    return found;
}

ATOM register_class(const WNDCLASSEXW& given, MakeParcel make_parcel)
{
    const Uninterrupted<std::mutex> lock(classes().lock);
    std::vector<ClassPointer>& table = classes().table;
    if (find_locked(given.lpszClassName) || table.size() > 0xFFFF - first_atom)
        return static_cast<ATOM>(fail_with(ERROR_CLASS_ALREADY_EXISTS));
    try
    {
        const auto atom = static_cast<ATOM>(first_atom + table.size());
        const wchar_t* const name = given.lpszClassName;
        table.push_back(
            std::make_shared<WindowClass>(WindowClass{atom,
                                                      {name, name + wide_length(name) + 1},
                                                      given.lpfnWndProc,
                                                      static_cast<size_t>(given.cbWndExtra),
                                                      make_parcel}));
        return atom;
    }
    catch (const std::bad_alloc&)
    {
        return static_cast<ATOM>(fail_with(ERROR_NOT_ENOUGH_MEMORY));
    }
}

} // namespace platform

extern "C" ATOM RegisterClassExW(const WNDCLASSEXW* windowClass)
{
    int error = 0;
    if (api_fault("RegisterClassExW", error))
        return static_cast<ATOM>(fail_with(static_cast<DWORD>(error)));
    if (!windowClass || !is_valid(*windowClass))
        return static_cast<ATOM>(fail_with(ERROR_INVALID_PARAMETER));
    return register_class(*windowClass, nullptr);
}
