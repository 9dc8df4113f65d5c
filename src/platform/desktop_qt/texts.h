// The texts of the seam: 16-bit characters behind a type that Qt doesn't take for them, since
// elsewhere it has 32 bits.
#pragma once

#include <QString>

namespace desktop_qt
{

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline QString fromWide(const wchar_t* text, qsizetype length = -1)
{
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(text), length);
}

} // namespace desktop_qt
