// Standard output and, on a terminal, a status line below the text.
#pragma once

#include <string>
#include <string_view>

namespace trace
{

class Screen
{
public:
    explicit Screen(bool has_status) : m_has_status(has_status) {}
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // text: whole lines. Fails as trace::put does.
    void put(std::string_view text);

    // text: ASCII, cut to the width of the terminal; empty for no status. Does nothing without a
    // status line.
    void set_status(const std::string& text);
    const std::string& status() const { return m_status; }

    // Clears the screen of a terminal.
    void clear();

private:
    const bool m_has_status;
    std::string m_status;
};

} // namespace trace
