#include "list_desktop.h"

#include "list_model.h"
#include "user32/desktop.h"

namespace platform
{

void tell_rows_changed(HWND list, ListModel& model)
{
    const PlinthDesktop* const to = desktop();
    if (to && to->rows_changed && model.must_tell())
        to->rows_changed(list);
}

BOOL list_take_changes(HWND list, PlinthListChanges* changes)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    if (!model)
        return FALSE;
    const ListChanges taken = model->take_changes();
    *changes = {static_cast<int64_t>(taken.rows), taken.first_changed, taken.visible_row,
                taken.columns};
    return TRUE;
}

int list_column_count(HWND list)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    return model ? static_cast<int>(model->columns()) : -1;
}

int list_column(HWND list, int column, int* width, wchar_t* text, int size)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    if (!model || column < 0)
        return -1;
    return static_cast<int>(model->column(static_cast<size_t>(column), width, nullptr, text,
                                          size > 0 ? static_cast<size_t>(size) : 0));
}

int list_cell(HWND list, int64_t row, int column, wchar_t* text, int size)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    if (!model || row < 0 || column < 0)
        return -1;
    return static_cast<int>(model->cell(static_cast<size_t>(row), static_cast<size_t>(column), text,
                                        size > 0 ? static_cast<size_t>(size) : 0));
}

} // namespace platform
