// The views that are kept in a settings file, which other viewers use as well.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings_file.h"
#include "view_settings.h"

namespace trace::full_screen
{

class Views
{
public:
    // Reads the set with this name, or, if there is a slash in it, this file. Gives for people what
    // is wrong with it, nothing if all is good.
    std::string open(const std::string& name);

    // Puts the view into the set, in the place of one with its name, and writes the set. What
    // another viewer has written meanwhile stays. Gives what people should know. Failure if it
    // can't be written.
    std::string save(const ViewSettings& view);

    const std::vector<ViewSettings>& all() const { return m_settings.views; }
    std::optional<size_t> find(const std::string& name) const;
    const std::string& set() const { return m_set; } // the name that was opened

private:
    std::string m_set;
    std::string m_path; // empty if the system has no place for it
    ViewerSettings m_settings;
};

} // namespace trace::full_screen
