// Reads debug windows as their users see them, by the messages of the list view.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include <commctrl.h>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

namespace test
{

// Windows without threads: the test itself adds the texts.
struct Windows : CDebugFramework
{
    Windows() : CDebugFramework(true) { CreateDebugWindow(0); }
};

inline HWND debug_window(int id)
{
    return FindWindowW(L"PLINTH_DEBUG_WINDOW", Wide("Tracing Window ID: " + std::to_string(id)));
}

inline HWND debug_list(int id)
{
    return FindWindowExW(debug_window(id), nullptr, L"SysListView32", nullptr);
}

inline int debug_windows()
{
    int count = 0;
    for (HWND each = nullptr;
         (each = FindWindowExW(nullptr, each, L"PLINTH_DEBUG_WINDOW", nullptr)) != nullptr;)
        ++count;
    return count;
}

inline int row_count(int id)
{
    const HWND list = debug_list(id);
    return list ? static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)) : -1;
}

inline std::string cell(int id, int row, int column)
{
    wchar_t text[2048] = L"";
    LVITEMW item = {};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 2048;
    SendMessageW(debug_list(id), LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
    return utf8(text);
}

// The first cells of each row of a window, with a bar after each.
inline std::vector<std::string> rows(int id, int cells)
{
    std::vector<std::string> all;
    for (int row = 0; row < row_count(id); ++row)
        for (int column = 0; column < cells; ++column)
            (column == 0 ? all.emplace_back() : all.back()) += cell(id, row, column) + "|";
    return all;
}

// Polls until the condition is true, by the work of another thread. False after a time that is
// reached only by a fault.
template <class Condition> bool comes_true(Condition condition)
{
    for (int i = 0; i < 4'000; ++i)
    {
        if (condition())
            return true;
        Sleep(5);
    }
    return false;
}

} // namespace test
