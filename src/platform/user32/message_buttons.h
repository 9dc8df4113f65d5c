// The buttons of a message box by its type: for the display, the terminal and prepared answers
// alike.
#pragma once

#include <cstddef>

#include "windows.h"

namespace platform
{

struct MessageButton
{
    const char* name; // lower case; its first letter is the button's key, and no other one's
    int id;
};

struct MessageButtons
{
    const MessageButton* first;
    size_t count;
};

inline constexpr MessageButton ok_only[] = {{"ok", IDOK}};
inline constexpr MessageButton ok_cancel[] = {{"ok", IDOK}, {"cancel", IDCANCEL}};
inline constexpr MessageButton abort_retry_ignore[] = {
    {"abort", IDABORT}, {"retry", IDRETRY}, {"ignore", IDIGNORE}};
inline constexpr MessageButton yes_no_cancel[] = {
    {"yes", IDYES}, {"no", IDNO}, {"cancel", IDCANCEL}};
inline constexpr MessageButton yes_no[] = {{"yes", IDYES}, {"no", IDNO}};
inline constexpr MessageButton retry_cancel[] = {{"retry", IDRETRY}, {"cancel", IDCANCEL}};

// Those of MB_OK for a type that isn't known.
constexpr MessageButtons message_buttons(UINT type)
{
    switch (type & MB_TYPEMASK)
    {
    case MB_OKCANCEL:
        return {ok_cancel, 2};
    case MB_ABORTRETRYIGNORE:
        return {abort_retry_ignore, 3};
    case MB_YESNOCANCEL:
        return {yes_no_cancel, 3};
    case MB_YESNO:
        return {yes_no, 2};
    case MB_RETRYCANCEL:
        return {retry_cancel, 2};
    default:
        return {ok_only, 1};
    }
}

// The number of the button that Enter means at first: MB_DEFBUTTON2 ... as far as there are so
// many.
constexpr size_t default_message_button(UINT type)
{
    const size_t index = (type & MB_DEFMASK) / MB_DEFBUTTON2;
    return index < message_buttons(type).count ? index : 0;
}

// What Escape and closing the box answer; 0 where they answer nothing.
constexpr int escape_answer(UINT type)
{
    const MessageButtons buttons = message_buttons(type);
    for (size_t i = 0; i < buttons.count; ++i)
        if (buttons.first[i].id == IDCANCEL)
            return IDCANCEL;
    return buttons.count == 1 ? buttons.first[0].id : 0;
}

} // namespace platform
