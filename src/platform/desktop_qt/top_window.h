// A top-level window of the stand-in on the screen.
//
// The stand-in measures windows by their outer edges, with frames of its own fixed size; on the
// screen the window manager's frames have other sizes. The client areas have the same size on both
// sides, and positions are those of the frames.
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
    RECT m_told = {}; // the last place that the widget and the stand-in agreed on
    QTimer m_tell;    // a window that is dragged reports its place a few times, not for each pixel
};

} // namespace desktop_qt
