#include "view_page.h"

#include <algorithm>

#include <QLineEdit>
#include <QMenu>
#include <QVBoxLayout>

#include "cell_text.h"
#include "column_choice.h"
#include "pattern_field.h"
#include "text_shape.h"

namespace trace_window
{

namespace
{

constexpr const char* raw_setting = "table.raw";
constexpr const char* by_process_setting = "table.by-process";
constexpr const char* search_setting = "table.search";

bool isOn(const trace::OpaqueSettings& settings, const char* name)
{
    const auto found = settings.find(name);
    return found != settings.end() && found->second == "1";
}

template <class Values> void append(Values& values, const Values& more)
{
    values.insert(values.end(), more.begin(), more.end());
}

} // namespace

ViewPage::ViewPage(Session& session, trace::Filter common, const QString& name)
    : m_common(std::move(common)), m_name(name), m_bar(new FilterBar),
      m_table(new RecordTable(session)), m_strip(new TimelineStrip(m_table->rows().view()))
{
    m_columns = new ColumnChoice(*m_table);
    m_table->putAbove(m_strip);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_bar);
    layout->addWidget(m_table, 1);
    setFocusProxy(m_table);
    applyFilter();
    connect(m_bar, &FilterBar::filterChanged, this,
            [this]
            {
                m_automatic = false;
                applyFilter();
                emit filterChanged();
            });
    connect(m_bar, &FilterBar::highlightsChanged, this, &ViewPage::applyStyle);
    connect(m_strip, &TimelineStrip::recordClicked, m_table, &RecordTable::choose);
    connect(m_table, &qt_table::TraceTable::contextMenuAboutToShow, this,
            [this](QMenu* menu)
            {
                if (const auto row = m_table->menuRow())
                    addCommands(*menu, *row, m_table->menuWord());
            });
}

trace::ViewSettings ViewPage::settings() const
{
    trace::ViewSettings settings;
    settings.name = m_name.toStdString();
    settings.others = m_others;
    m_bar->writeTo(settings);
    m_bar->addInvalid(settings);
    m_columns->writeTo(settings);
    settings.others[raw_setting] = m_raw ? "1" : "0";
    settings.others[by_process_setting] = m_byProcess ? "1" : "0";
    settings.others[search_setting] = m_table->searchText().toStdString();
    return settings;
}

QString ViewPage::apply(const trace::ViewSettings& settings)
{
    m_others = settings.others;
    m_raw = isOn(m_others, raw_setting);
    m_byProcess = isOn(m_others, by_process_setting);
    QString problem = m_bar->setSettings(settings);
    m_columns->apply(settings);
    applyFilter();
    applyStyle();
    if (const auto search = m_others.find(search_setting); search != m_others.end())
        m_table->search(QString::fromStdString(search->second));
    return problem;
}

trace::Filter ViewPage::filter() const
{
    trace::ViewSettings settings;
    m_bar->writeTo(settings);
    trace::Filter filter = trace::filter_of(settings);
    append(filter.match, m_common.match);
    append(filter.excluded_processes, m_common.excluded_processes);
    if (filter.windows.empty())
        filter.windows = m_common.windows;
    if (filter.processes.empty())
        filter.processes = m_common.processes;
    return filter;
}

void ViewPage::applyFilter()
{
    m_table->setFilter(filter());
}

void ViewPage::applyStyle()
{
    trace::ViewSettings settings;
    m_bar->writeTo(settings);
    RowStyle style{.highlights = trace::highlights_of(settings)};
    for (const trace::HighlightSetting& each : settings.highlights)
        style.colours.push_back(each.colour);
    style.byProcess = m_byProcess;
    style.form = m_raw ? trace::TextForm::raw : trace::TextForm::plain;
    m_strip->setHighlights(style.highlights, style.colours);
    m_table->setStyle(std::move(style));
}

double ViewPage::advance(Session::Clock::duration longest)
{
    const double progress = m_table->advance(longest);
    if (m_strip->isVisibleTo(this))
        m_strip->advance(longest);
    return progress;
}

void ViewPage::setRaw(bool raw)
{
    m_raw = raw;
    applyStyle();
}

bool ViewPage::isRaw() const
{
    return m_raw;
}

void ViewPage::setByProcess(bool byProcess)
{
    m_byProcess = byProcess;
    applyStyle();
}

bool ViewPage::isByProcess() const
{
    return m_byProcess;
}

// ---- from the record under the mouse

void ViewPage::change(const std::function<void(trace::ViewSettings&)>& how)
{
    trace::ViewSettings changed = settings();
    how(changed);
    m_automatic = false;
    m_bar->setSettings(changed);
    applyFilter();
    applyStyle();
    emit filterChanged();
}

void ViewPage::addForProcess(QMenu& menu, const trace::RecordView& record)
{
    if (record.process == 0)
        return;
    const std::string who = std::to_string(record.process);
    menu.addAction(tr("Only this &process"), this,
                   [this, who]
                   { change([&](trace::ViewSettings& view) { view.processes = {who}; }); });
    menu.addAction(tr("Without this p&rocess"), this,
                   [this, who]
                   { change([&](auto& view) { view.excluded_processes.push_back(who); }); });
    const QString title = shownText(record.name) + u' ' + QString::fromStdString(who);
    menu.addAction(tr("New view of this process"), this,
                   [this, who, title]
                   {
                       trace::ViewSettings view = settings();
                       view.processes = {who};
                       emit viewAsked(title, view);
                   });
}

void ViewPage::addForWindow(QMenu& menu, const trace::RecordView& record)
{
    if (record.window == trace::no_window)
        return;
    const int32_t window = record.window;
    menu.addAction(tr("Only this &window"), this,
                   [this, window]
                   { change([&](trace::ViewSettings& view) { view.windows = {window}; }); });
}

void ViewPage::addCommands(QMenu& menu, int row, const QString& word)
{
    const trace::RecordView record = m_table->rows().record(row);
    menu.addSeparator();
    addForProcess(menu, record);
    addForWindow(menu, record);
    const std::string like = trace::expression_like(record.text);
    menu.addAction(tr("With&out texts like this"), this,
                   [this, like] { m_bar->exclude()->add(like); });
    menu.addAction(tr("Only texts l&ike this"), this,
                   [this, like] { m_bar->include()->setTexts({like}); });
    if (!word.isEmpty())
    {
        const std::string marked = trace::literal(word.toStdString());
        menu.addAction(tr("&Mark \"%1\"").arg(QString(word).replace(u'&', QLatin1String("&&"))),
                       this, [this, marked] { m_bar->highlight()->add(marked); });
    }
}

} // namespace trace_window
