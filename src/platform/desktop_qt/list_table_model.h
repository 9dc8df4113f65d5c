// The rows of a list view as Qt's views want them: nothing is kept of them but their number. A cell
// is asked for when it is drawn, copied or searched, so that a long list costs no more than a short
// one.
#pragma once

#include <vector>

#include <QAbstractTableModel>

#include "user32/desktop.h"

namespace desktop_qt
{

class ListTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    ListTableModel(HWND list, QObject* parent);

    // Brings the number of rows and the columns up to date. The row that the program wants in
    // sight, if it is none of those at the end, which are in sight anyway; -1 without.
    int takeChanges();

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void widthGiven(int column, int width); // by the program, in pixels

private:
    struct Column
    {
        QString text;
        int width = -1;
    };

    void takeRows(int rows, int64_t firstChanged);
    void takeColumns();

    const HWND m_list;
    int m_rows = 0;
    std::vector<Column> m_columns;
};

} // namespace desktop_qt
