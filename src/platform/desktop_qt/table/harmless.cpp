#include "harmless.h"

#include <algorithm>

#include "system/harmless_text.h"

namespace qt_table
{

namespace
{

bool stays(char32_t c)
{
    const bool isHalf = c >= 0xD800 && c <= 0xDFFF; // an unpaired surrogate
    return c == U'\t' || c == U'\n' || c == U'\r' || (!isHalf && !platform::is_treacherous(c));
}

// True for nearly all texts, which then need no copy.
bool isPlain(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar unit) { return stays(unit.unicode()); });
}

} // namespace

QString harmless(const QString& text)
{
    if (isPlain(text))
        return text;
    QString out;
    for (const char32_t c : text.toStdU32String())
        if (stays(c))
            out += QString::fromUcs4(&c, 1);
        else
            out += (c < 0x100 ? QStringLiteral("\\x%1") : QStringLiteral("\\u{%1}"))
                       .arg(static_cast<uint>(c), 2, 16, QLatin1Char('0'));
    return out;
}

} // namespace qt_table
