#include "full_screen/palette.h"

#include <algorithm>
#include <iterator>

#include "terminal.h"

namespace trace::full_screen
{

namespace
{

// Colour pairs of the library: those of the heads and so on, then the highlights.
enum Pair : short
{
    pair_head = 1,
    pair_loss,
    pair_hit,
    pair_highlight, // the first highlight
};

struct Ground
{
    short colour;
    int red, green, blue;
};

// Backgrounds of black text: bright in a terminal of sixteen colours, the usual ones in one of
// eight.
constexpr Ground grounds[] = {{COLOR_YELLOW, 255, 255, 0}, {COLOR_GREEN, 0, 255, 0},
                              {COLOR_CYAN, 0, 255, 255},   {COLOR_MAGENTA, 255, 0, 255},
                              {COLOR_RED, 255, 0, 0},      {COLOR_BLUE, 80, 80, 255},
                              {COLOR_WHITE, 255, 255, 255}};
constexpr int bright = 8;
constexpr int sixteen = 16;

// The background that is most like the colour.
size_t nearest_ground(uint32_t colour)
{
    const auto part = [colour](int shift) { return static_cast<int>(colour >> shift & 0xFF); };
    const auto distance = [&](const Ground& ground)
    {
        const int red = ground.red - part(16);
        const int green = ground.green - part(8);
        const int blue = ground.blue - part(0);
        return red * red + green * green + blue * blue;
    };
    const auto nearest = std::min_element(std::begin(grounds), std::end(grounds),
                                          [&](const Ground& a, const Ground& b)
                                          { return distance(a) < distance(b); });
    return static_cast<size_t>(nearest - std::begin(grounds));
}

} // namespace

Palette::Palette()
{
    m_has_colours = in_colour() && has_colors() && start_color() == OK;
    if (!m_has_colours)
        return;
    use_default_colors(); // without them the background is black
    const auto on_bright = [](short colour)
    { return static_cast<short>(COLORS >= sixteen ? colour + bright : colour); };
    init_pair(pair_head, COLOR_CYAN, -1);
    init_pair(pair_loss, COLOR_RED, -1);
    init_pair(pair_hit, COLOR_WHITE, COLOR_BLUE); // differs from highlights, which are black
    for (size_t i = 0; i < std::size(grounds); ++i)
        init_pair(static_cast<short>(pair_highlight + i), COLOR_BLACK,
                  on_bright(grounds[i].colour));
    const auto pair = [](int number) { return static_cast<chtype>(COLOR_PAIR(number)); };
    m_head = pair(pair_head);
    m_loss = pair(pair_loss) | A_BOLD;
    m_hit = pair(pair_hit) | A_BOLD;
}

chtype Palette::highlight(uint32_t colour) const
{
    if (!m_has_colours)
        return A_BOLD | A_UNDERLINE;
    return static_cast<chtype>(
        COLOR_PAIR(pair_highlight + static_cast<int>(nearest_ground(colour))));
}

} // namespace trace::full_screen
