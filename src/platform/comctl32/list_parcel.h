// The messages of the list view that point to data, copied for a send with a time limit.
#pragma once

#include "user32/parcel.h"

namespace platform
{

// True if the message's lParam points to a structure.
bool is_list_pointer_message(UINT message);

std::unique_ptr<Parcel> make_list_parcel(UINT message, WPARAM wParam, LPARAM lParam);

} // namespace platform
