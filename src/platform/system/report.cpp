#include "report.h"

#include <cerrno>
#include <cstdio>

#include "harmless_text.h"
#include "standard_error.h"

namespace platform
{

std::string harmless(std::string_view text, std::string_view kept)
{
    std::string out;
    while (!text.empty())
    {
        uint32_t c;
        size_t bytes;
        const bool is_character = next_character(text, c, bytes);
        const bool stays = c < 0x80 && kept.find(static_cast<char>(c)) != std::string_view::npos;
        if (is_character && (stays || !is_treacherous(c)))
            out += text.substr(0, bytes);
        else
        {
            char shown[16];
            std::snprintf(shown, sizeof shown, c < 0x100 ? "\\x%02x" : "\\u{%x}", c);
            out += shown;
        }
        text.remove_prefix(bytes);
    }
    return out;
}

void report(std::string_view text)
{
    const int error = errno;
    const std::string line = "plinth: " + harmless(text) + "\n";
    write_standard_error(line);
    errno = error;
}

} // namespace platform
