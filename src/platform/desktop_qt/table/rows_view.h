// A table view of rows that are added and removed at both ends: changes above the visible rows
// don't move these.
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

    int topRow() const; // the first visible row; 0 in an empty table
    // Scrolls so that the row is at the top, or as near as the end of the table allows.
    void setTopRow(int row);
    int rowsInSight() const; // only whole rows

    // When a click chooses a row, the visible columns stay.
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;

    // The model has started again. Without rows, the memory for the former ones is given back.
    void reset() override;

private:
    void connectModel();
    void renewHeader();
    void countDropped(int first, int count);
    void keepPlaceBehindInsertion(int first, int count);
    void keepPlaceBehindRemoval(int first, int count);

    std::vector<QMetaObject::Connection> m_connections; // to the model
    int m_top = 0;                                      // before the current change
    int m_dropped = 0;                                  // rows at the top since the header was made
};

} // namespace qt_table
