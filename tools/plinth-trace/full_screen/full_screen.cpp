#include "full_screen.h"

#include "failure.h"
#include "full_screen/viewer.h"
#include "keyboard.h"
#include "note.h"

namespace trace
{

bool can_have_full_screen()
{
    if (!Keyboard::is_there())
        return false;
    const std::string obstacle = full_screen::TerminalSession::obstacle();
    if (!obstacle.empty())
        note("no full screen: " + obstacle);
    return obstacle.empty();
}

int run_full_screen(const ViewOptions& options, std::unique_ptr<Source> source,
                    const std::string& views)
{
    full_screen::Viewer(options, std::move(source), views).run();
    return exit_done;
}

} // namespace trace
