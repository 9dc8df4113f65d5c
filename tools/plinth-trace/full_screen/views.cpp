#include "full_screen/views.h"

#include <algorithm>

#include "failure.h"

namespace trace::full_screen
{

std::string Views::open(const std::string& name)
{
    m_set = name;
    m_settings = {};
    m_path.clear();
    try
    {
        m_path = name.find('/') == std::string::npos ? settings_path(name) : name;
        LoadedSettings loaded = load_settings(m_path);
        m_settings = std::move(loaded.settings);
        return loaded.problem;
    }
    catch (const Failure& failure)
    {
        return failure.what();
    }
}

std::string Views::save(const ViewSettings& view)
{
    if (m_path.empty())
        throw Failure(exit_failed, "there is no folder for settings");
    ViewerSettings now = load_settings(m_path).settings;
    const auto same =
        std::find_if(now.views.begin(), now.views.end(),
                     [&](const ViewSettings& each) { return each.name == view.name; });
    if (same == now.views.end())
        now.views.push_back(view);
    else
        *same = view;
    std::string news = save_settings(m_path, now);
    m_settings = std::move(now);
    return news;
}

std::optional<size_t> Views::find(const std::string& name) const
{
    const auto found = std::find_if(all().begin(), all().end(),
                                    [&](const ViewSettings& each) { return each.name == name; });
    if (found == all().end())
        return std::nullopt;
    return static_cast<size_t>(found - all().begin());
}

} // namespace trace::full_screen
