// The widgets that stand for the windows, by their handles. On the thread of the widgets alone.
//
// A window that isn't known is passed over everywhere: it may have gone, or its thread may have
// ended before its turn came.
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
    QWidget* widget(HWND window) const; // null without
    void removeAll();

private:
    // A widget can go with its parent.
    std::unordered_map<HWND, QPointer<QWidget>> m_widgets;
};

Mirror& mirror();

} // namespace desktop_qt
