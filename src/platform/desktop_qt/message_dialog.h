// Message boxes on the screen.
#pragma once

#include <QString>

#include "user32/desktop.h"

namespace desktop_qt
{

struct Question
{
    HWND owner; // null if there is none or it isn't on the screen
    QString text;
    QString caption;
    UINT type; // MB_...
};

// Waits for the answer; on the thread of the widgets, events are still handled meanwhile. 0 if the
// box can't be shown, or if that thread ends before the answer.
int askUser(const Question& question);

// Closes the boxes that other threads wait for: their answer is 0. On the thread of the widgets.
void closeMessageBoxes();

} // namespace desktop_qt
