// A list view in report mode, used through its messages.
#pragma once

#include <string>

#include <windows.h>

#include <commctrl.h>

#include "support/wide_text.h"

namespace test
{

inline LRESULT send(HWND window, UINT message, WPARAM wParam, const void* structure)
{
    return SendMessageW(window, message, wParam, reinterpret_cast<LPARAM>(structure));
}

inline LVITEMW list_item(int row, int column, const wchar_t* text)
{
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.iSubItem = column;
    item.pszText = const_cast<wchar_t*>(text);
    return item;
}

// The three below return what the message returns.

inline LRESULT add_column(HWND list, int index, const wchar_t* text, int width = 60)
{
    LVCOLUMNW column = {};
    column.mask = LVCF_WIDTH | (text ? LVCF_TEXT : 0);
    column.cx = width;
    column.pszText = const_cast<wchar_t*>(text);
    return send(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(index), &column);
}

inline LRESULT add_row(HWND list, int row, const wchar_t* text, LPARAM param = 0)
{
    LVITEMW item = list_item(row, 0, text);
    item.mask |= LVIF_PARAM;
    item.lParam = param;
    return send(list, LVM_INSERTITEMW, 0, &item);
}

inline LRESULT set_cell(HWND list, int row, int column, const wchar_t* text)
{
    const LVITEMW item = list_item(row, column, text);
    return send(list, LVM_SETITEMW, 0, &item);
}

// "" if there is no such cell.
inline std::string cell_of(HWND list, int row, int column)
{
    wchar_t text[64] = L"";
    LVITEMW asked = list_item(0, column, text);
    asked.cchTextMax = 64;
    return send(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), &asked) > 0 ? utf8(text) : "";
}

} // namespace test
