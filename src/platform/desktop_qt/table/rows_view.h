// A table view of rows that come and go at both ends: rows above those in sight move nothing.
#pragma once

#include <vector>

#include <QTableView>

namespace qt_table
{

class RowsView : public QTableView
{
    Q_OBJECT

public:
    using QTableView::QTableView;

    void setModel(QAbstractItemModel* model) override;

    int topRow() const; // of those in sight; 0 in an empty table
    // Scrolls so that the row is at the top, or as near as the end of the table allows.
    void setTopRow(int row);
    int rowsInSight() const; // whole ones

    // A click chooses a row: the columns in sight stay.
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;

private:
    void keepPlaceBehindInsertion(int first, int count);
    void keepPlaceBehindRemoval(int first, int count);

    std::vector<QMetaObject::Connection> m_connections; // to the model
    int m_top = 0;                                      // before the change that is under way
};

} // namespace qt_table
