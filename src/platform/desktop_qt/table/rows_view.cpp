#include "rows_view.h"

#include <algorithm>

#include <QGuiApplication>
#include <QHeaderView>
#include <QScrollBar>

namespace qt_table
{

namespace
{

constexpr int least_dropped = 10'000; // rows before their memory is worth a new header

} // namespace

void RowsView::setModel(QAbstractItemModel* model)
{
    QTableView::setModel(model);
    m_dropped = 0;
    connectModel();
}

// To be done after the slots of the view and its header were connected, so that these have already
// counted the rows.
void RowsView::connectModel()
{
    for (const QMetaObject::Connection& former : m_connections)
        disconnect(former);
    m_connections.clear();
    if (!model())
        return;
    using Model = QAbstractItemModel;
    const auto remember = [this] { m_top = topRow(); };
    m_connections = {
        connect(model(), &Model::rowsAboutToBeInserted, this, remember),
        connect(model(), &Model::rowsAboutToBeRemoved, this, remember),
        connect(model(), &Model::rowsInserted, this,
                [this](const QModelIndex&, int first, int last)
                { keepPlaceBehindInsertion(first, last - first + 1); }),
        connect(model(), &Model::rowsRemoved, this,
                [this](const QModelIndex&, int first, int last)
                {
                    keepPlaceBehindRemoval(first, last - first + 1);
                    countDropped(first, last - first + 1);
                }),
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
    if (model() && model()->rowCount() == 0)
        renewHeader();
}

// The row header has some bytes for each row, 20 MB for some millions, and keeps them when the rows
// go.
void RowsView::renewHeader()
{
    const QHeaderView& former = *verticalHeader();
    const int offset = former.offset();
    auto* const header = new QHeaderView(Qt::Vertical, this);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setDefaultSectionSize(former.defaultSectionSize());
    header->setVisible(!former.isHidden());
    setVerticalHeader(header); // deletes the former one
    header->setOffset(offset);
    m_dropped = 0;
    connectModel();
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

// A table that drops rows at its top while others are added at its end would have memory for three
// times its rows: the header fills all its room before it uses that of dropped rows again. A new
// one takes time for each row, so it is made when there are half as many dropped rows as rows.
void RowsView::countDropped(int first, int count)
{
    if (first != 0)
        return;
    m_dropped += count;
    if (m_dropped >= std::max(least_dropped, model()->rowCount() / 2))
        renewHeader();
}

} // namespace qt_table
