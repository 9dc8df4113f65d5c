// The views that are kept in a settings file, which other viewers also use.
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
    // Reads the set with this name; a name with a slash is the path of a file. Returns what is
    // wrong with it, for people; empty if nothing is.
    std::string open(const std::string& name);

    // Puts the view into the set, replacing one of the same name, and writes the set. What another
    // viewer has written in the meantime stays. Returns a message for people. Fails if the file
    // can't be written.
    std::string save(const ViewSettings& view);

    const std::vector<ViewSettings>& all() const { return m_settings.views; }
    std::optional<size_t> find(const std::string& name) const;
    const std::string& set() const { return m_set; } // the name that was opened

private:
    std::string m_set;
    std::string m_path; // empty if the system has no place for the settings
    ViewerSettings m_settings;
};

} // namespace trace::full_screen
