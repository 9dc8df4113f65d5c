#include "trace_window.h"

#include <chrono>

#include <QAction>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QTabWidget>
#include <QToolBar>
#include <QVBoxLayout>

#include "failure.h"
#include "output_file.h"
#include "pattern_field.h"
#include "table/trace_table.h"
#include "text.h"

namespace trace_window
{

namespace
{

using namespace std::chrono_literals;

constexpr auto step_interval = 40ms; // smooth to the eye
constexpr auto collect_time = 25ms;  // of it: the rest is the window's

constexpr int news_time = 10'000; // ms in the status bar

constexpr size_t most_tabs = 100; // records of further window ids are in the first tab

struct TimeChoice
{
    trace::TimeMode mode;
    const char* text;
};
constexpr TimeChoice time_choices[] = {
    {trace::TimeMode::absolute, QT_TRANSLATE_NOOP("TraceWindow", "Time of day")},
    {trace::TimeMode::start, QT_TRANSLATE_NOOP("TraceWindow", "Since the start")},
    {trace::TimeMode::previous, QT_TRANSLATE_NOOP("TraceWindow", "Since the previous")},
    {trace::TimeMode::none, QT_TRANSLATE_NOOP("TraceWindow", "No time")},
};

// A message of one line, with the names that it holds made harmless.
QString lineOf(std::string_view utf8)
{
    return QString::fromStdString(trace::printable_name(utf8));
}

} // namespace

TraceWindow::TraceWindow(const trace::ViewOptions& options, QWidget* parent)
    : QMainWindow(parent), m_options(options), m_session(options), m_tabs(new QTabWidget)
{
    setWindowTitle(tr("plinth trace"));
    resize(1100, 640);
    makeBars();
    auto* const middle = new QWidget;
    auto* const layout = new QVBoxLayout(middle);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_problemBar);
    layout->addWidget(m_tabs);
    setCentralWidget(middle);
    m_session.output_filter = filterFor(std::nullopt);
    m_tabs->setDocumentMode(true);
    addTab(std::nullopt);
    connect(m_tabs, &QTabWidget::currentChanged, this, [this] { step(); });
    connect(&m_timer, &QTimer::timeout, this, &TraceWindow::step);
    m_timer.start(step_interval);
    showCounts();
}

// The tables go before the models and the session that they show.
TraceWindow::~TraceWindow()
{
    m_timer.stop();
    m_tabs->disconnect(this);
    delete takeCentralWidget();
}

void TraceWindow::makeBars()
{
    auto* const filters = addToolBar(tr("Filters"));
    filters->setMovable(false);
    m_include = new PatternField(tr("Include"), m_options.include);
    m_exclude = new PatternField(tr("Exclude"), m_options.exclude);
    m_highlight = new PatternField(tr("Highlight"), m_options.highlight);
    for (PatternField* const field : {m_include, m_exclude, m_highlight})
        filters->addWidget(field);
    connect(m_include, &PatternField::patternsChanged, this, &TraceWindow::applyFilters);
    connect(m_exclude, &PatternField::patternsChanged, this, &TraceWindow::applyFilters);
    connect(m_highlight, &PatternField::patternsChanged, this,
            [this]
            {
                m_session.highlights = trace::Highlights(m_highlight->patterns());
                restyle();
            });
    m_time = new QComboBox;
    for (const TimeChoice& choice : time_choices)
    {
        m_time->addItem(tr(choice.text));
        if (choice.mode == m_session.time)
            m_time->setCurrentIndex(m_time->count() - 1);
    }
    connect(m_time, &QComboBox::currentIndexChanged, this,
            [this](int index)
            {
                m_session.time = time_choices[index].mode;
                restyle();
            });
    filters->addWidget(m_time);

    addToolBarBreak();
    auto* const commands = addToolBar(tr("Commands"));
    commands->setMovable(false);
    m_pause = addCommand(commands, tr("Pause"), Qt::CTRL | Qt::Key_P);
    m_pause->setCheckable(true);
    connect(m_pause, &QAction::toggled, this, &TraceWindow::setPaused);
    connect(addCommand(commands, tr("Clear"), Qt::CTRL | Qt::Key_L), &QAction::triggered, this,
            &TraceWindow::clear);
    commands->addSeparator();
    connect(addCommand(commands, tr("Bookmark"), Qt::CTRL | Qt::Key_B), &QAction::triggered, this,
            &TraceWindow::toggleBookmark);
    connect(addCommand(commands, tr("Previous bookmark"), Qt::SHIFT | Qt::Key_F2),
            &QAction::triggered, this, [this] { goToBookmark(false); });
    connect(addCommand(commands, tr("Next bookmark"), Qt::Key_F2), &QAction::triggered, this,
            [this] { goToBookmark(true); });
    commands->addSeparator();
    connect(addCommand(commands, tr("Save shown..."), Qt::CTRL | Qt::Key_S), &QAction::triggered,
            this, [this] { askAndSave(false); });
    connect(addCommand(commands, tr("Save all..."), Qt::CTRL | Qt::SHIFT | Qt::Key_S),
            &QAction::triggered, this, [this] { askAndSave(true); });

    m_problemBar = new QFrame;
    m_problemBar->setFrameShape(QFrame::StyledPanel);
    m_problem = new QLabel;
    m_problem->setWordWrap(true);
    m_problem->setTextFormat(Qt::PlainText); // names in it may look like HTML
    m_retry = new QPushButton(tr("Try again"));
    m_retry->setObjectName(QStringLiteral("retry"));
    connect(m_retry, &QPushButton::clicked, this, &TraceWindow::open);
    auto* const row = new QHBoxLayout(m_problemBar);
    row->addWidget(m_problem, 1);
    row->addWidget(m_retry);
    m_problemBar->hide();

    m_counts = new QLabel;
    m_notes = new QLabel;
    m_notes->setTextFormat(Qt::PlainText);
    statusBar()->addPermanentWidget(m_notes);
    statusBar()->addPermanentWidget(m_counts);
}

