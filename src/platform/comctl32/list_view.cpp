// The class "SysListView32": the messages of a list view in report mode, on top of its model. It
// works without a display; sizes are those of a plain font.
#include <algorithm>
#include <atomic>
#include <climits>
#include <new>

#include "commctrl.h"
#include "kernel32/thread/no_termination.h"
#include "label_edit.h"
#include "list_desktop.h"
#include "list_model.h"
#include "list_parcel.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/last_error.h"
#include "system/text.h"
#include "user32/desktop.h"
#include "user32/window_class.h"

using namespace platform;

namespace
{

constexpr LONG header_height = 24; // pixels
constexpr LONG row_height = 17;
constexpr int default_width = 100; // for a column without a width

size_t rows_per_page(HWND window)
{
    RECT client = {};
    GetClientRect(window, &client);
    return static_cast<size_t>(std::max<LONG>(client.bottom - header_height, 0) / row_height);
}

// A negative number becomes an index past every end.
size_t index_of(WPARAM number)
{
    const int index = static_cast<int>(number);
    return index < 0 ? SIZE_MAX : static_cast<size_t>(index);
}

const wchar_t* text_of(const wchar_t* text)
{
    return text ? text : L"";
}

size_t room_of(int size)
{
    return size > 0 ? static_cast<size_t>(size) : 0;
}

// ---- columns

LRESULT insert_column(ListModel& model, size_t index, const LVCOLUMNW& given)
try
{
    ListColumn column;
    column.width = (given.mask & LVCF_WIDTH) ? given.cx : default_width;
    column.format = (given.mask & LVCF_FMT) ? given.fmt : LVCFMT_LEFT;
    if ((given.mask & LVCF_TEXT) && given.pszText)
        column.text.assign(given.pszText, given.pszText + wide_length(given.pszText) + 1);
    return model.insert_column(index, std::move(column));
}
catch (const std::bad_alloc&)
{
    return -1;
}

LRESULT set_column(ListModel& model, size_t index, const LVCOLUMNW& given)
{
    return model.set_column(index, (given.mask & LVCF_TEXT) ? text_of(given.pszText) : nullptr,
                            (given.mask & LVCF_WIDTH) ? &given.cx : nullptr,
                            (given.mask & LVCF_FMT) ? &given.fmt : nullptr);
}

LRESULT get_column(const ListModel& model, size_t index, LVCOLUMNW& to)
{
    const bool text = (to.mask & LVCF_TEXT) != 0;
    if (model.column(index, (to.mask & LVCF_WIDTH) ? &to.cx : nullptr,
                     (to.mask & LVCF_FMT) ? &to.fmt : nullptr, text ? to.pszText : nullptr,
                     room_of(to.cchTextMax)) < 0)
        return FALSE;
    if (to.mask & LVCF_SUBITEM)
        to.iSubItem = static_cast<int>(index);
    return TRUE;
}

LRESULT column_width(const ListModel& model, size_t index)
{
    int width = 0;
    return model.column(index, &width, nullptr, nullptr, 0) < 0 ? 0 : width;
}

// ---- rows

LRESULT insert_item(ListModel& model, const LVITEMW& given)
{
    int error = 0;
    if (api_fault("LVM_INSERTITEMW", error) || given.iItem < 0 || given.iSubItem != 0 ||
        model.rows() >= INT_MAX)
        return -1;
    return model.insert_row(static_cast<size_t>(given.iItem),
                            (given.mask & LVIF_TEXT) ? text_of(given.pszText) : L"",
                            (given.mask & LVIF_PARAM) ? given.lParam : 0);
}

bool set_text(ListModel& model, size_t row, const LVITEMW& given)
{
    return given.iSubItem >= 0 &&
           model.set_cell(row, static_cast<size_t>(given.iSubItem), text_of(given.pszText));
}

LRESULT set_item(ListModel& model, const LVITEMW& given)
{
    const size_t row = index_of(static_cast<WPARAM>(given.iItem));
    if (row >= model.rows() || ((given.mask & LVIF_PARAM) && given.iSubItem != 0))
        return FALSE; // the parameter belongs to the row; its further cells have none
    if ((given.mask & LVIF_TEXT) && !set_text(model, row, given))
        return FALSE;
    return !(given.mask & LVIF_PARAM) || model.set_param(row, given.lParam);
}

// The length of what was copied.
LRESULT get_text(const ListModel& model, size_t row, LVITEMW& to)
{
    const size_t room = to.pszText ? room_of(to.cchTextMax) : 0;
    if (room == 0 || to.iSubItem < 0)
        return 0;
    const ptrdiff_t length = model.cell(row, static_cast<size_t>(to.iSubItem), to.pszText, room);
    return length < 0 ? 0 : std::min(length, static_cast<ptrdiff_t>(room) - 1);
}

LRESULT get_item(const ListModel& model, LVITEMW& to)
{
    const size_t row = index_of(static_cast<WPARAM>(to.iItem));
    if (row >= model.rows())
        return FALSE;
    if (to.mask & LVIF_TEXT)
        get_text(model, row, to);
    return !(to.mask & LVIF_PARAM) || model.param(row, to.lParam);
}

// ---- the procedure

// False for a message that is not the list view's, or lacks the data that it must point to.
bool handle(ListModel& model, HWND window, UINT message, WPARAM wParam, LPARAM lParam,
            LRESULT& result)
{
    auto* const column = reinterpret_cast<LVCOLUMNW*>(lParam);
    auto* const item = reinterpret_cast<LVITEMW*>(lParam);
    const size_t index = index_of(wParam);
    const int width = static_cast<int>(lParam);
    if (is_list_pointer_message(message) && lParam == 0)
        return false;
    switch (message)
    {
    case LVM_INSERTCOLUMNW:
        result = static_cast<int>(wParam) < 0 ? -1 : insert_column(model, index, *column);
        return true;
    case LVM_SETCOLUMNW:
        result = set_column(model, index, *column);
        return true;
    case LVM_GETCOLUMNW:
        result = get_column(model, index, *column);
        return true;
    case LVM_DELETECOLUMN:
        result = model.delete_column(index);
        return true;
    case LVM_GETCOLUMNWIDTH:
        result = column_width(model, index);
        return true;
    case LVM_SETCOLUMNWIDTH:
        result = width >= 0 && model.set_column(index, nullptr, &width, nullptr);
        return true;
    case LVM_INSERTITEMW:
        result = insert_item(model, *item);
        return true;
    case LVM_SETITEMW:
        result = set_item(model, *item);
        return true;
    case LVM_SETITEMTEXTW:
        result = set_text(model, index, *item);
        return true;
    case LVM_GETITEMW:
        result = get_item(model, *item);
        return true;
    case LVM_GETITEMTEXTW:
        result = get_text(model, index, *item);
        return true;
    case LVM_GETITEMCOUNT:
        result = static_cast<LRESULT>(model.rows());
        return true;
    case LVM_DELETEITEM:
        result = model.delete_row(index);
        return true;
    case LVM_DELETEALLITEMS:
        model.delete_all_rows();
        result = TRUE;
        return true;
    case LVM_ENSUREVISIBLE:
        result = model.make_visible(index, rows_per_page(window));
        return true;
    case LVM_GETTOPINDEX:
        result = static_cast<LRESULT>(model.top());
        return true;
    case LVM_GETCOUNTPERPAGE:
        result = static_cast<LRESULT>(rows_per_page(window));
        return true;
    default:
        return false;
    }
}

// The model is destroyed with the window, so WM_NCDESTROY has nothing to do.
bool make_model(HWND window)
try
{
    auto model = std::make_shared<ListModel>();
    const WindowLock lock;
    Window* const found = find_window(window);
    if (!found)
        return false;
    found->control = std::move(model);
    return true;
}
catch (const std::exception& exception)
{
    return failed_by(exception, FALSE);
}

RECT label_place(HWND list, size_t row)
{
    RECT place = {};
    const std::shared_ptr<ListModel> model = list_model_of(list);
    int width = 0;
    if (!model || row >= model->rows() || model->column(0, &width, nullptr, nullptr, 0) < 0)
        return place;
    place.right = width;
    place.top = header_height + static_cast<LONG>(static_cast<ptrdiff_t>(row) -
                                                  static_cast<ptrdiff_t>(model->top())) *
                                    row_height;
    place.bottom = place.top + row_height;
    return place;
}

// Handles the messages of label editing; false if the message must be handled further. These
// messages reach the parent, whose procedure may do anything: nothing is held meanwhile.
bool handle_label(HWND window, UINT message, WPARAM wParam, LRESULT& result)
{
    const size_t row = index_of(wParam);
    switch (message)
    {
    case LVM_EDITLABELW:
        if (row == SIZE_MAX)
            end_label_edit(window, false);
        result = row == SIZE_MAX ? 0
                                 : reinterpret_cast<LRESULT>(
                                       begin_label_edit(window, row, label_place(window, row)));
        return true;
    case LVM_CANCELEDITLABEL:
        end_label_edit(window, false);
        return true;
    case LVM_GETEDITCONTROL:
        result = reinterpret_cast<LRESULT>(label_edit_of(window).control);
        return true;
    case LVM_DELETEITEM:
        if (label_edit_of(window).row != row)
            return false;
        end_label_edit(window, false);
        return false;
    case LVM_DELETEALLITEMS:
    case WM_DESTROY:
        end_label_edit(window, false);
        return false;
    default:
        return false;
    }
}

LRESULT CALLBACK list_view_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_NCCREATE && !make_model(window))
        return FALSE;
    LRESULT result = 0;
    if (handle_label(window, message, wParam, result))
        return result;
    if (message < LVM_FIRST)
        return DefWindowProcW(window, message, wParam, lParam);
    const NoTermination guard; // the model is held meanwhile
    const std::shared_ptr<ListModel> model = list_model_of(window);
    if (!model || !handle(*model, window, message, wParam, lParam, result))
        return 0;
    tell_rows_changed(window, *model);
    return result;
}

bool register_list_class()
{
    WNDCLASSEXW list = {};
    list.cbSize = sizeof list;
    list.lpfnWndProc = list_view_procedure;
    list.lpszClassName = WC_LISTVIEWW;
    return register_system_class(list, make_list_parcel);
}

} // namespace

extern "C" void InitCommonControls(void)
{
    // Set only when both classes exist, so that a call that lacked memory can be repeated.
    static constinit std::atomic<bool> registered{false};
    if (!registered && register_list_class() && register_edit_class())
        registered = true;
}
