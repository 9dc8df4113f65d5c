#include "window_class.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "kernel32/thread/no_termination.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/last_error.h"
#include "system/text.h"
#include "window_table.h"

using namespace platform;

namespace
{

constexpr ATOM first_atom = 0xC000; // numbers below it are no texts
constexpr size_t name_limit = 256;  // characters, without the terminator

struct Classes
{
    std::mutex lock;                 // guards table; the WindowLock is taken after it
    std::vector<ClassPointer> table; // by atom, from first_atom on; null: free
};

// Never destroyed: threads have windows until the very end of the process.
Classes& classes()
{
    static Immortal<Classes> only;
    return *only;
}

bool is_atom(LPCWSTR name)
{
    return reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF;
}

// The entry of a registered class, or the table's end.
std::vector<ClassPointer>::iterator find_locked(LPCWSTR name)
{
    std::vector<ClassPointer>& table = classes().table;
    if (is_atom(name))
    {
        const auto atom = reinterpret_cast<ULONG_PTR>(name);
        if (atom < first_atom || atom - first_atom >= table.size())
            return table.end();
        const auto place = table.begin() + static_cast<ptrdiff_t>(atom - first_atom);
        return *place ? place : table.end();
    }
    return std::ranges::find_if(table, [name](const ClassPointer& each)
                                { return each && compare_folded(each->name.data(), name) == 0; });
}

// 0 with the last error set. Free entries are reused, so a program that loads and unloads a library
// again and again doesn't run out of atoms.
ATOM register_class(const WNDCLASSEXW& given, bool of_system, MakeParcel make_parcel)
try
{
    int error = 0;
    if (api_fault("RegisterClassExW", error))
        return static_cast<ATOM>(fail_with(static_cast<DWORD>(error)));
    const Uninterrupted<std::mutex> lock(classes().lock);
    std::vector<ClassPointer>& table = classes().table;
    if (find_locked(given.lpszClassName) != table.end())
        return static_cast<ATOM>(fail_with(ERROR_CLASS_ALREADY_EXISTS));
    const auto place = static_cast<size_t>(std::ranges::find(table, nullptr) - table.begin());
    if (place > 0xFFFF - first_atom)
        return static_cast<ATOM>(fail_with(ERROR_CLASS_ALREADY_EXISTS));
    const auto atom = static_cast<ATOM>(first_atom + place);
    const wchar_t* const name = given.lpszClassName;
    auto made = std::make_shared<WindowClass>(WindowClass{atom,
                                                          {name, name + wide_length(name) + 1},
                                                          given.lpfnWndProc,
                                                          static_cast<size_t>(given.cbWndExtra),
                                                          of_system,
                                                          make_parcel});
    if (place == table.size())
        table.push_back(std::move(made));
    else
        table[place] = std::move(made);
    return atom;
}
catch (const std::exception& exception)
{
    return failed_by(exception, ATOM{});
}

bool is_valid(const WNDCLASSEXW& given)
{
    return given.cbSize == sizeof given && given.lpfnWndProc && given.cbWndExtra >= 0 &&
           given.cbClsExtra >= 0 && !is_atom(given.lpszClassName) && *given.lpszClassName &&
           wide_length(given.lpszClassName) <= name_limit;
}

std::mutex& classes_lock()
{
    return classes().lock;
}

const AtFork g_at_fork(ForkStep::window_classes, taken_at_fork<classes_lock>());

} // namespace

namespace platform
{

ClassPointer find_class(LPCWSTR name)
{
    const Uninterrupted<std::mutex> lock(classes().lock);
    if (const auto found = find_locked(name); found != classes().table.end())
        return *found;
    fail_with(ERROR_CANNOT_FIND_WND_CLASS);
    return nullptr;
}

bool register_system_class(const WNDCLASSEXW& given, MakeParcel make_parcel)
{
    return register_class(given, true, make_parcel) != 0 ||
           GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
}

} // namespace platform

extern "C" ATOM RegisterClassExW(const WNDCLASSEXW* window_class)
{
    if (!window_class || !is_valid(*window_class))
        return static_cast<ATOM>(fail_with(ERROR_INVALID_PARAMETER));
    return register_class(*window_class, false, nullptr);
}

extern "C" BOOL UnregisterClassW(LPCWSTR class_name, HINSTANCE)
{
    int error = 0;
    if (api_fault("UnregisterClassW", error))
        return fail_with(static_cast<DWORD>(error));
    ClassPointer gone; // freed outside the lock
    const Uninterrupted<std::mutex> lock(classes().lock);
    const auto found = find_locked(class_name);
    if (found == classes().table.end() || (*found)->of_system)
        return fail_with(ERROR_CLASS_DOES_NOT_EXIST);
    const WindowLock windows;
    if (has_windows(**found))
        return fail_with(ERROR_CLASS_HAS_WINDOWS);
    (*found)->gone = true;
    gone.swap(*found);
    return TRUE;
}
