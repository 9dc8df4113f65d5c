// Splits text that comes in pieces into lines.
#pragma once

#include <string>
#include <string_view>

namespace trace
{

class LineSplitter
{
public:
    // Calls take(line) for each line that the piece completes, without its end (LF or CR LF). A
    // line of more than a mebibyte is passed in parts.
    template <class Take> void feed(std::string_view piece, Take&& take)
    {
        while (!piece.empty())
        {
            const size_t end = piece.find('\n');
            const size_t room = most_line - m_rest.size();
            const size_t length = end == std::string_view::npos ? piece.size() : end;
            m_rest.append(piece.substr(0, length < room ? length : room));
            const bool whole = length <= room && end != std::string_view::npos;
            piece.remove_prefix(whole ? length + 1 : (length < room ? length : room));
            if (!whole && m_rest.size() < most_line)
                return;
            if (m_rest.ends_with('\r'))
                m_rest.pop_back();
            take(m_rest);
            m_rest.clear();
        }
    }

    // Returns and removes the text after the last line end.
    std::string take_rest()
    {
        std::string rest = std::move(m_rest);
        m_rest.clear();
        return rest;
    }

    bool has_rest() const { return !m_rest.empty(); }

private:
    static constexpr size_t most_line = 1 << 20;

    std::string m_rest;
};

} // namespace trace
