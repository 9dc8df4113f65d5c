#include "full_screen.h"

namespace trace
{

const char* const views_help = "  --views NAME       on a terminal keep views of your own under "
                               "this name (default: terminal)\n";

std::string take_views_name(Options& options)
{
    return options.take_value("--views").value_or("terminal");
}

} // namespace trace
