// The selected rows of a table as text that a spreadsheet and an editor take.
#pragma once

#include <QString>

QT_BEGIN_NAMESPACE
class QTableView;
QT_END_NAMESPACE

namespace qt_table
{

// Tabs between cells, line feeds between rows; those within a cell become blanks. Rows from top to
// bottom, columns as they stand on the screen without the hidden ones.
QString textOfSelectedRows(const QTableView& view);

} // namespace qt_table
