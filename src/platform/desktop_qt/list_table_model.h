// The rows of a list view for Qt's views. Only their number is kept. A cell is asked for when it is
// drawn, copied or searched, so that a long list costs no more than a short one.
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

    // Brings the number of rows and the columns up to date. Returns the row that the program wants
    // to be visible; -1 if there is none or it is at the end, where rows are shown anyway.
    int takeChanges();

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void widthGiven(int column, int width); // set by the program, in pixels

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
