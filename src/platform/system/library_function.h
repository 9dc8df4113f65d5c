// Functions of a library that is loaded only when it is needed.
#pragma once

#include "calls.h"

namespace platform
{

// Looks a function up in an open library. False if the library has none of that name.
template <class Function> bool find_function(void* library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(sys::dlsym(library, name));
    return function != nullptr;
}

} // namespace platform
