// Message boxes on the screen.
#pragma once

#include <QString>

#include "user32/desktop.h"

namespace desktop_qt
{

struct Question
{
    HWND owner; // null without, or one that isn't on the screen
    QString text;
    QString caption;
    UINT type; // MB_...
};

// Waits for the answer; on the thread of the widgets, whose events go on, as anywhere else. 0 if
// the box can't be shown, or goes unanswered with the end of that thread.
int askUser(const Question& question);

// Those that other threads wait for: they get a 0. On the thread of the widgets.
void closeMessageBoxes();

} // namespace desktop_qt
