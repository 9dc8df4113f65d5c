#include "top_window.h"

#include <QCloseEvent>

#include "host.h"

namespace desktop_qt
{

namespace
{

constexpr int tell_delay = 15; // ms

bool isSame(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

} // namespace

TopWindow::TopWindow(HWND window, DWORD style, QWidget* owner)
    : QWidget(owner, Qt::Window), m_window(window), m_framed(platform::has_frame(style))
{
    if ((style & WS_CAPTION) != WS_CAPTION)
        setWindowFlag(Qt::FramelessWindowHint);
    // A Qt application may end when the last of its own windows is closed.
    setAttribute(Qt::WA_QuitOnClose, false);
    m_tell.setSingleShot(true);
    m_tell.setInterval(tell_delay);
    connect(&m_tell, &QTimer::timeout, this, &TopWindow::tellPlace);
}

void TopWindow::placeAsTold(const RECT& place)
{
    m_told = place;
    const LONG width = place.right - place.left - (m_framed ? 2 * platform::frame_width : 0);
    const LONG height = place.bottom - place.top -
                        (m_framed ? platform::caption_height + platform::frame_width : 0);
    move(place.left, place.top);
    resize(qMax(width, LONG{1}), qMax(height, LONG{1}));
}

// The program decides what closing means; if it destroys its window, this widget is destroyed with
// it.
void TopWindow::closeEvent(QCloseEvent* event)
{
    event->ignore();
    host().close_window(m_window);
}

void TopWindow::resizeEvent(QResizeEvent*)
{
    m_tell.start();
}

void TopWindow::moveEvent(QMoveEvent*)
{
    m_tell.start();
}

RECT TopWindow::placeOnScreen() const
{
    const LONG width = this->width() + (m_framed ? 2 * platform::frame_width : 0);
    const LONG height =
        this->height() + (m_framed ? platform::caption_height + platform::frame_width : 0);
    return {x(), y(), x() + width, y() + height};
}

void TopWindow::tellPlace()
{
    const RECT place = placeOnScreen();
    if (!isVisible() || isSame(place, m_told))
        return;
    m_told = place;
    host().place_window(m_window, &place);
}

} // namespace desktop_qt
