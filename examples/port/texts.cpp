#include "texts.h"

#include <cstdarg>
#include <cwchar>

#include <windows.h>

namespace
{

constexpr int longest_text = 1024;

} // namespace

std::wstring text_of(unsigned number, ...)
{
    wchar_t format[longest_text];
    if (LoadStringW(GetModuleHandleW(nullptr), number, format, longest_text) == 0)
        return L"text " + std::to_wstring(number);

    wchar_t text[longest_text];
    va_list values;
    va_start(values, number);
    const int length = vswprintf(text, longest_text, format, values);
    va_end(values);
    return length < 0 ? std::wstring(format) : std::wstring(text, static_cast<size_t>(length));
}
