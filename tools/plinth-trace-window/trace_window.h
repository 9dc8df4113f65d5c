// The viewer's window: a tab with all records and one for each window id, a bar with what chooses
// and marks them, and a line with the counts.
#pragma once

#include <map>

#include <QMainWindow>
#include <QTimer>

#include "record_model.h"
#include "session.h"

QT_BEGIN_NAMESPACE
class QAction;
class QComboBox;
class QFrame;
class QLabel;
class QPushButton;
class QTabWidget;
QT_END_NAMESPACE

namespace qt_table
{
class TraceTable;
}

namespace trace_window
{

class PatternField;

class TraceWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit TraceWindow(const trace::ViewOptions& options, QWidget* parent = nullptr);
    ~TraceWindow() override;

    // Takes the source that the options name; a failure is shown, with a button to try again.
    void open();
    QString problem() const; // why no record can come; empty if records can

    // Collects and shows what has come: what the timer does.
    void step();

    void setPaused(bool paused);
    void clear();
    void toggleBookmark();
    void goToBookmark(bool forwards);
    // Both say in the status bar what they did, or why not; false then.
    bool saveShown(const QString& path);
    bool saveAll(const QString& path);

    QTabWidget* tabs() const { return m_tabs; }
    qt_table::TraceTable* table() const; // of the tab in front
    RecordModel* model() const;
    PatternField* includeField() const { return m_include; }
    PatternField* excludeField() const { return m_exclude; }
    PatternField* highlightField() const { return m_highlight; }
    QComboBox* timeBox() const { return m_time; }
    QString counts() const;

private:
    void makeBars();
    void addTab(std::optional<int32_t> window);
    trace::Filter filterFor(std::optional<int32_t> window) const;
    void applyFilters();
    void restyle();
    void showCounts();
    void showProblem(std::string_view problem, bool canRetry);
    void showAccess();
    bool save(const QString& path, bool all);
    void askAndSave(bool all);
    QAction* addCommand(class QToolBar* bar, const QString& text, const QKeySequence& key);

    struct Tab
    {
        RecordModel* model;
        std::optional<int32_t> window;
    };

    const trace::ViewOptions m_options;
    Session m_session;
    QTabWidget* m_tabs;
    std::vector<Tab> m_models; // in the order of the tabs
    PatternField* m_include = nullptr;
    PatternField* m_exclude = nullptr;
    PatternField* m_highlight = nullptr;
    QComboBox* m_time = nullptr;
    QAction* m_pause = nullptr;
    QFrame* m_problemBar = nullptr;
    QLabel* m_problem = nullptr;
    QPushButton* m_retry = nullptr;
    QLabel* m_counts = nullptr;
    QLabel* m_notes = nullptr;
    QTimer m_timer;
    bool m_paused = false;
};

} // namespace trace_window
