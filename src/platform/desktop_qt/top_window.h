// A top-level window of the stand-in's on the screen.
//
// The stand-in has places by their outer edges, around frames of its own measure; on the screen the
// window manager's frames are as they are. The client areas are of the same size, and positions are
// those of the frames.
#pragma once

#include <QTimer>
#include <QWidget>

#include "user32/desktop.h"

namespace desktop_qt
{

class TopWindow : public QWidget
{
    Q_OBJECT

public:
    // The owner may be null; the window stays above it.
    TopWindow(HWND window, DWORD style, QWidget* owner);

    void placeAsTold(const RECT& place);

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    void tellPlace();
    RECT placeOnScreen() const;

    const HWND m_window;
    const bool m_framed;
    RECT m_told = {}; // the last place that both sides know of
    QTimer m_tell;    // a window that is dragged tells its place a few times, not for each pixel
};

} // namespace desktop_qt
