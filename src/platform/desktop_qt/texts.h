// Texts of the interface to the stand-in. Their wchar_t has 16 bits, but Qt expects 32 bits as
// elsewhere on this system.
#pragma once

#include <QString>

#include "table/harmless.h"

namespace desktop_qt
{

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// Made harmless, because programs also show texts from other sources.
inline QString fromWide(const wchar_t* text, qsizetype length = -1)
{
    return qt_table::harmless(QString::fromUtf16(reinterpret_cast<const char16_t*>(text), length));
}

} // namespace desktop_qt
