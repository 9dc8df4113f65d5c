#include "settings_merge.h"

#include <utility>

namespace trace
{

namespace
{

// Among several views with the same name, the first corresponds to the first, and so on.
using Key = std::pair<std::string, size_t>;
using Views = std::vector<std::pair<Key, const ViewSettings*>>;
using Known = std::map<Key, const ViewSettings*>;

Views keyed(const ViewerSettings& settings)
{
    Views views;
    std::map<std::string, size_t> count;
    for (const ViewSettings& view : settings.views)
        views.emplace_back(Key(view.name, count[view.name]++), &view);
    return views;
}

Known known(const Views& views)
{
    return {views.begin(), views.end()};
}

// Null if there is none.
const ViewSettings* find(const Known& views, const Key& key)
{
    const auto found = views.find(key);
    return found == views.end() ? nullptr : found->second;
}

bool is_changed(const ViewSettings* before, const ViewSettings* now)
{
    return !before || !now ? before != now : !(*before == *now);
}

void merge_others(OpaqueSettings& into, const OpaqueSettings& before, const OpaqueSettings& now)
{
    for (const auto& [name, value] : now)
        if (const auto old = before.find(name); old == before.end() || old->second != value)
            into[name] = value;
    for (const auto& [name, value] : before)
        if (!now.contains(name))
            into.erase(name);
}

} // namespace

ViewerSettings merged(const ViewerSettings& file, const ViewerSettings& before,
                      const ViewerSettings& now)
{
    if (file == before || file.views.empty()) // the file was not changed, or it was removed
        return now;
    const Views theirs = keyed(file);
    const Views mine = keyed(now);
    const Known known_before = known(keyed(before));
    const Known known_theirs = known(theirs);
    const Known known_mine = known(mine);
    ViewerSettings out{.others = file.others};
    for (const auto& [key, view] : theirs)
    {
        const ViewSettings* const my_view = find(known_mine, key);
        if (!is_changed(find(known_before, key), my_view))
            out.views.push_back(*view);
        else if (my_view) // otherwise it was closed here
            out.views.push_back(*my_view);
    }
    for (const auto& [key, view] : mine)
        if (!find(known_theirs, key) && is_changed(find(known_before, key), view))
            out.views.push_back(*view);
    merge_others(out.others, before.others, now.others);
    return out;
}

} // namespace trace
