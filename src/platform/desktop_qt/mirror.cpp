#include "mirror.h"

#include "list_table.h"
#include "top_window.h"

namespace desktop_qt
{

namespace
{

QWidget* makeChild(const NewWindow& window, QWidget* parent)
{
    if (window.kind.compare(QLatin1String("SysListView32"), Qt::CaseInsensitive) == 0)
        return new ListTable(window.window, parent);
    return new QWidget(parent); // draws nothing; contains other windows
}

void placeChild(QWidget& child, const RECT& place)
{
    child.setGeometry(place.left, place.top, place.right - place.left, place.bottom - place.top);
}

} // namespace

Mirror& mirror()
{
    static Mirror& only = *new Mirror; // never destroyed: it is not known when its thread ends
    return only;
}

void Mirror::add(const NewWindow& window)
{
    QWidget* const parent = widget(window.parent);
    if ((window.style & WS_CHILD) == 0)
    {
        auto* const top = new TopWindow(window.window, window.style, parent);
        top->setWindowTitle(window.title);
        top->placeAsTold(window.place);
        m_widgets[window.window] = top;
    }
    else if (parent)
    {
        QWidget* const child = makeChild(window, parent);
        placeChild(*child, window.place);
        child->hide(); // until the program shows it
        m_widgets[window.window] = child;
    }
}

void Mirror::remove(HWND window)
{
    QWidget* const gone = widget(window);
    m_widgets.erase(window);
    delete gone;
}

void Mirror::setTitle(HWND window, const QString& title)
{
    if (QWidget* const found = widget(window))
        found->setWindowTitle(title);
}

void Mirror::place(HWND window, const RECT& place)
{
    QWidget* const found = widget(window);
    if (auto* const top = qobject_cast<TopWindow*>(found))
        top->placeAsTold(place);
    else if (found)
        placeChild(*found, place);
}

void Mirror::setVisible(HWND window, bool visible)
{
    if (QWidget* const found = widget(window))
        found->setVisible(visible);
}

void Mirror::rowsChanged(HWND list)
{
    if (auto* const table = qobject_cast<ListTable*>(widget(list)))
        table->noticeChanges();
}

QWidget* Mirror::widget(HWND window) const
{
    const auto found = m_widgets.find(window);
    return found != m_widgets.end() ? found->second.data() : nullptr;
}

void Mirror::removeAll()
{
    // Owners delete their own widgets; pointers to those are null by then.
    for (auto& [handle, widget] : std::exchange(m_widgets, {}))
        delete widget.data();
}

} // namespace desktop_qt
