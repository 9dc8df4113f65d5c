// The widgets that show the stand-in's windows, by the windows' handles. Only used on the thread of
// the widgets.
//
// An unknown window is ignored everywhere: it may have been destroyed, or its thread may have ended
// before the posted call ran.
#pragma once

#include <unordered_map>

#include <QPointer>
#include <QString>
#include <QWidget>

#include "user32/desktop.h"

namespace desktop_qt
{

struct NewWindow
{
    HWND window;
    HWND parent;
    QString kind; // the name of its class
    QString title;
    DWORD style;
    RECT place;
};

class Mirror
{
public:
    void add(const NewWindow& window);
    void remove(HWND window);
    void setTitle(HWND window, const QString& title);
    void place(HWND window, const RECT& place);
    void setVisible(HWND window, bool visible);
    void rowsChanged(HWND list);
    QWidget* widget(HWND window) const; // null if there is none
    void removeAll();

private:
    // A widget can be destroyed with its parent.
    std::unordered_map<HWND, QPointer<QWidget>> m_widgets;
};

Mirror& mirror();

} // namespace desktop_qt
