#include "label_edit.h"

#include <new>
#include <vector>

#include "commctrl.h"
#include "list_desktop.h"
#include "list_model.h"
#include "user32/desktop.h"
#include "user32/window_class.h"

using namespace platform;

namespace
{

constexpr wchar_t edit_class[] = L"Edit";

std::vector<wchar_t> label_text(const ListModel& model, size_t row)
{
    std::vector<wchar_t> text(static_cast<size_t>(model.cell(row, 0, nullptr, 0)) + 1);
    model.cell(row, 0, text.data(), text.size());
    return text;
}

std::vector<wchar_t> text_of_window(HWND window)
{
    std::vector<wchar_t> text(static_cast<size_t>(GetWindowTextLengthW(window)) + 1);
    GetWindowTextW(window, text.data(), static_cast<int>(text.size()));
    return text;
}

// The parent's answer.
bool notify_parent(HWND list, UINT code, size_t row, wchar_t* text)
{
    NMLVDISPINFOW told = {};
    told.hdr.hwndFrom = list;
    told.hdr.idFrom = static_cast<UINT_PTR>(GetWindowLongPtrW(list, GWLP_ID));
    told.hdr.code = code;
    told.item.mask = LVIF_PARAM | (text ? LVIF_TEXT : 0);
    told.item.iItem = static_cast<int>(row);
    told.item.pszText = text;
    if (const std::shared_ptr<ListModel> model = list_model_of(list))
        model->param(row, told.item.lParam);
    return SendMessageW(GetParent(list), WM_NOTIFY, told.hdr.idFrom,
                        reinterpret_cast<LPARAM>(&told)) != 0;
}

// Replaces the model's current edit. False if the list is gone.
bool set_edit(HWND list, const LabelEdit& edit)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    if (model)
        model->set_label_edit(edit);
    return model != nullptr;
}

// Handles the user's input in the edit window of a label.
LRESULT CALLBACK label_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    const bool enter = message == WM_KEYDOWN && wParam == VK_RETURN;
    const bool escape = message == WM_KEYDOWN && wParam == VK_ESCAPE;
    const bool keeps = enter || message == WM_KILLFOCUS;
    if (!keeps && !escape && message != WM_DESTROY)
        return DefWindowProcW(window, message, wParam, lParam);
    const HWND list = GetParent(window);
    if (label_edit_of(list).control == window)
        end_label_edit(list, keeps);
    return 0;
}

// Null if the window can't be made.
HWND make_control(HWND list, const wchar_t* text, const RECT& place)
{
    const HWND control = CreateWindowExW(
        0, edit_class, text, WS_CHILD | WS_VISIBLE, place.left, place.top, place.right - place.left,
        place.bottom - place.top, list, nullptr,
        reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(list, GWLP_HINSTANCE)), nullptr);
    if (control)
        SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(label_procedure));
    return control;
}

// Empty if there is no such row, or no memory.
std::vector<wchar_t> label_of(HWND list, size_t row)
try
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    return model && row < model->rows() ? label_text(*model, row) : std::vector<wchar_t>();
}
catch (const std::bad_alloc&)
{
    return {};
}

} // namespace

namespace platform
{

LabelEdit label_edit_of(HWND list)
{
    const std::shared_ptr<ListModel> model = list_model_of(list);
    return model ? model->label_edit() : LabelEdit{};
}

HWND begin_label_edit(HWND list, size_t row, const RECT& place)
{
    end_label_edit(list, true);
    if (!(GetWindowLongPtrW(list, GWL_STYLE) & LVS_EDITLABELS))
        return nullptr;
    std::vector<wchar_t> text = label_of(list, row);
    if (text.empty())
        return nullptr;
    const HWND control = make_control(list, text.data(), place);
    if (!control || !set_edit(list, {control, row, false}))
        return nullptr;
    const bool refused = notify_parent(list, LVN_BEGINLABELEDITW, row, text.data());
    // The notified parent may have ended the editing.
    if (label_edit_of(list).control != control)
        return nullptr;
    if (!refused)
        return control;
    set_edit(list, {});
    DestroyWindow(control);
    return nullptr;
}

void end_label_edit(HWND list, bool keep)
try
{
    LabelEdit edit = label_edit_of(list);
    if (!edit.control || edit.ending)
        return;
    edit.ending = true;
    set_edit(list, edit);
    std::vector<wchar_t> text;
    if (keep)
        text = text_of_window(edit.control);
    const bool accepted =
        notify_parent(list, LVN_ENDLABELEDITW, edit.row, keep ? text.data() : nullptr);
    const size_t row = label_edit_of(list).row; // the row may have moved meanwhile
    if (accepted && keep)
        if (const std::shared_ptr<ListModel> model = list_model_of(list);
            model && model->set_cell(row, 0, text.data()))
            tell_rows_changed(list, *model);
    set_edit(list, {});
    DestroyWindow(edit.control);
}
catch (const std::bad_alloc&)
{
    // The former text stays, and the editing continues, as if it had not been ended.
    if (LabelEdit edit = label_edit_of(list); edit.control)
    {
        edit.ending = false;
        set_edit(list, edit);
    }
}

bool register_edit_class()
{
    WNDCLASSEXW edit = {};
    edit.cbSize = sizeof edit;
    edit.lpfnWndProc = DefWindowProcW;
    edit.lpszClassName = edit_class;
    return register_system_class(edit, nullptr);
}

} // namespace platform
