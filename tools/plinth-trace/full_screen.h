// The full screen of watch and log. The Windows build has none, since the library that it needs is
// not available there.
#pragma once

#include <memory>
#include <string>

#include "options.h"
#include "source.h"
#include "view_options.h"

namespace trace
{

// Whether standard input and output are a terminal that can show it. If only the kind of the
// terminal prevents it, a message on standard error reports it.
bool can_have_full_screen();

// Takes the option that names the user's own views.
std::string take_views_name(Options& options);
extern const char* const views_help;

// Shows the records of the source until the user ends it; returns the exit code. views: the name of
// the settings that hold the views. Fails if the terminal or the output file can't be used.
int run_full_screen(const ViewOptions& options, std::unique_ptr<Source> source,
                    const std::string& views);

} // namespace trace
