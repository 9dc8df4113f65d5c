// The full screen of watch and log. The Windows build has none, since the library that it stands on
// isn't there.
#pragma once

#include <memory>
#include <string>

#include "options.h"
#include "source.h"
#include "view_options.h"

namespace trace
{

// Standard input and output are a terminal that can have it. If only the kind of the terminal is in
// the way, standard error says so.
bool can_have_full_screen();

// Takes the option that names the views of one's own.
std::string take_views_name(Options& options);
extern const char* const views_help;

// Shows the records of the source until the user ends it; gives the exit code. views: the name of
// the settings in which views are. Failure if the terminal or the output file can't be had.
int run_full_screen(const ViewOptions& options, std::unique_ptr<Source> source,
                    const std::string& views);

} // namespace trace
