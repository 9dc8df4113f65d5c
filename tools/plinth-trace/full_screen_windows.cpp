#include "failure.h"
#include "full_screen.h"

namespace trace
{

bool can_have_full_screen()
{
    return false;
}

int run_full_screen(const ViewOptions&, std::unique_ptr<Source>, const std::string&)
{
    throw Failure(exit_failed, "there is no full screen on this system");
}

} // namespace trace
