// The messages of the list view that point to something, copied for a send with a limit.
#pragma once

#include "user32/parcel.h"

namespace platform
{

// True if lParam is that of a structure.
bool is_list_pointer_message(UINT message);

std::unique_ptr<Parcel> make_list_parcel(UINT message, WPARAM wParam, LPARAM lParam);

} // namespace platform
