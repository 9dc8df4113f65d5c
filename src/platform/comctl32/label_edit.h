// The editing of labels in a list view: an edit window over the first cell of a row.
//
// The parent is asked before and informed after. It may do anything meanwhile, even block or
// destroy the list, so nothing is held during its answer.
#pragma once

#include "list_model.h"

namespace platform
{

LabelEdit label_edit_of(HWND list);

// For the list's own thread. place: of the row's label, within the list. Returns the edit window;
// null if the list or the row doesn't exist, or the parent refuses.
HWND begin_label_edit(HWND list, size_t row, const RECT& place);

// Ends the current editing, if there is one.
void end_label_edit(HWND list, bool keep);

// Registers the class "Edit", as far as labels need it. False with the last error set.
bool register_edit_class();

} // namespace platform
