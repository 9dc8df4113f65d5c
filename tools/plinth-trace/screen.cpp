#include "screen.h"

#include <algorithm>

#include "failure.h"
#include "terminal.h"

namespace trace
{

namespace
{

std::string shown(const std::string& status)
{
    // The last column stays free: some terminals move to the next line when it is filled.
    const size_t room = std::max<size_t>(terminal_width(), 2) - 1;
    const std::string text = status.substr(0, room);
    return text.empty() || !in_colour() ? text : "\x1b[7m" + text + "\x1b[0m";
}

} // namespace

Screen::~Screen()
{
    try
    {
        set_status("");
    }
    catch (const OutputClosed&) // the program ends with the earlier error
    {
    }
    catch (const Failure&)
    {
    }
}

void Screen::put(std::string_view text)
{
    if (m_status.empty())
        trace::put(text);
    else
        trace::put(std::string(text) + shown(m_status), Before::line_erased);
}

void Screen::set_status(const std::string& text)
{
    if (!m_has_status || text == m_status)
        return;
    m_status = text;
    trace::put(shown(m_status), Before::line_erased);
}

void Screen::clear()
{
    if (m_has_status)
        trace::put(shown(m_status), Before::screen_cleared);
}

} // namespace trace
