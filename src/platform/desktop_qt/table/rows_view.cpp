#include "rows_view.h"

#include <algorithm>

#include <QGuiApplication>
#include <QHeaderView>
#include <QScrollBar>

namespace qt_table
{

void RowsView::setModel(QAbstractItemModel* model)
{
    for (const QMetaObject::Connection& former : m_connections)
        disconnect(former);
    QTableView::setModel(model);
    m_connections.clear();
    if (!model)
        return;
    // Connected after the view's own slots, so that these have already counted the rows.
    using Model = QAbstractItemModel;
    const auto remember = [this] { m_top = topRow(); };
    m_connections = {
        connect(model, &Model::rowsAboutToBeInserted, this, remember),
        connect(model, &Model::rowsAboutToBeRemoved, this, remember),
        connect(model, &Model::rowsInserted, this,
                [this](const QModelIndex&, int first, int last)
                { keepPlaceBehindInsertion(first, last - first + 1); }),
        connect(model, &Model::rowsRemoved, this,
                [this](const QModelIndex&, int first, int last)
                { keepPlaceBehindRemoval(first, last - first + 1); }),
    };
}

int RowsView::topRow() const
{
    return verticalScrollBar()->value(); // one step of the bar is one row
}

void RowsView::setTopRow(int row)
{
    executeDelayedItemsLayout(); // without this the bar ignores new rows
    updateGeometries();
    verticalScrollBar()->setValue(row);
}

int RowsView::rowsInSight() const
{
    return std::max(1, viewport()->height() / std::max(1, verticalHeader()->defaultSectionSize()));
}

void RowsView::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    const int across = horizontalScrollBar()->value();
    QTableView::scrollTo(index, hint);
    if (QGuiApplication::mouseButtons() != Qt::NoButton)
        horizontalScrollBar()->setValue(across);
}

void RowsView::reset()
{
    QTableView::reset();
    if (!model() || model()->rowCount() != 0)
        return;
    // The row header has some bytes for each row, 20 MB for some millions, and keeps them when the
    // rows go.
    const QHeaderView& former = *verticalHeader();
    auto* const header = new QHeaderView(Qt::Vertical, this);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setDefaultSectionSize(former.defaultSectionSize());
    header->setVisible(!former.isHidden());
    setVerticalHeader(header); // deletes the former one
}

void RowsView::keepPlaceBehindInsertion(int first, int count)
{
    const bool wasEmpty = model()->rowCount() == count;
    if (first <= m_top && !wasEmpty)
        setTopRow(m_top + count);
}

void RowsView::keepPlaceBehindRemoval(int first, int count)
{
    if (first < m_top)
        setTopRow(m_top - std::min(count, m_top - first));
}

} // namespace qt_table
