// The views of the window: made, kept in the settings, loaded and saved by name.
#include "trace_window.h"

#include <utility>

#include "cell_text.h"
#include "colours.h"
#include "failure.h"
#include "settings_file.h"
#include "settings_merge.h"
#include "view_area.h"
#include "window_commands.h"
#include "window_settings.h"

namespace trace_window
{

void TraceWindow::makeViews()
{
    trace::LoadedSettings loaded;
    if (!m_settingsPath.empty())
        loaded = trace::load_settings(m_settingsPath);
    if (!loaded.problem.empty())
        tell(lineOf(loaded.problem));
    m_kept = loaded.settings;
    const bool isGiven =
        !m_options.include.empty() || !m_options.exclude.empty() || !m_options.highlight.empty();
    if (isGiven || loaded.settings.views.empty())
    {
        ViewPage& first = addView(
            isGiven && !loaded.settings.views.empty() ? tr("As started") : tr("All"), asStarted());
        first.setAutomatic(isGiven); // the options' choice is for this run
    }
    addViews(loaded.settings);
    showFirst();
    m_commands->showStateOf(view());
}

void TraceWindow::showFirst()
{
    m_area->bringToFront(*m_area->pages().front());
}

// The output file gets the records of the first view; another one becomes the first when that one
// is closed or moved.
void TraceWindow::takeOutputFilter()
{
    ViewPage* const first = m_area->pages().front();
    if (m_outputView == first)
        return;
    disconnect(m_outputFilterChanged);
    m_outputView = first;
    const auto take = [this, first] { m_session.outputFilter = first->filter(); };
    m_outputFilterChanged = connect(first, &ViewPage::filterChanged, this, take);
    take();
}

trace::ViewSettings TraceWindow::asStarted() const
{
    trace::ViewSettings settings;
    settings.include = m_options.include;
    settings.exclude = m_options.exclude;
    for (const std::string& each : m_options.highlight)
        settings.highlights.push_back({each, highlightColour(settings.highlights.size())});
    return settings;
}

ViewPage& TraceWindow::addView(const QString& name, const trace::ViewSettings& settings, int side)
{
    trace::Filter common = m_options.filter;
    common.include.clear(); // these two are in the first view's fields
    common.exclude.clear();
    auto* const page = new ViewPage(m_session, std::move(common), name);
    page->table().rows().setPaused(m_paused);
    const QString problem = page->apply(settings);
    if (!problem.isEmpty())
        tell(problem);
    m_commands->prepare(*page);
    m_area->add(page, side);
    connect(page, &ViewPage::filterChanged, this, &TraceWindow::step);
    connect(page, &ViewPage::viewAsked, this,
            [this, page](const QString& title, const trace::ViewSettings& wanted)
            { m_area->bringToFront(addView(title, wanted, m_area->sideOf(*page))); });
    return *page;
}

ViewPage& TraceWindow::addViewOfWindow(int32_t window)
{
    trace::ViewSettings settings;
    settings.windows = {window};
    ViewPage& page = addView(tr("Window %1").arg(window), settings);
    page.setAutomatic(true);
    return page;
}

void TraceWindow::addViews(const trace::ViewerSettings& settings)
{
    for (const trace::ViewSettings& each : settings.views)
        addView(QString::fromStdString(each.name), each, sideIn(each));
    if (const QString problem = showLayout(*this, *m_commands, settings.others); !problem.isEmpty())
        tell(problem);
    if (m_options.time)
        m_commands->setTime(*m_options.time);
}

trace::ViewerSettings TraceWindow::settings() const
{
    trace::ViewerSettings settings{.others = m_kept.others};
    for (const ViewPage* const page : m_area->pages())
        if (!page->isAutomatic())
        {
            settings.views.push_back(page->settings());
            writeSide(settings.views.back(), m_area->sideOf(*page));
        }
    writeLayout(*this, *m_commands, settings.others);
    return settings;
}

bool TraceWindow::saveViews(const QString& path)
{
    return told(tr("Views not saved: %1"),
                [&]
                {
                    const std::string news = trace::save_settings(path.toStdString(), settings());
                    tell(news.empty() ? tr("Saved the views to %1").arg(lineOf(path.toStdString()))
                                      : lineOf(news));
                });
}

bool TraceWindow::loadViews(const QString& path)
{
    const trace::LoadedSettings loaded = trace::load_settings(path.toStdString());
    if (!loaded.problem.empty() || loaded.settings.views.empty())
    {
        tell(
            tr("Views not loaded: %1")
                .arg(loaded.problem.empty() ? tr("there are none in it") : lineOf(loaded.problem)));
        return false;
    }
    m_area->clear();
    m_automatic = 0;
    addViews(loaded.settings);
    showFirst();
    m_fresh.assign(m_session.windows.begin(), m_session.windows.end());
    step();
    return true;
}

void TraceWindow::keepSettings()
{
    if (m_settingsPath.empty())
        return;
    const trace::ViewerSettings now = settings();
    if (now == m_kept)
        return;
    // Also set if saving fails: one message is enough.
    const trace::ViewerSettings before = std::exchange(m_kept, now);
    told(tr("Views and layout are not kept: %1"),
         [&]
         {
             // Another window may have written the file meanwhile.
             const trace::ViewerSettings file = trace::load_settings(m_settingsPath).settings;
             const std::string news =
                 trace::save_settings(m_settingsPath, trace::merged(file, before, now));
             if (!news.empty())
                 tell(lineOf(news));
         });
}

} // namespace trace_window
