#include "program_end.h"

#include <exception>

#include "failure.h"
#include "note.h"

namespace trace
{

int end_by_exception()
{
    try
    {
        throw;
    }
    catch (const OutputClosed&)
    {
        return exit_done;
    }
    catch (const Interrupted&)
    {
        return exit_done;
    }
    catch (const Failure& failure)
    {
        note(failure.what());
        return failure.code();
    }
    catch (const std::exception& error)
    {
        note(error.what());
        return exit_failed;
    }
}

} // namespace trace
