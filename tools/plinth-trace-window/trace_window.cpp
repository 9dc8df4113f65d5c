#include "trace_window.h"

#include <chrono>

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QStatusBar>
#include <QTabWidget>
#include <QVBoxLayout>

#include "cell_text.h"
#include "failure.h"
#include "output_file.h"
#include "pages.h"
#include "pattern_field.h"
#include "problem_bar.h"
#include "time_option.h"
#include "view_area.h"
#include "window_commands.h"
#include "window_list.h"

namespace trace_window
{

namespace
{

using namespace std::chrono_literals;

constexpr auto step_interval = 40ms; // smooth to the eye
constexpr auto collect_time = 25ms;  // of each step: the rest is for the window
constexpr auto show_time = 4ms;      // for each part of each visible view

constexpr auto keep_interval = 5s; // between two checks whether settings have changed
constexpr int news_time = 10'000;  // ms in the status bar
constexpr int percent = 100;

constexpr size_t most_automatic = 99; // tabs; the list has all window ids
constexpr int tabs_at_once = 2;       // in a step, since making one takes some milliseconds

} // namespace

TraceWindow::TraceWindow(const trace::ViewOptions& options, std::string settings, QWidget* parent)
    : QMainWindow(parent), m_options(options), m_settingsPath(std::move(settings)),
      m_session(options), m_area(new ViewArea), m_windowList(new WindowList),
      m_problemBar(new ProblemBar), m_commands(new WindowCommands(*this, m_session.time))
{
    trace::give_back_large_blocks(); // the row headers of the tables
    setWindowTitle(tr("plinth trace"));
    resize(1100, 680);
    auto* const middle = new QWidget;
    auto* const layout = new QVBoxLayout(middle);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_problemBar);
    layout->addWidget(m_area, 1);
    setCentralWidget(middle);
    makeStatusBar();
    tabs()->setCornerWidget(m_windowList);
    connect(m_problemBar, &ProblemBar::retryAsked, this, &TraceWindow::open);
    connect(m_windowList, &WindowList::windowChosen, this,
            [this](int window) { m_area->bringToFront(addViewOfWindow(window)); });
    makeViews();
    connect(m_area, &ViewArea::currentChanged, this,
            [this]
            {
                m_commands->showStateOf(view());
                step();
            });
    connect(&m_timer, &QTimer::timeout, this, &TraceWindow::step);
    m_timer.start(step_interval);
    connect(&m_keepTimer, &QTimer::timeout, this, &TraceWindow::keepSettings);
    m_keepTimer.start(keep_interval);
    showCounts();
}

// The tables are destroyed before the models and the session that they show.
TraceWindow::~TraceWindow()
{
    m_timer.stop();
    m_keepTimer.stop();
    m_area->disconnect(this);
    delete takeCentralWidget();
}

void TraceWindow::makeStatusBar()
{
    m_progress = new QProgressBar;
    constexpr int wide = 120; // pixels
    m_progress->setFixedWidth(wide);
    m_progress->setMaximum(percent);
    m_progress->setFormat(tr("%p % examined"));
    m_progress->hide();
    m_counts = new QLabel;
    m_notes = new QLabel;
    m_notes->setTextFormat(Qt::PlainText);
    statusBar()->addPermanentWidget(m_notes);
    statusBar()->addPermanentWidget(m_progress);
    statusBar()->addPermanentWidget(m_counts);
}

void TraceWindow::closeEvent(QCloseEvent* event)
{
    keepSettings();
    QMainWindow::closeEvent(event);
}

// ---- records

void TraceWindow::open()
{
    try
    {
        m_session.source = trace::make_source(m_options);
        showAccess();
    }
    catch (const trace::Failure& failure)
    {
        showProblem(failure.what(), true);
    }
    catch (const trace::Interrupted&) // main ends the program
    {
    }
}

void TraceWindow::showProblem(std::string_view problem, bool canRetry)
{
    m_problemBar->report(problem, canRetry);
}

// Another process may own the channel, and the owner may change.
void TraceWindow::showAccess()
{
    setWindowTitle(tr("plinth trace: %1").arg(lineOf(m_session.source->what())));
    const std::string other = m_session.source->shut_out_by();
    if (other.empty())
        showProblem({}, false);
    else
        showProblem(other + " has the debug string channel. Records are shown when it is free.",
                    false);
}

QString TraceWindow::problem() const
{
    return m_problemBar->problem();
}

void TraceWindow::step()
{
    takeRecords();
    addTabs();
    writeOutput();
    double progress = 1;
    for (ViewPage* const page :
         m_area->inSight()) // the other views catch up when they come to the front
        progress = std::min(progress, page->advance(show_time));
    m_progress->setValue(static_cast<int>(progress * percent));
    m_progress->setVisible(progress < 1);
    showCounts();
}

void TraceWindow::takeRecords()
{
    takeOutputFilter();
    try
    {
        for (const int32_t window : m_session.collect(collect_time))
            m_fresh.push_back(window);
        if (const std::string news = m_session.news(); !news.empty())
        {
            showAccess();
            statusBar()->showMessage(lineOf(news), news_time);
        }
    }
    catch (const trace::Failure& failure) // of a source: its records stay
    {
        m_session.source.reset();
        showProblem(failure.what(), true);
    }
    catch (const trace::Interrupted&) // main ends the program
    {
    }
}

