// Window classes: one table for the process. A class stays once it is registered.
#pragma once

#include <memory>
#include <vector>

#include "parcel.h"
#include "windows.h"

namespace platform
{

struct WindowClass
{
    ATOM atom;
    std::vector<wchar_t> name; // terminated
    WNDPROC procedure;
    size_t extra_bytes;               // of each window
    MakeParcel make_parcel = nullptr; // for the class's own messages that point to something
};

using ClassPointer = std::shared_ptr<const WindowClass>;

// By name, or by atom made into a pointer. Null with the last error set.
ClassPointer find_class(LPCWSTR name);

// Registers a class of the system's own. False with the last error set.
ATOM register_class(const WNDCLASSEXW& given, MakeParcel make_parcel);

} // namespace platform
