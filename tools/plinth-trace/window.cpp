// plinth-trace window: records in a window.
#include "commands.h"
#include "view_options.h"
#include "window_launcher.h"

namespace trace
{

static const std::string window_help_text =
    std::string(
        "usage: plinth-trace window [OPTION...]\n"
        "\n"
        "Shows records in a window, with a tab for each window id and a column for each of\n"
        "their tab-separated fields. It ends when the window is closed. Without a display,\n"
        "or if the viewer is not installed, it reports that and ends with exit code 5.\n"
        "\n") +
    view_options_help + log_bounds_help +
    "  --views NAME       keep views, columns and layout under this name (default: window)\n"
    "\n"
    "For scripts:\n"
    "  --screenshot FILE  write a picture of the window (PNG) when it ends\n"
    "  --exit-after S     end after S seconds\n";
const char* const window_help = window_help_text.c_str();

int window(Options& options)
{
    become_viewer(options.rest()); // the viewer reads them
}

} // namespace trace
