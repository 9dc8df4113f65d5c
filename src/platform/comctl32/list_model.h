// The content of a list view in report mode: columns, and rows of cells.
//
// The window's thread changes it, and a display reads it from its own thread: each call locks. No
// other lock is taken while it is locked.
#pragma once

#include <deque>
#include <mutex>
#include <vector>

#include "comctl32/list_row.h"
#include "kernel32/thread/no_termination.h"
#include "user32/window_table.h"

namespace platform
{

struct ListColumn
{
    std::vector<wchar_t> text; // terminated
    int width = 0;             // pixels
    int format = 0;
};

// What has changed since the display last took it.
struct ListChanges
{
    size_t rows = 0;
    ptrdiff_t first_changed = -1; // -1: no row
    ptrdiff_t visible_row = -1;   // the last row that had to be made visible
    bool columns = false;
};

// The editing of a label. Only the window's thread begins and ends it.
struct LabelEdit
{
    HWND control = nullptr; // null: none
    size_t row = 0;
    bool ending = false; // the list's parent is being notified

    static constexpr size_t no_row = SIZE_MAX; // the row was deleted meanwhile
};

std::mutex& list_models_lock();

class ListModel : public ControlData
{
public:
    // All return false, and change nothing, for a row or column that doesn't exist, or without
    // memory.

    // Returns the index at which it was inserted; past the end counts as at the end. -1 without
    // memory.
    ptrdiff_t insert_column(size_t index, ListColumn column);
    bool set_column(size_t index, const wchar_t* text, const int* width, const int* format);
    bool delete_column(size_t index);
    size_t columns() const;
    // Up to size characters with the terminator; null pointers are ignored. Returns the text's
    // whole length, -1 if there is no such column.
    ptrdiff_t column(size_t index, int* width, int* format, wchar_t* text, size_t size) const;

    ptrdiff_t insert_row(size_t index, const wchar_t* text, LPARAM param);
    bool set_cell(size_t row, size_t column, const wchar_t* text);
    bool set_param(size_t row, LPARAM param);
    bool delete_row(size_t row);
    void delete_all_rows();
    size_t rows() const;
    ptrdiff_t cell(size_t row, size_t column, wchar_t* text, size_t size) const;
    bool param(size_t row, LPARAM& param) const;

    // Scrolls far enough to make the row visible; per_page rows fit.
    bool make_visible(size_t row, size_t per_page);
    size_t top() const;

    // The label being edited; its row moves when rows before it are added or removed.
    LabelEdit label_edit() const;
    void set_label_edit(const LabelEdit& edit);

    // True if there are changes and the display was not notified since it last took some; it then
    // counts as notified.
    bool must_tell();
    ListChanges take_changes();

private:
    using Lock = Uninterrupted<std::mutex>;

    void changed_from(size_t row); // needs the lock

    friend std::mutex& list_models_lock();

    // Guards all below, of all models: one lock for all, so that a fork can take it. No other lock
    // is taken while it is held.
    static inline std::mutex m_lock;
    std::vector<ListColumn> m_columns;
    std::deque<ListRow> m_rows; // grows without moving its rows
    size_t m_top = 0;
    LabelEdit m_label_edit;
    ListChanges m_changes;
    bool m_dirty = false;
    bool m_told = false;
};

// Null if the window doesn't exist or is no list view.
std::shared_ptr<ListModel> list_model_of(HWND window);

} // namespace platform
