#include "colours.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <QApplication>

namespace trace_window
{

namespace
{

constexpr uint32_t highlight_colours[] = {0xfff2a8, 0xc9f2c0, 0xbfe6ff,
                                          0xf6c9f5, 0xffd0c4, 0xd6d3ff};

constexpr double dark_lightness = 0.27;   // of dark backgrounds: white text is readable
constexpr double least_saturation = 0.45; // of dark backgrounds, or they look alike
constexpr double golden_angle = 0.618034; // of the circle: hues of neighbours are far apart
constexpr double faint_saturation = 0.5;
constexpr double faint_light = 0.95;
constexpr double faint_dark = 0.17;

QPalette made(const QColor& window, const QColor& base, const QColor& text, const QColor& link)
{
    QPalette palette(window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase,
                     isDark(palette) ? base.lighter(125) : base.darker(103));
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
    {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, Qt::gray);
    }
    palette.setColor(QPalette::PlaceholderText, Qt::gray);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, link);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, link);
    return palette;
}

} // namespace

void useScheme(Scheme scheme)
{
    switch (scheme)
    {
    case Scheme::desktop: // an empty palette takes nothing from the desktop's
        return QApplication::setPalette(QPalette());
    case Scheme::light:
        return QApplication::setPalette(made(0xefefef, Qt::white, Qt::black, 0x2a6fb8));
    case Scheme::dark:
        return QApplication::setPalette(made(0x2b2d30, 0x1e1f22, 0xe4e4e4, 0x2f65ca));
    }
}

bool isDark(const QPalette& palette)
{
    constexpr int middle = 128;
    return palette.color(QPalette::Window).lightness() < middle;
}

uint32_t highlightColour(size_t number)
{
    return highlight_colours[number % std::size(highlight_colours)];
}

QColor ground(uint32_t colour, const QPalette& palette)
{
    const QColor light(static_cast<QRgb>(colour));
    if (!isDark(palette))
        return light;
    const double saturation = std::max(least_saturation, light.hslSaturationF() * least_saturation);
    return QColor::fromHslF(std::max(0.0F, light.hslHueF()), static_cast<float>(saturation),
                            static_cast<float>(dark_lightness));
}

QColor textOnGround(const QPalette& palette)
{
    return isDark(palette) ? Qt::white : Qt::black;
}

QColor processGround(uint32_t process, const QPalette& palette)
{
    const double turns = process * golden_angle;
    return QColor::fromHslF(static_cast<float>(turns - std::floor(turns)),
                            static_cast<float>(faint_saturation),
                            static_cast<float>(isDark(palette) ? faint_dark : faint_light));
}

QColor lossText(const QPalette& palette)
{
    return isDark(palette) ? QColor(0xff7b72) : QColor(0xc00000);
}

} // namespace trace_window