void TraceWindow::addTabs()
{
    m_windowList->setWindows(m_session.windows);
    for (int i = 0; i < tabs_at_once && !m_fresh.empty() && m_automatic < most_automatic; ++i)
    {
        addViewOfWindow(m_fresh.front());
        m_fresh.pop_front();
        ++m_automatic;
    }
    if (m_automatic >= most_automatic)
        m_fresh.clear();
}

void TraceWindow::writeOutput()
{
    if (!told(tr("Nothing more is written: %1"), [this] { m_session.writeOutput(); }))
        m_session.output.reset();
}

void TraceWindow::restyle()
{
    for (const ViewPage* const page : m_area->pages())
        page->table().rows().restyled();
}

void TraceWindow::setTime(trace::TimeMode mode)
{
    m_session.time = mode;
    for (const ViewPage* const page : m_area->pages())
        page->table().widths().forget();
    restyle();
}

void TraceWindow::setPaused(bool paused)
{
    m_paused = paused;
    m_commands->showPaused(paused);
    for (const ViewPage* const page : m_area->pages())
        page->table().rows().setPaused(paused);
    step();
    if (const uint64_t missed = model()->takeMissed(); missed > 0 && !paused)
        tell(tr("%1 records dropped before they were shown: more came during the pause than there "
                "is room for")
                 .arg(missed));
}

void TraceWindow::clear()
{
    m_session.store.clear();
    m_session.bookmarks.trim(m_session.store.first());
    for (const ViewPage* const page : m_area->pages())
        page->table().rows().cleared();
    showCounts();
}

void TraceWindow::toggleBookmark()
{
    const QModelIndex current = table()->view()->currentIndex();
    if (!current.isValid())
        return;
    m_session.bookmarks.toggle(model()->number(current.row()));
    restyle();
}

void TraceWindow::goToBookmark(bool forwards)
{
    const trace::View& rows = model()->view();
    const QModelIndex current = table()->view()->currentIndex();
    const std::optional<uint64_t> from =
        current.isValid() ? std::optional(model()->number(current.row())) : std::nullopt;
    const std::optional<uint64_t> number =
        forwards ? m_session.bookmarks.next(rows, from) : m_session.bookmarks.previous(rows, from);
    if (const auto row = number ? rows.row_of(*number) : std::nullopt)
        table()->goToRow(static_cast<int>(*row));
    else
        tell(tr("No bookmark is shown"));
}

bool TraceWindow::goToTime(const QString& text)
{
    const auto time = trace::time_from(text.toStdString(), trace::current_time());
    if (!time)
    {
        tell(tr("\"%1\" is no time, as 14:07 or 2024-03-05 14:07:33 or 10m")
                 .arg(lineOf(text.toStdString())));
        return false;
    }
    const trace::Store& store = m_session.store;
    if (store.end() == store.first())
        return false;
    table()->choose(std::min(store.number_at(*time), store.end() - 1));
    return true;
}

bool TraceWindow::saveShown(const QString& path)
{
    return save(path, false);
}

bool TraceWindow::saveAll(const QString& path)
{
    return save(path, true);
}

bool TraceWindow::save(const QString& path, bool all)
{
    return told(tr("Not saved: %1"),
                [&]
                {
                    // Also saves what a changed filter hasn't reached yet; it is shown in a moment.
                    while (!model()->update(show_time))
                    {
                    }
                    const std::string name = path.toStdString();
                    const uint64_t count =
                        all ? trace::save_all(name, m_session.store)
                            : trace::save_shown(name, m_session.store, model()->view(),
                                                {.time = m_session.time});
                    tell(tr("Saved %1 records to %2").arg(count).arg(lineOf(name)));
                });
}

// ---- what is seen

// Runs the action. If it fails, shows the reason and returns false.
bool TraceWindow::told(const QString& failed, const std::function<void()>& action)
{
    try
    {
        action();
        return true;
    }
    catch (const trace::Failure& failure)
    {
        tell(failed.arg(lineOf(failure.what())));
        return false;
    }
}

void TraceWindow::tell(const QString& news)
{
    statusBar()->showMessage(news, news_time);
}

ViewPage& TraceWindow::view() const
{
    return m_area->current();
}

QTabWidget* TraceWindow::tabs() const
{
    return &m_area->group(0);
}

RecordTable* TraceWindow::table() const
{
    return &view().table();
}

RecordModel* TraceWindow::model() const
{
    return &table()->rows();
}

PatternField* TraceWindow::includeField() const
{
    return view().bar().include();
}

PatternField* TraceWindow::excludeField() const
{
    return view().bar().exclude();
}

PatternField* TraceWindow::highlightField() const
{
    return view().bar().highlight();
}

QComboBox* TraceWindow::timeBox() const
{
    return m_commands->timeBox();
}

QString TraceWindow::counts() const
{
    return m_counts->text();
}

void TraceWindow::showCounts()
{
    const trace::Store& store = m_session.store;
    QString text;
    if (m_paused)
        text = tr("paused, %1 wait   ").arg(model()->view().waiting());
    text += tr("shown %1   all %2   %3 records/s   lost %4   dropped %5")
                .arg(model()->rowCount())
                .arg(store.all())
                .arg(m_session.rate.per_second(Session::Clock::now()), 0, 'f', 0)
                .arg(store.lost())
                .arg(store.dropped());
    m_counts->setText(text);
    m_notes->setText(lineOf(model()->view().filter().given_up()));
}

} // namespace trace_window
