#include "full_screen/wrapped_lines.h"

namespace trace::full_screen
{

namespace
{

std::vector<std::string> words_of(std::string_view text)
{
    std::vector<std::string> words;
    for (size_t end = 0; end != std::string_view::npos;)
    {
        end = text.find(' ');
        words.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return words;
}

// Divides a word between characters.
std::vector<std::string> parts_of(Characters& characters, std::string_view word, size_t columns)
{
    std::vector<std::string> parts(1);
    size_t used = 0;
    while (!word.empty())
    {
        const std::string_view before = word;
        const size_t own = characters.take(word).columns;
        if (used > 0 && used + own > columns)
        {
            parts.emplace_back();
            used = 0;
        }
        parts.back() += before.substr(0, before.size() - word.size());
        used += own;
    }
    return parts;
}

std::vector<std::string> divided(Characters& characters, const std::string& piece, size_t columns)
{
    return piece.find(' ') == std::string::npos ? parts_of(characters, piece, columns)
                                                : lines_of(characters, piece, columns);
}

} // namespace

std::vector<std::string> lines_of(Characters& characters, const std::vector<std::string>& pieces,
                                  std::string_view gap, size_t columns)
{
    std::vector<std::string> lines;
    size_t used = 0; // columns of the last line
    for (const std::string& piece : pieces)
    {
        const size_t own = characters.columns_of(piece);
        if (!lines.empty() && used + gap.size() + own <= columns)
        {
            (lines.back() += gap) += piece;
            used += gap.size() + own;
            continue;
        }
        if (own <= columns)
            lines.push_back(piece);
        else
            for (std::string& part : divided(characters, piece, columns))
                lines.push_back(std::move(part));
        used = characters.columns_of(lines.back());
    }
    return lines;
}

std::vector<std::string> lines_of(Characters& characters, std::string_view text, size_t columns)
{
    return lines_of(characters, words_of(text), " ", columns);
}

} // namespace trace::full_screen