QAction* TraceWindow::addCommand(QToolBar* bar, const QString& text, const QKeySequence& key)
{
    QAction* const command = bar->addAction(text);
    command->setShortcut(key);
    command->setToolTip(text + QLatin1String(" (") + key.toString(QKeySequence::NativeText) + u')');
    return command;
}

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
    m_problem->setText(lineOf(problem));
    m_problemBar->setVisible(!problem.empty());
    m_retry->setVisible(canRetry);
}

// The channel may be another's, and change hands.
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
    return m_problem->text();
}

void TraceWindow::addTab(std::optional<int32_t> window)
{
    auto* const table = new qt_table::TraceTable;
    auto* const rows = new RecordModel(m_session, filterFor(window), table);
    rows->setPaused(m_paused);
    table->setModel(rows);
    QHeaderView* const heads = table->view()->horizontalHeader();
    heads->resizeSection(RecordModel::NumberColumn, 70);
    heads->resizeSection(RecordModel::TimeColumn, 180);
    heads->resizeSection(RecordModel::ProcessColumn, 150);
    heads->resizeSection(RecordModel::FirstField, 680);
    m_models.push_back({rows, window});
    m_tabs->addTab(table, window ? tr("Window %1").arg(*window) : tr("All"));
}

trace::Filter TraceWindow::filterFor(std::optional<int32_t> window) const
{
    trace::Filter filter = m_options.filter;
    filter.include = m_include->patterns();
    filter.exclude = m_exclude->patterns();
    if (window)
        filter.windows = trace::WindowIds({*window});
    return filter;
}

void TraceWindow::applyFilters()
{
    m_session.output_filter = filterFor(std::nullopt);
    for (const Tab& tab : m_models)
        tab.model->setFilter(filterFor(tab.window));
    step();
}

void TraceWindow::restyle()
{
    model()->restyled();
}

void TraceWindow::step()
{
    try
    {
        for (const int32_t window : m_session.collect(collect_time))
            if (m_models.size() < most_tabs)
                addTab(window);
        if (const std::string news = m_session.news(); !news.empty())
        {
            showAccess();
            statusBar()->showMessage(lineOf(news), news_time);
        }
    }
    catch (const trace::Failure& failure) // of a source: what it gave stays
    {
        m_session.source.reset();
        showProblem(failure.what(), true);
    }
    catch (const trace::Interrupted&) // main ends the program
    {
    }
    try
    {
        m_session.write_output();
    }
    catch (const trace::Failure& failure)
    {
        m_session.output.reset();
        statusBar()->showMessage(tr("Nothing more is written: %1").arg(lineOf(failure.what())));
    }
    model()->update(); // the others catch up when they come to the front
    showCounts();
}

void TraceWindow::setPaused(bool paused)
{
    m_paused = paused;
    m_pause->setChecked(paused);
    for (const Tab& tab : m_models)
        tab.model->setPaused(paused);
    step();
    if (const uint64_t missed = model()->takeMissed(); missed > 0 && !paused)
        statusBar()->showMessage(tr("%1 records dropped before they were shown: more came during "
                                    "the pause than there is room for")
                                     .arg(missed));
}

void TraceWindow::clear()
{
    m_session.store.clear();
    m_session.bookmarks.trim(m_session.store.first());
    for (const Tab& tab : m_models)
        tab.model->cleared();
    showCounts();
}

void TraceWindow::toggleBookmark()
{
    const QModelIndex current = table()->view()->currentIndex();
    if (!current.isValid())
        return;
    m_session.bookmarks.toggle(model()->view().number(static_cast<size_t>(current.row())));
    restyle();
}

void TraceWindow::goToBookmark(bool forwards)
{
    const trace::View& view = model()->view();
    const QModelIndex current = table()->view()->currentIndex();
    const std::optional<uint64_t> from =
        current.isValid() ? std::optional(view.number(static_cast<size_t>(current.row())))
                          : std::nullopt;
    const std::optional<uint64_t> number =
        forwards ? m_session.bookmarks.next(view, from) : m_session.bookmarks.previous(view, from);
    if (const auto row = number ? view.row_of(*number) : std::nullopt)
        table()->goToRow(static_cast<int>(*row));
    else
        statusBar()->showMessage(tr("No bookmark is shown"), 5000);
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
    try
    {
        // What a changed filter hasn't got to yet is shown too, in a moment.
        while (!model()->update())
        {
        }
        const std::string name = path.toStdString();
        const uint64_t count = all ? trace::save_all(name, m_session.store)
                                   : trace::save_shown(name, m_session.store, model()->view(),
                                                       {.time = m_session.time});
        statusBar()->showMessage(tr("Saved %1 records to %2").arg(count).arg(lineOf(name)), 10000);
        return true;
    }
    catch (const trace::Failure& failure)
    {
        statusBar()->showMessage(tr("Not saved: %1").arg(lineOf(failure.what())));
        return false;
    }
}

void TraceWindow::askAndSave(bool all)
{
    const QString path = QFileDialog::getSaveFileName(
        this, all ? tr("Save all records that are kept") : tr("Save the records that are shown"),
        QString::fromStdString(trace::free_name(all ? "all" : "shown")));
    if (!path.isEmpty())
        save(path, all);
}

qt_table::TraceTable* TraceWindow::table() const
{
    return static_cast<qt_table::TraceTable*>(m_tabs->currentWidget());
}

RecordModel* TraceWindow::model() const
{
    return m_models[static_cast<size_t>(m_tabs->currentIndex())].model;
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
