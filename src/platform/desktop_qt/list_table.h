// A list view on the screen: the table over the model of the list's rows.
#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include "list_table_model.h"
#include "table/trace_table.h"

namespace desktop_qt
{

class ListTable : public qt_table::TraceTable
{
    Q_OBJECT

public:
    ListTable(HWND list, QWidget* parent);

    // The list has changes. They are taken soon, but not more often than a person can see. The list
    // sends no further notice before that, so a flood of rows costs only a few looks a second.
    void noticeChanges();

private:
    void takeChanges();

    ListTableModel m_model;
    QTimer m_take;
    QElapsedTimer m_sinceTaken;
};

} // namespace desktop_qt
