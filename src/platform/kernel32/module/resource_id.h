// Types and names of resources as passed by callers.
#pragma once

#include "pe/resource_tree.h"
#include "windef.h"

namespace platform
{

// A number by MAKEINTRESOURCEW, or the text "#NUMBER" for one, or a text: converted to capitals, as
// resource compilers store it. False for a text that no tree can hold.
bool resource_id(LPCWSTR given, pe::ResourceId& id);

} // namespace platform
