// The installer's file "SetupOptions.xml": finding the name of the log's folder in its bytes.
#include <cstring>

#include "logfile_internal.h"

namespace
{

// Moves at past the next occurrence of a text in 16-bit units before end. False if there is none.
bool SkipBehind(const wchar_t*& at, const wchar_t* end, const wchar_t* text, size_t length)
{
    for (; static_cast<size_t>(end - at) >= length; ++at)
        if (std::memcmp(at, text, length * sizeof *text) == 0)
        {
            at += length;
            return true;
        }
    return false;
}

} // namespace

// The file isn't parsed but searched, as UTF-16 text, for exact strings. The bytes have no
// terminator, and may be anything.
bool QvFindAppFolder(const void* bytes, size_t size, wchar_t* name, size_t limit)
{
    static constexpr wchar_t list[] = L"<CQvSystem runtype=\"CQvListVariant\">";
    static constexpr wchar_t value[] = L"<wsAppFolder runtype=\"CQvStringW\" value=\"";
    const auto* at = static_cast<const wchar_t*>(bytes);
    const wchar_t* const end = at + size / sizeof *at;
    if (!SkipBehind(at, end, list, sizeof list / sizeof *list - 1) ||
        !SkipBehind(at, end, value, sizeof value / sizeof *value - 1))
        return false;
    const wchar_t* quote = at;
    while (quote < end && *quote != L'"')
        ++quote;
    const size_t length = static_cast<size_t>(quote - at);
    if (quote == end || length >= limit)
        return false;
    std::memcpy(name, at, length * sizeof *name);
    name[length] = L'\0';
    return true;
}
