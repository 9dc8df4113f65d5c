// Texts from unknown sources in widgets.
#pragma once

#include <QString>

namespace qt_table
{

// Writes each invisible character, and each that changes the order of others, as \xNN or \u{NNNN}:
// such characters could make a cell or a title look like another one. Tabs and line ends stay.
QString harmless(const QString& text);

} // namespace qt_table
