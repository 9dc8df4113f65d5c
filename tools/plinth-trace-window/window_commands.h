// The menus and the tool bar of the window, and the state of those that can be switched.
#pragma once

#include <QKeySequence>
#include <QObject>

#include "colours.h"
#include "line_format.h"

QT_BEGIN_NAMESPACE
class QAction;
class QComboBox;
class QMenu;
class QToolBar;
QT_END_NAMESPACE

namespace trace_window
{

class TraceWindow;
class ViewPage;

class WindowCommands : public QObject
{
    Q_OBJECT

public:
    WindowCommands(TraceWindow& window, trace::TimeMode time);

    QComboBox* timeBox() const { return m_time; }
    void showPaused(bool paused);
    void showStateOf(const ViewPage& page); // the current one
    void prepare(ViewPage& page) const;     // a new page: sets what holds for all

    // What holds for the whole window, in the form of settings.
    bool isLinked() const;
    void setLinked(bool linked);
    bool hasStrip() const;
    void setStrip(bool shown);
    Scheme scheme() const { return m_scheme; }
    void setScheme(Scheme scheme);
    // As QFont::toString writes it; empty: the desktop's font. A missing family isn't used, but its
    // name is kept in case it is installed later; setFont then returns a message.
    QString font() const { return m_font; }
    QString setFont(const QString& font);
    trace::TimeMode time() const;
    void setTime(trace::TimeMode mode);

private:
    QAction* add(QMenu* menu, const QString& text, const QKeySequence& key = {});
    void makeFileMenu();
    void makeViewMenu();
    void makeLookMenu();
    void makeGoMenu();
    void makeToolBar(trace::TimeMode time);
    void fillNames(QMenu& menu);
    void askAndSave(bool all);
    void askName();
    void askTime();
    void askFont();

    TraceWindow& m_window;
    Scheme m_scheme = Scheme::desktop;
    QString m_font;
    QComboBox* m_time = nullptr;
    QAction* m_pause = nullptr;
    QAction* m_clear = nullptr;
    QAction* m_saveShown = nullptr;
    QAction* m_newView = nullptr;
    QAction* m_beside = nullptr;
    QAction* m_link = nullptr;
    QAction* m_find = nullptr;
    QAction* m_bookmark = nullptr;
    QAction* m_raw = nullptr;
    QAction* m_byProcess = nullptr;
    QAction* m_strip = nullptr;
    std::vector<QAction*> m_schemes;
};

} // namespace trace_window
