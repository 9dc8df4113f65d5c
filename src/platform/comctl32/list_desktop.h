// The requests of a display to a list view, on any thread; see user32/desktop.h.
#pragma once

#include <cstdint>

#include "windef.h"

struct PlinthListChanges;

namespace platform
{

class ListModel;

// On the list's own thread: notifies the display of changes, if there is one and it was not
// notified yet.
void tell_rows_changed(HWND list, ListModel& model);

BOOL list_take_changes(HWND list, PlinthListChanges* changes);
int list_column_count(HWND list);
int list_column(HWND list, int column, int* width, wchar_t* text, int size);
int list_cell(HWND list, int64_t row, int column, wchar_t* text, int size);

} // namespace platform
