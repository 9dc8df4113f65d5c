// The file of a viewer's settings (view_settings.h).
//
// It is replaced as a whole, so that neither another viewer nor the end of this one can leave a
// part of it. A file of a later version is never overwritten; a damaged one is kept beside the new
// one.
#pragma once

#include <string>
#include <vector>

#include "view_settings.h"

namespace trace
{

// The path of the settings with this name: NAME.views in $XDG_CONFIG_HOME/plinth
// (~/.config/plinth), on Windows in %APPDATA%\plinth. Fails if the name can't be that of a file, or
// if the system names no such folder.
std::string settings_path(const std::string& name);

// The names of the existing settings, sorted.
std::vector<std::string> settings_names();

struct LoadedSettings
{
    ViewerSettings settings{};
    std::string problem{}; // for people: why these are not the file's settings; empty if they are
};

// Only reads. A missing file has no views, and no problem.
LoadedSettings load_settings(const std::string& path);

// Returns a message for the user if a damaged file was kept, with its path; else empty. Fails, with
// the reason, if the settings can't be saved; the file is then unchanged. path: UTF-8.
std::string save_settings(const std::string& path, const ViewerSettings& settings);

} // namespace trace
