#include "window_tag.h"

#include <cstdlib>

#include <windows.h>

#include <tchar.h>

namespace
{

constexpr wchar_t tag_text[] = L"|wndid:";
constexpr size_t tag_length = sizeof tag_text / sizeof *tag_text - 1;
constexpr const wchar_t* stamp_end = L" *vtq* ";

// "YYYY-MM-DD hh:mm:ss.mmm": the stamp's marker counts only where a stamp can end.
constexpr size_t stamp_length = 23;

} // namespace

QvWindowTag QvFindWindowTag(const wchar_t* text)
{
    QvWindowTag result;
    if (wcsncmp(text, tag_text, tag_length) == 0)
        result.tag = text;
    else
    {
        const wchar_t* const mark = wcsstr(text, stamp_end);
        if (mark && static_cast<size_t>(mark - text) >= stamp_length &&
            static_cast<size_t>(mark - text) <= stamp_length + 2)
            result.tag = wcsstr(mark, tag_text);
    }
    if (!result.tag)
        return result;
    result.id = _wtoi(result.tag + tag_length);
    result.behind = result.tag + tag_length;
    while (*result.behind && *result.behind != L' ')
        ++result.behind;
    return result;
}
