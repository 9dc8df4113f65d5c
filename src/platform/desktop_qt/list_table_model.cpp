#include "list_table_model.h"

#include <climits>

#include "host.h"
#include "texts.h"

namespace desktop_qt
{

namespace
{

constexpr int usual_length = 512; // characters; shorter texts need only one read

// Reads a text of the host: read returns the whole length and copies as much as there is room for.
template <class Read> QString readText(Read read, bool& there)
{
    wchar_t usual[usual_length];
    const int length = read(usual, usual_length);
    there = length >= 0;
    if (length <= 0)
        return {};
    if (length < usual_length)
        return fromWide(usual, length);
    // The text may have changed in between; of a longer one, what fits is used.
    QString text(length, Qt::Uninitialized);
    std::vector<wchar_t> all(static_cast<size_t>(length) + 1);
    const int now = read(all.data(), length + 1);
    return now > 0 ? fromWide(all.data(), qMin(now, length)) : QString();
}

} // namespace

ListTableModel::ListTableModel(HWND list, QObject* parent)
    : QAbstractTableModel(parent), m_list(list)
{
}

int ListTableModel::takeChanges()
{
    PlinthListChanges changes = {};
    if (!host().list_take_changes(m_list, &changes))
        return -1;
    if (changes.columns_changed)
        takeColumns();
    const int before = m_rows;
    takeRows(static_cast<int>(qMin<int64_t>(changes.rows, INT_MAX)), changes.first_changed);
    const int64_t end = qMin(before, m_rows) - 1;
    return changes.visible_row < end ? static_cast<int>(changes.visible_row) : -1;
}

void ListTableModel::takeRows(int rows, int64_t firstChanged)
{
    const int before = m_rows;
    if (rows < before)
    {
        beginRemoveRows({}, rows, before - 1);
        m_rows = rows;
        endRemoveRows();
    }
    const int kept = qMin(rows, before);
    if (firstChanged >= 0 && firstChanged < kept && !m_columns.empty())
        emit dataChanged(index(static_cast<int>(firstChanged), 0),
                         index(kept - 1, columnCount() - 1));
    if (rows > before)
    {
        beginInsertRows({}, before, rows - 1);
        m_rows = rows;
        endInsertRows();
    }
}

void ListTableModel::takeColumns()
{
    const int columns = qMax(host().list_column_count(m_list), 0);
    const int before = columnCount();
    if (columns > before)
    {
        beginInsertColumns({}, before, columns - 1);
        m_columns.resize(static_cast<size_t>(columns));
        endInsertColumns();
    }
    else if (columns < before)
    {
        beginRemoveColumns({}, columns, before - 1);
        m_columns.resize(static_cast<size_t>(columns));
        endRemoveColumns();
    }
    for (int i = 0; i < columns; ++i)
    {
        Column& column = m_columns[static_cast<size_t>(i)];
        int width = column.width;
        bool there = false;
        column.text = readText([&](wchar_t* text, int size)
                               { return host().list_column(m_list, i, &width, text, size); },
                               there);
        // If the program doesn't change a width, the user's width stays.
        if (std::exchange(column.width, width) != width)
            emit widthGiven(i, width);
    }
    if (columns > 0)
        emit headerDataChanged(Qt::Horizontal, 0, columns - 1);
}

int ListTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int ListTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_columns.size());
}

QVariant ListTableModel::data(const QModelIndex& index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid())
        return {};
    bool there = false;
    const QString text =
        readText([&](wchar_t* to, int size)
                 { return host().list_cell(m_list, index.row(), index.column(), to, size); },
                 there);
    return there ? QVariant(text) : QVariant();
}

QVariant ListTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal || section < 0 ||
        section >= columnCount())
        return {};
    return m_columns[static_cast<size_t>(section)].text;
}

} // namespace desktop_qt
