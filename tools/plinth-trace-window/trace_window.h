// The viewer's window: views as tabs (one with all records, one for each window id), the commands,
// and a line with the counts.
#pragma once

#include <deque>
#include <functional>

#include <QMainWindow>
#include <QPointer>
#include <QTimer>

#include "record_model.h"
#include "session.h"
#include "view_settings.h"

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QProgressBar;
class QTabWidget;
QT_END_NAMESPACE

namespace trace_window
{

class PatternField;
class ProblemBar;
class RecordTable;
class ViewArea;
class ViewPage;
class WindowCommands;
class WindowList;

class TraceWindow : public QMainWindow
{
    Q_OBJECT

public:
    // settings: the file in which the window keeps its views and layout; if empty, it keeps
    // nothing.
    explicit TraceWindow(const trace::ViewOptions& options, std::string settings = {},
                         QWidget* parent = nullptr);
    ~TraceWindow() override;

    // Opens the source that the options name; a failure is shown, with a button to try again.
    void open();
    QString problem() const; // why no records can come; empty if they can

    // Collects and shows new records; the timer calls it.
    void step();

    void setPaused(bool paused);
    void clear();
    void toggleBookmark();
    void goToBookmark(bool forwards);
    // Each shows in the status bar what it did, or why it failed, and then returns false.
    bool saveShown(const QString& path);
    bool saveAll(const QString& path);
    bool goToTime(const QString& text);
    bool loadViews(const QString& path);
    bool saveViews(const QString& path);
    // Keeps the views in the window's own file, if anything has changed.
    void keepSettings();

    ViewPage& addView(const QString& name, const trace::ViewSettings& settings, int side = 0);
    ViewPage& addViewOfWindow(int32_t window);
    void setTime(trace::TimeMode mode);
    void tell(const QString& news); // in the status bar

    ViewArea& area() const { return *m_area; }
    ViewPage& view() const; // the current one
    QTabWidget* tabs() const;
    RecordTable* table() const; // of the current view
    RecordModel* model() const;
    PatternField* includeField() const;
    PatternField* excludeField() const;
    PatternField* highlightField() const;
    QComboBox* timeBox() const;
    QString counts() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void makeStatusBar();
    void makeViews();
    void showFirst();
    void takeOutputFilter();
    trace::ViewSettings asStarted() const;
    void addViews(const trace::ViewerSettings& settings);
    trace::ViewerSettings settings() const;
    void takeRecords();
    void addTabs();
    void writeOutput();
    void restyle();
    void showCounts();
    void showProblem(std::string_view problem, bool canRetry);
    void showAccess();
    bool save(const QString& path, bool all);
    bool told(const QString& failed, const std::function<void()>& action);

    const trace::ViewOptions m_options;
    const std::string m_settingsPath;
    Session m_session;
    ViewArea* m_area;
    WindowList* m_windowList;
    ProblemBar* m_problemBar;
    WindowCommands* m_commands;
    QProgressBar* m_progress = nullptr;
    QLabel* m_counts = nullptr;
    QLabel* m_notes = nullptr;
    std::deque<int32_t> m_fresh;  // window ids that wait for their tabs
    size_t m_automatic = 0;       // tabs that were made for window ids
    trace::ViewerSettings m_kept; // as this window saved them last
    QTimer m_timer;
    QPointer<ViewPage> m_outputView; // whose filter the output file has
    QMetaObject::Connection m_outputFilterChanged;
    QTimer m_keepTimer;
    bool m_paused = false;
};

} // namespace trace_window
