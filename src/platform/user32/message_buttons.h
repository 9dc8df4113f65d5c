// The buttons of a message box by its type, shared by the display, the terminal and prepared
// answers.
#pragma once

#include <cstddef>

#include "windows.h"

namespace platform
{

struct MessageButton
{
    const char* name; // lower case; its first letter is the button's key, unique among all
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

// For an unknown type, those of MB_OK.
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

// The index of the button that Enter presses at first: MB_DEFBUTTON2 ... if there are that many.
constexpr size_t default_message_button(UINT type)
{
    const size_t index = (type & MB_DEFMASK) / MB_DEFBUTTON2;
    return index < message_buttons(type).count ? index : 0;
}

// The answer of Escape and of closing the box; 0 if they don't answer.
constexpr int escape_answer(UINT type)
{
    const MessageButtons buttons = message_buttons(type);
    for (size_t i = 0; i < buttons.count; ++i)
        if (buttons.first[i].id == IDCANCEL)
            return IDCANCEL;
    return buttons.count == 1 ? buttons.first[0].id : 0;
}

} // namespace platform
