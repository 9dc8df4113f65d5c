#include "selected_text.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <QHeaderView>
#include <QTableView>

namespace qt_table
{

namespace
{

struct Rows
{
    int first;
    int last;
};

// Uses ranges instead of rows: all rows of a long table are one range. A range that covers only
// some columns still counts for its rows.
std::vector<Rows> selectedRows(const QItemSelectionModel& selected)
{
    std::vector<Rows> rows;
    for (const QItemSelectionRange& range : selected.selection())
        rows.push_back({range.top(), range.bottom()});
    std::sort(rows.begin(), rows.end(),
              [](const Rows& a, const Rows& b) { return a.first < b.first; });
    return rows;
}

std::vector<int> shownColumns(const QHeaderView& header)
{
    std::vector<int> columns;
    for (int place = 0; place < header.count(); ++place)
        if (const int column = header.logicalIndex(place); !header.isSectionHidden(column))
            columns.push_back(column);
    return columns;
}

QString cellText(const QAbstractItemModel& model, int row, int column)
{
    QString text = model.index(row, column).data().toString();
    for (QChar& each : text)
        if (each == u'\t' || each == u'\n' || each == u'\r')
            each = u' ';
    return text;
}

} // namespace

QString textOfSelectedRows(const QTableView& view)
{
    QString text;
    if (!view.model() || !view.selectionModel())
        return text;
    const std::vector<int> columns = shownColumns(*view.horizontalHeader());
    int next = 0; // the first row that was not copied yet: ranges may overlap
    bool behind = false;
    for (const Rows& rows : selectedRows(*view.selectionModel()))
        for (int row = std::max(rows.first, next); row <= rows.last; ++row)
        {
            next = row + 1;
            if (std::exchange(behind, true))
                text += u'\n';
            for (size_t i = 0; i < columns.size(); ++i)
            {
                if (i > 0)
                    text += u'\t';
                text += cellText(*view.model(), row, columns[i]);
            }
        }
    return text;
}

} // namespace qt_table
