// Window classes: one table for the process. A class stays until it is unregistered; the system's
// own stay for ever.
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
    size_t extra_bytes; // of each window
    bool of_system;
    MakeParcel make_parcel = nullptr; // for the class's own messages that point to data
    mutable bool gone = false;        // unregistered: no new windows; guarded by the WindowLock
};

using ClassPointer = std::shared_ptr<const WindowClass>;

// By name, or by atom made into a pointer. Null with the last error set.
ClassPointer find_class(LPCWSTR name);

// Registers a class of the system's own, unless that name is taken. False with the last error set.
bool register_system_class(const WNDCLASSEXW& given, MakeParcel make_parcel);

} // namespace platform
