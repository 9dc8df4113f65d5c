// The colours of the window. They follow the palette, which is the desktop's, light or dark, unless
// the user has chosen one of the two.
#pragma once

#include <cstddef>
#include <cstdint>

#include <QColor>
#include <QPalette>

namespace trace_window
{

enum class Scheme
{
    desktop,
    light,
    dark,
};

// For all windows of the program.
void useScheme(Scheme scheme);

bool isDark(const QPalette& palette);

// The ground of the highlight with this number, 0xRRGGBB, as it is on light windows: what settings
// hold. The seventh is the first again.
uint32_t highlightColour(size_t number);

// The same ground as it is shown on this palette, and the text on it.
QColor ground(uint32_t colour, const QPalette& palette);
QColor textOnGround(const QPalette& palette);

// A faint ground for the rows of a process.
QColor processGround(uint32_t process, const QPalette& palette);

QColor lossText(const QPalette& palette);

// What a search has found: its ground, and the text on it. The same on both.
inline constexpr QRgb hitGround = 0xffff9a1f;
inline constexpr QRgb hitText = 0xff000000;

} // namespace trace_window
