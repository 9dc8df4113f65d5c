// The texts of the seam: 16-bit characters behind a type that Qt doesn't take for them, since
// elsewhere it has 32 bits.
#pragma once

#include <QString>

#include "table/harmless.h"

namespace desktop_qt
{

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// Harmless: a program shows what it has read elsewhere, too.
inline QString fromWide(const wchar_t* text, qsizetype length = -1)
{
    return qt_table::harmless(QString::fromUtf16(reinterpret_cast<const char16_t*>(text), length));
}

} // namespace desktop_qt
