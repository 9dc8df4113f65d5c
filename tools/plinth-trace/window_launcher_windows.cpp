#include "window_launcher.h"

#include "failure.h"

namespace trace
{

void become_viewer(const std::vector<std::string>&)
{
    throw Failure(exit_no_window, "there is no viewer with a window for this system yet; "
                                  "plinth-trace watch shows records in a console");
}

} // namespace trace
