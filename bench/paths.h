// Where the files of a run are, and their names in the library's form.
#pragma once

#include <cstdlib>
#include <string>

namespace bench
{

// Folder for the files of the run; the program that set PLINTH_ROOT removes it. Native path, no
// separator at the end.
inline std::string folder()
{
    return std::getenv("PLINTH_ROOT");
}

// The Windows form of a native path, for a path without characters beyond ASCII.
class WidePath
{
public:
    explicit WidePath(const std::string& native)
    {
        size_t length = 0;
        m_text[length++] = L'C';
        m_text[length++] = L':';
        for (const char c : native)
            m_text[length++] = c == '/' ? L'\\' : static_cast<wchar_t>(c);
        m_text[length] = L'\0';
    }
    operator const wchar_t*() const { return m_text; }

private:
    wchar_t m_text[1024];
};

} // namespace bench
