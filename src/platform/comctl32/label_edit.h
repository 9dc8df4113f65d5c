// The editing of labels in a list view: an edit window over the first cell of a row.
//
// The parent is asked before and told after. It may do anything meanwhile, also hang or destroy the
// list, so nothing is held while it is at it.
#pragma once

#include "list_model.h"

namespace platform
{

LabelEdit label_edit_of(HWND list);

// For the list's own thread. place is that of the row's label within the list. Gives the edit
// window; null if the list, the row or the parent doesn't have it.
HWND begin_label_edit(HWND list, size_t row, const RECT& place);

// Ends what is edited, if anything is.
void end_label_edit(HWND list, bool keep);

// Registers the class "Edit", as much of it as labels need. False with the last error set.
bool register_edit_class();

} // namespace platform
