#include "support/wide_text.h"

#include <cstdio>

namespace test
{

std::string utf8(const wchar_t* text)
{
    if (!text)
        return "(null)";
    size_t length = 0;
    while (text[length])
        ++length;
    return utf8(text, length);
}

std::string utf8(const wchar_t* text, size_t length)
{
    std::string out;
    for (size_t i = 0; i < length; ++i)
    {
        unsigned c = static_cast<unsigned short>(text[i]);
        if (c >= 0xd800 && c < 0xdc00 && i + 1 < length && (text[i + 1] & 0xfc00) == 0xdc00)
            c = 0x10000 + ((c - 0xd800) << 10) + (static_cast<unsigned>(text[++i]) - 0xdc00);
        else if (c >= 0xd800 && c < 0xe000)
        {
            char shown[16];
            std::snprintf(shown, sizeof shown, "<%04x>", c);
            out += shown;
            continue;
        }
        static constexpr unsigned leads[] = {0, 0xc0, 0xe0, 0xf0};
        int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        out += static_cast<char>(leads[more] | (c >> (6 * more)));
        while (more-- > 0)
            out += static_cast<char>(0x80 | ((c >> (6 * more)) & 0x3f));
    }
    return out;
}

Wide::Wide(const wchar_t* text)
{
    do
        m_text += static_cast<char16_t>(*text);
    while (*text++);
}

Wide::Wide(const std::string& utf8)
{
    for (size_t i = 0; i < utf8.size();)
    {
        const unsigned lead = static_cast<unsigned char>(utf8[i]);
        const size_t extra = lead < 0x80 ? 0 : lead < 0xe0 ? 1 : lead < 0xf0 ? 2 : 3;
        unsigned c = extra == 0 ? lead : lead & (0x3fu >> extra);
        for (size_t k = 1; k <= extra && i + k < utf8.size(); ++k)
            c = (c << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3fu);
        i += extra + 1;
        if (c >= 0x10000)
        {
            m_text += static_cast<char16_t>(0xd800 + ((c - 0x10000) >> 10));
            m_text += static_cast<char16_t>(0xdc00 + ((c - 0x10000) & 0x3ff));
        }
        else
            m_text += static_cast<char16_t>(c);
    }
    m_text += u'\0';
}

Wide::Wide(size_t count, wchar_t c) : m_text(count, static_cast<char16_t>(c))
{
    m_text += u'\0';
}

Wide Wide::operator+(const Wide& other) const
{
    Wide sum(*this);
    sum.m_text.pop_back();
    sum.m_text += other.m_text;
    return sum;
}

} // namespace test
