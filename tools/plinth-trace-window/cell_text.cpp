#include "cell_text.h"

#include <QTextDocument>

#include "table/harmless.h"
#include "text.h"

namespace trace_window
{

namespace
{

constexpr qsizetype most_in_tip = 4'000; // characters: some dozen lines

QString fromUtf8(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

} // namespace

QString shownText(std::string_view utf8)
{
    QString text = fromUtf8(utf8);
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(u'\n', u' ').replace(u'\r', u' ');
    return qt_table::harmless(text);
}

QString tipText(std::string_view utf8)
{
    QString text = fromUtf8(utf8);
    if (text.size() > most_in_tip)
        text = text.left(most_in_tip) + u'\u2026';
    text = qt_table::harmless(text);
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

QString lineOf(std::string_view utf8)
{
    return QString::fromStdString(trace::printable_name(utf8));
}

} // namespace trace_window
