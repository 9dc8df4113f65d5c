#include "window_commands.h"

#include <QActionGroup>
#include <QComboBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFontDialog>
#include <QInputDialog>
#include <QMenuBar>
#include <QToolBar>

#include "failure.h"
#include "output_file.h"
#include "settings_file.h"
#include "trace_window.h"
#include "view_area.h"

namespace trace_window
{

namespace
{

struct TimeChoice
{
    trace::TimeMode mode;
    const char* text;
};
constexpr TimeChoice time_choices[] = {
    {trace::TimeMode::absolute, QT_TRANSLATE_NOOP("WindowCommands", "Time of day")},
    {trace::TimeMode::start, QT_TRANSLATE_NOOP("WindowCommands", "Since the start")},
    {trace::TimeMode::previous, QT_TRANSLATE_NOOP("WindowCommands", "Since the previous")},
    {trace::TimeMode::none, QT_TRANSLATE_NOOP("WindowCommands", "No time")},
};

constexpr const char* scheme_names[] = {QT_TRANSLATE_NOOP("WindowCommands", "As the desktop"),
                                        QT_TRANSLATE_NOOP("WindowCommands", "Light"),
                                        QT_TRANSLATE_NOOP("WindowCommands", "Dark")};

} // namespace

WindowCommands::WindowCommands(TraceWindow& window, trace::TimeMode time)
    : QObject(&window), m_window(window)
{
    makeFileMenu();
    makeViewMenu();
    makeLookMenu();
    makeGoMenu();
    makeToolBar(time);
}

QAction* WindowCommands::add(QMenu* menu, const QString& text, const QKeySequence& key)
{
    QAction* const command = menu->addAction(text);
    command->setShortcut(key);
    QString hint = QString(text).remove(u'&').remove(QLatin1String("..."));
    if (!key.isEmpty())
        hint += QLatin1String(" (") + key.toString(QKeySequence::NativeText) + u')';
    command->setToolTip(hint);
    return command;
}

void WindowCommands::makeFileMenu()
{
    QMenu* const menu = m_window.menuBar()->addMenu(tr("&File"));
    m_pause = add(menu, tr("&Pause"), Qt::CTRL | Qt::Key_P);
    m_pause->setCheckable(true);
    connect(m_pause, &QAction::toggled, &m_window, &TraceWindow::setPaused);
    m_clear = add(menu, tr("&Clear"), Qt::CTRL | Qt::Key_L);
    connect(m_clear, &QAction::triggered, &m_window, &TraceWindow::clear);
    menu->addSeparator();
    m_saveShown = add(menu, tr("&Save shown..."), Qt::CTRL | Qt::Key_S);
    connect(m_saveShown, &QAction::triggered, this, [this] { askAndSave(false); });
    connect(add(menu, tr("Save &all..."), Qt::CTRL | Qt::SHIFT | Qt::Key_S), &QAction::triggered,
            this, [this] { askAndSave(true); });
    menu->addSeparator();
    connect(add(menu, tr("&Quit"), QKeySequence::Quit), &QAction::triggered, &m_window,
            &QWidget::close);
}

void WindowCommands::makeViewMenu()
{
    QMenu* const menu = m_window.menuBar()->addMenu(tr("&Views"));
    m_newView = add(menu, tr("&New view"), Qt::CTRL | Qt::Key_T);
    connect(m_newView, &QAction::triggered, this,
            [this] { m_window.area().bringToFront(m_window.addView(tr("View"), {})); });
    connect(add(menu, tr("&Duplicate"), Qt::CTRL | Qt::SHIFT | Qt::Key_T), &QAction::triggered,
            this,
            [this]
            {
                const ViewPage& page = m_window.view();
                m_window.area().bringToFront(m_window.addView(page.name(), page.settings()));
            });
    connect(add(menu, tr("&Close view"), Qt::CTRL | Qt::Key_W), &QAction::triggered, this,
            [this] { m_window.area().remove(m_window.view()); });
    menu->addSeparator();
    m_beside = add(menu, tr("Side &by side"), Qt::CTRL | Qt::Key_D);
    connect(m_beside, &QAction::triggered, this,
            [this] { m_window.area().moveToOtherSide(m_window.view()); });
    m_link = add(menu, tr("&Link views"), Qt::CTRL | Qt::Key_K);
    m_link->setCheckable(true);
    connect(m_link, &QAction::toggled, this,
            [this](bool linked) { m_window.area().setLinked(linked); });
    menu->addSeparator();
    connect(add(menu, tr("&Save views as...")), &QAction::triggered, this,
            &WindowCommands::askName);
    QMenu* const names = menu->addMenu(tr("L&oad views"));
    connect(names, &QMenu::aboutToShow, this, [this, names] { fillNames(*names); });
}

void WindowCommands::makeLookMenu()
{
    QMenu* const menu = m_window.menuBar()->addMenu(tr("&Look"));
    m_raw = add(menu, tr("&Raw text"), Qt::CTRL | Qt::Key_R);
    m_raw->setCheckable(true);
    connect(m_raw, &QAction::triggered, this, [this](bool on) { m_window.view().setRaw(on); });
    m_byProcess = add(menu, tr("Colours by &process"));
    m_byProcess->setCheckable(true);
    connect(m_byProcess, &QAction::triggered, this,
            [this](bool on) { m_window.view().setByProcess(on); });
    m_strip = add(menu, tr("&Strip of records per second"));
    m_strip->setCheckable(true);
    m_strip->setChecked(true);
    connect(m_strip, &QAction::toggled, this, &WindowCommands::setStrip);
    connect(add(menu, tr("&Font...")), &QAction::triggered, this, &WindowCommands::askFont);
    menu->addSeparator();
    auto* const group = new QActionGroup(this);
    for (size_t i = 0; i < std::size(scheme_names); ++i)
    {
        QAction* const choice = add(menu, tr(scheme_names[i]));
        choice->setCheckable(true);
        choice->setChecked(i == 0);
        group->addAction(choice);
        m_schemes.push_back(choice);
        connect(choice, &QAction::triggered, this,
                [this, i] { setScheme(static_cast<Scheme>(i)); });
    }
}

void WindowCommands::makeGoMenu()
{
    QMenu* const menu = m_window.menuBar()->addMenu(tr("&Go"));
    m_find = add(menu, tr("&Find..."));
    m_find->setToolTip(tr("Find (Ctrl+F, or just type)"));
    connect(m_find, &QAction::triggered, this, [this] { m_window.table()->showFindBar(); });
    connect(add(menu, tr("To a &time..."), Qt::CTRL | Qt::Key_G), &QAction::triggered, this,
            &WindowCommands::askTime);
    menu->addSeparator();
    m_bookmark = add(menu, tr("&Bookmark"), Qt::CTRL | Qt::Key_B);
    connect(m_bookmark, &QAction::triggered, &m_window, &TraceWindow::toggleBookmark);
    connect(add(menu, tr("&Previous bookmark"), Qt::SHIFT | Qt::Key_F2), &QAction::triggered, this,
            [this] { m_window.goToBookmark(false); });
    connect(add(menu, tr("&Next bookmark"), Qt::Key_F2), &QAction::triggered, this,
            [this] { m_window.goToBookmark(true); });
}

void WindowCommands::makeToolBar(trace::TimeMode time)
{
    QToolBar* const bar = m_window.addToolBar(tr("Commands"));
    bar->setMovable(false);
    bar->addActions({m_pause, m_clear, m_find, m_bookmark, m_saveShown});
    bar->addSeparator();
    bar->addActions({m_newView, m_beside, m_link, m_raw});
    bar->addSeparator();
    m_time = new QComboBox;
    for (const TimeChoice& choice : time_choices)
        m_time->addItem(tr(choice.text));
    setTime(time);
    connect(m_time, &QComboBox::currentIndexChanged, this,
            [this](int index) { m_window.setTime(time_choices[index].mode); });
    bar->addWidget(m_time);
}

// ---- state

void WindowCommands::showPaused(bool paused)
{
    m_pause->setChecked(paused);
}

void WindowCommands::showStateOf(const ViewPage& page)
{
    m_raw->setChecked(page.isRaw());
    m_byProcess->setChecked(page.isByProcess());
}

void WindowCommands::prepare(ViewPage& page) const
{
    page.strip().setVisible(hasStrip());
    QFont font;
    if (!m_font.isEmpty() && font.fromString(m_font) && QFontDatabase::hasFamily(font.family()))
        page.table().setRowFont(font);
    else
        page.table().setRowFont({});
}

bool WindowCommands::isLinked() const
{
    return m_link->isChecked();
}

void WindowCommands::setLinked(bool linked)
{
    m_link->setChecked(linked);
}

bool WindowCommands::hasStrip() const
{
    return m_strip->isChecked();
}

void WindowCommands::setStrip(bool shown)
{
    m_strip->setChecked(shown);
    for (const ViewPage* const page : m_window.area().pages())
        page->strip().setVisible(shown);
}

void WindowCommands::setScheme(Scheme scheme)
{
    m_scheme = scheme;
    m_schemes[static_cast<size_t>(scheme)]->setChecked(true);
    useScheme(scheme);
}

QString WindowCommands::setFont(const QString& font)
{
    m_font = font;
    for (ViewPage* const page : m_window.area().pages())
        prepare(*page);
    QFont wanted;
    if (font.isEmpty() || (wanted.fromString(font) && QFontDatabase::hasFamily(wanted.family())))
        return {};
    return tr("The font \"%1\" is missing: the desktop's is used").arg(wanted.family());
}

trace::TimeMode WindowCommands::time() const
{
    return time_choices[m_time->currentIndex()].mode;
}

void WindowCommands::setTime(trace::TimeMode mode)
{
    for (size_t i = 0; i < std::size(time_choices); ++i)
        if (time_choices[i].mode == mode)
            m_time->setCurrentIndex(static_cast<int>(i));
}

// ---- questions

void WindowCommands::askAndSave(bool all)
{
    const QString path = QFileDialog::getSaveFileName(
        &m_window,
        all ? tr("Save all records that are kept") : tr("Save the records that are shown"),
        QString::fromStdString(trace::free_name(all ? "all" : "shown")));
    if (path.isEmpty())
        return;
    if (all)
        m_window.saveAll(path);
    else
        m_window.saveShown(path);
}

void WindowCommands::askName()
{
    const QString name = QInputDialog::getText(&m_window, tr("Save views as"), tr("Name"));
    if (name.isEmpty())
        return;
    try
    {
        m_window.saveViews(QString::fromStdString(trace::settings_path(name.toStdString())));
    }
    catch (const trace::Failure& failure)
    {
        m_window.tell(tr("Views not saved: %1").arg(QString::fromUtf8(failure.what())));
    }
}

void WindowCommands::fillNames(QMenu& menu)
{
    menu.clear();
    for (const std::string& name : trace::settings_names())
        menu.addAction(QString::fromStdString(name), this,
                       [this, name]
                       { m_window.loadViews(QString::fromStdString(trace::settings_path(name))); });
    menu.addSeparator();
    menu.addAction(tr("From a &file..."), this,
                   [this]
                   {
                       const QString path = QFileDialog::getOpenFileName(
                           &m_window, tr("Load views"), {}, tr("Views (*.views);;All files (*)"));
                       if (!path.isEmpty())
                           m_window.loadViews(path);
                   });
}

void WindowCommands::askTime()
{
    const QString text = QInputDialog::getText(&m_window, tr("Go to a time"),
                                               tr("As 14:07, 2024-03-05 14:07:33 or 10m (ago)"));
    if (!text.isEmpty())
        m_window.goToTime(text);
}

void WindowCommands::askFont()
{
    bool isChosen = false;
    const QFont font = QFontDialog::getFont(&isChosen, m_window.table()->view()->font(), &m_window);
    if (isChosen)
        setFont(font.toString());
}

} // namespace trace_window
