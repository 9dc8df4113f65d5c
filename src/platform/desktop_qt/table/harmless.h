// Texts of strangers in widgets.
#pragma once

#include <QString>

namespace qt_table
{

// The text with each invisible character, and each that changes the order of the others, written as
// \xNN or \u{NNNN}: with them a cell or a title could look like another one. Tabs and line ends
// stay.
QString harmless(const QString& text);

} // namespace qt_table
