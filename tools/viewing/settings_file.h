// The file in which a viewer's settings are (view_settings.h).
//
// It is replaced as a whole, so that another viewer, or the end of this one, never leaves a part. A
// file of a later version is never overwritten; one that is damaged is kept beside the new one.
#pragma once

#include <string>
#include <vector>

#include "view_settings.h"

namespace trace
{

// Where the settings with this name are: NAME.views in $XDG_CONFIG_HOME/plinth (~/.config/plinth),
// on Windows in %APPDATA%\plinth. Failure for what can't be the name of a file, or if the system
// names no such folder.
std::string settings_path(const std::string& name);

// The names of the settings that are there, sorted.
std::vector<std::string> settings_names();

struct LoadedSettings
{
    ViewerSettings settings{};
    std::string problem{}; // for people: why these are not what the file has; empty if they are
};

// Changes nothing. A file that is missing has no views, and no problem.
LoadedSettings load_settings(const std::string& path);

// Gives what the user should know: that a damaged file was kept, and where. Else empty. Failure,
// with the reason, if the settings can't be saved; the file is then as it was. path: UTF-8.
std::string save_settings(const std::string& path, const ViewerSettings& settings);

} // namespace trace
