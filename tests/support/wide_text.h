// Comparing 16-bit text: the test library's own wide support is compiled for 32 bits, so tests
// compare and print UTF-8. Unpaired surrogates show as <d800>.
#pragma once

#include <string>

#include <windows.h>

namespace test
{

std::string utf8(const wchar_t* text);
std::string utf8(const wchar_t* text, size_t length);

// A 16-bit text that owns its characters, for arguments and for building paths.
class Wide
{
public:
    Wide() : m_text(1, L'\0') {}
    Wide(const wchar_t* text);
    Wide(const std::string& utf8);
    Wide(const char* utf8) : Wide(std::string(utf8)) {}
    // The same character a number of times.
    Wide(size_t count, wchar_t c);
    operator const wchar_t*() const { return reinterpret_cast<const wchar_t*>(m_text.data()); }
    const wchar_t* c_str() const { return *this; }
    size_t size() const { return m_text.size() - 1; }
    std::string utf8() const { return test::utf8(*this); }
    Wide operator+(const Wide& other) const;

private:
    std::basic_string<char16_t> m_text; // with its terminator as last character
};

} // namespace test
