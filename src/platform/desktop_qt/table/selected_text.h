// The selected rows of a table as text for spreadsheets and editors.
#pragma once

#include <QString>

QT_BEGIN_NAMESPACE
class QTableView;
QT_END_NAMESPACE

namespace qt_table
{

// Tabs between cells, line feeds between rows; those within a cell become blanks. Rows from top to
// bottom, columns in the order on the screen, without hidden ones.
QString textOfSelectedRows(const QTableView& view);

} // namespace qt_table
