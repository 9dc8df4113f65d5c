#include "list_model.h"

#include <algorithm>
#include <new>
#include <utility>

#include "system/fork.h"
#include "system/text.h"

namespace platform
{

namespace
{

// Copies up to size characters with the terminator; returns the whole length of the text.
ptrdiff_t give(ListCell from, wchar_t* text, size_t size)
{
    if (text && size > 0)
    {
        const size_t length = std::min(from.length, size - 1);
        std::copy_n(from.text, length, text);
        text[length] = L'\0';
    }
    return static_cast<ptrdiff_t>(from.length);
}

} // namespace

std::mutex& list_models_lock()
{
    return ListModel::m_lock;
}

namespace
{

const AtFork g_at_fork(ForkStep::list_models, taken_at_fork<list_models_lock>());

} // namespace

void ListModel::changed_from(size_t row)
{
    const auto first = static_cast<ptrdiff_t>(row);
    if (m_changes.first_changed < 0 || first < m_changes.first_changed)
        m_changes.first_changed = first;
    m_dirty = true;
}

ptrdiff_t ListModel::insert_column(size_t index, ListColumn column)
try
{
    const Lock lock(m_lock);
    index = std::min(index, m_columns.size());
    m_columns.reserve(m_columns.size() + 1);
    // Rows have no cells after the last column.
    for (size_t row = 0; index < m_columns.size() && row < m_rows.size(); ++row)
        if (!m_rows[row].insert_cell(index))
        {
            while (row-- > 0)
                m_rows[row].remove_cell(index);
            return -1;
        }
    m_columns.insert(m_columns.begin() + static_cast<ptrdiff_t>(index), std::move(column));
    m_changes.columns = m_dirty = true;
    return static_cast<ptrdiff_t>(index);
}
catch (const std::bad_alloc&)
{
    return -1;
}

bool ListModel::set_column(size_t index, const wchar_t* text, const int* width, const int* format)
try
{
    std::vector<wchar_t> copy;
    if (text)
        copy.assign(text, text + wide_length(text) + 1);
    const Lock lock(m_lock);
    if (index >= m_columns.size())
        return false;
    ListColumn& column = m_columns[index];
    if (text)
        column.text.swap(copy);
    if (width)
        column.width = *width;
    if (format)
        column.format = *format;
    m_changes.columns = m_dirty = true;
    return true;
}
catch (const std::bad_alloc&)
{
    return false;
}

bool ListModel::delete_column(size_t index)
{
    const Lock lock(m_lock);
    if (index >= m_columns.size())
        return false;
    for (ListRow& row : m_rows)
        row.remove_cell(index);
    m_columns.erase(m_columns.begin() + static_cast<ptrdiff_t>(index));
    m_changes.columns = m_dirty = true;
    return true;
}

size_t ListModel::columns() const
{
    const Lock lock(m_lock);
    return m_columns.size();
}

ptrdiff_t ListModel::column(size_t index, int* width, int* format, wchar_t* text, size_t size) const
{
    const Lock lock(m_lock);
    if (index >= m_columns.size())
        return -1;
    const ListColumn& column = m_columns[index];
    if (width)
        *width = column.width;
    if (format)
        *format = column.format;
    if (column.text.empty())
        return give({L"", 0}, text, size);
    return give({column.text.data(), column.text.size() - 1}, text, size);
}

ptrdiff_t ListModel::insert_row(size_t index, const wchar_t* text, LPARAM param)
try
{
    ListRow row;
    if (!row.set_cell(0, text, wide_length(text)) || !row.set_param(param))
        return -1;
    const Lock lock(m_lock);
    index = std::min(index, m_rows.size());
    m_rows.insert(m_rows.begin() + static_cast<ptrdiff_t>(index), std::move(row));
    if (index <= m_label_edit.row && m_label_edit.row != LabelEdit::no_row)
        ++m_label_edit.row;
    changed_from(index);
    return static_cast<ptrdiff_t>(index);
}
catch (const std::bad_alloc&)
{
    return -1;
}

bool ListModel::set_cell(size_t row, size_t column, const wchar_t* text)
{
    const Lock lock(m_lock);
    if (row >= m_rows.size() || column >= std::max<size_t>(m_columns.size(), 1) ||
        !m_rows[row].set_cell(column, text, wide_length(text)))
        return false;
    changed_from(row);
    return true;
}

bool ListModel::set_param(size_t row, LPARAM param)
{
    const Lock lock(m_lock);
    return row < m_rows.size() && m_rows[row].set_param(param);
}

bool ListModel::delete_row(size_t row)
{
    const Lock lock(m_lock);
    if (row >= m_rows.size())
        return false;
    m_rows.erase(m_rows.begin() + static_cast<ptrdiff_t>(row));
    if (row == m_label_edit.row)
        m_label_edit.row = LabelEdit::no_row;
    else if (row < m_label_edit.row && m_label_edit.row != LabelEdit::no_row)
        --m_label_edit.row;
    m_top = std::min(m_top, m_rows.empty() ? 0 : m_rows.size() - 1);
    changed_from(row);
    return true;
}

void ListModel::delete_all_rows()
{
    const Lock lock(m_lock);
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_top = 0;
    m_label_edit.row = LabelEdit::no_row;
    m_changes.visible_row = -1;
    changed_from(0);
}

size_t ListModel::rows() const
{
    const Lock lock(m_lock);
    return m_rows.size();
}

ptrdiff_t ListModel::cell(size_t row, size_t column, wchar_t* text, size_t size) const
{
    const Lock lock(m_lock);
    return row < m_rows.size() ? give(m_rows[row].cell(column), text, size) : -1;
}

bool ListModel::param(size_t row, LPARAM& param) const
{
    const Lock lock(m_lock);
    if (row >= m_rows.size())
        return false;
    param = m_rows[row].param();
    return true;
}

bool ListModel::make_visible(size_t row, size_t per_page)
{
    const Lock lock(m_lock);
    if (row >= m_rows.size())
        return false;
    if (row < m_top)
        m_top = row;
    else if (row - m_top >= std::max<size_t>(per_page, 1))
        m_top = row - std::max<size_t>(per_page, 1) + 1;
    m_changes.visible_row = static_cast<ptrdiff_t>(row);
    m_dirty = true;
    return true;
}

size_t ListModel::top() const
{
    const Lock lock(m_lock);
    return m_top;
}

LabelEdit ListModel::label_edit() const
{
    const Lock lock(m_lock);
    return m_label_edit;
}

void ListModel::set_label_edit(const LabelEdit& edit)
{
    const Lock lock(m_lock);
    m_label_edit = edit;
}

bool ListModel::must_tell()
{
    const Lock lock(m_lock);
    return m_dirty && !std::exchange(m_told, true);
}

ListChanges ListModel::take_changes()
{
    const Lock lock(m_lock);
    m_dirty = m_told = false;
    ListChanges taken = std::exchange(m_changes, {});
    taken.rows = m_rows.size();
    return taken;
}

std::shared_ptr<ListModel> list_model_of(HWND window)
{
    return std::dynamic_pointer_cast<ListModel>(control_of(window));
}

} // namespace platform
