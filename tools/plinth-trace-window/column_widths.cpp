#include "column_widths.h"

#include <algorithm>
#include <utility>

#include <QHeaderView>
#include <QTableView>

namespace trace_window
{

namespace
{

constexpr int margin = 14;               // pixels around a text
constexpr int least = 30;                // pixels
constexpr qsizetype most_measured = 400; // characters: already wider than a screen
constexpr int most_part = 3;             // quarters of the window that a column takes by itself

} // namespace

ColumnWidths::ColumnWidths(QTableView& view) : QObject(&view), m_view(view)
{
    view.horizontalHeader()->setMinimumSectionSize(least);
    connect(view.horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int column, int before, int now)
            {
                if (!m_fits && before > 0 && now > 0) // hiding a column is not resizing it
                    m_byUser.insert(column);
            });
}

void ColumnWidths::setByUser(int column, int width)
{
    m_view.horizontalHeader()->resizeSection(column, width);
    m_byUser.insert(column);
}

int ColumnWidths::neededWidth(int column, int first, int last) const
{
    const QAbstractItemModel& model = *m_view.model();
    const QFontMetrics metrics = m_view.fontMetrics();
    int width = m_view.horizontalHeader()->fontMetrics().horizontalAdvance(
        model.headerData(column, Qt::Horizontal).toString());
    for (int row = first; row <= last; ++row)
        width =
            std::max(width, metrics.horizontalAdvance(
                                model.index(row, column).data().toString().left(most_measured)));
    return width + margin;
}

// The widest that the column has needed so far.
int ColumnWidths::grown(int column, int first, int last)
{
    int& needed = m_needed[column];
    const int most = m_view.viewport()->width() * most_part / 4;
    needed = std::max(needed, std::min(neededWidth(column, first, last), most));
    return needed;
}

void ColumnWidths::forget()
{
    m_needed.clear();
    m_seen = {};
}

void ColumnWidths::fit()
{
    QHeaderView& heads = *m_view.horizontalHeader();
    const int rows = m_view.model()->rowCount();
    const int first = std::max(0, m_view.rowAt(0));
    const int below = m_view.rowAt(m_view.viewport()->height() - 1);
    const int last = below >= 0 ? below : rows - 1;
    const int room = m_view.viewport()->width();
    const std::array<int, 5> seen = {first, last, rows, heads.count() - heads.hiddenSectionCount(),
                                     room};
    if (std::exchange(m_seen, seen) == seen)
        return;      // nothing new to be seen
    int left = room; // width of the window, for the last column
    int lastColumn = -1;
    m_fits = true;
    for (int place = 0; place < heads.count() && left > -room; ++place)
    {
        const int column = heads.logicalIndex(place);
        if (heads.isSectionHidden(column))
            continue;
        if (!isByUser(column))
            heads.resizeSection(column, grown(column, first, last));
        left -= heads.sectionSize(column);
        lastColumn = column;
    }
    if (lastColumn >= 0 && left > 0 && !isByUser(lastColumn))
        heads.resizeSection(lastColumn, heads.sectionSize(lastColumn) + left);
    m_fits = false;
}

} // namespace trace_window
