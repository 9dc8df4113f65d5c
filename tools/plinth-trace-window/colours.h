// The colours of the window. They follow the desktop's palette, light or dark, unless the user has
// chosen one of the two.
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

// The background of the highlight with this number, 0xRRGGBB, as shown on light windows and kept in
// settings. The seventh highlight has the colour of the first again.
uint32_t highlightColour(size_t number);

// The same background as shown on this palette, and the text on it.
QColor ground(uint32_t colour, const QPalette& palette);
QColor textOnGround(const QPalette& palette);

// A faint background for the rows of a process.
QColor processGround(uint32_t process, const QPalette& palette);

QColor lossText(const QPalette& palette);

// The background of search hits, and the text on it. The same on light and dark windows.
inline constexpr QRgb hit_ground = 0xffff9a1f;
inline constexpr QRgb hit_text = 0xff000000;

} // namespace trace_window
