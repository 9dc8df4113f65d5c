// Texts of strangers in widgets.
#pragma once

#include <QString>

namespace qt_table
{

// The text without what turns the order of characters and what nobody sees, which would let a cell
// or a title pass for another: such a character is written as \xNN or \u{NNNN}. Tabs and line ends
// stay.
QString harmless(const QString& text);

} // namespace qt_table
