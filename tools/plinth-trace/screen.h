// Standard output with, on a terminal, one line below the text that tells how things stand.
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

    // Whole lines. Fails as trace::put does.
    void put(std::string_view text);

    // ASCII, cut to the width of the terminal; empty for none. Nothing happens where there is no
    // such line.
    void set_status(const std::string& text);
    const std::string& status() const { return m_status; }

    // Empties a terminal.
    void clear();

private:
    const bool m_has_status;
    std::string m_status;
};

} // namespace trace
