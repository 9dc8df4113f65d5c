// State of the stand-in that tests read or replace.
#include <plinth_platform_test.h>

#include "kernel32/object/handle_table.h"
#include "system/root.h"

using namespace platform;

extern "C" const char* PlinthTestSharedFolder(void)
{
    return shared_folder().c_str();
}

extern "C" unsigned PlinthTestHandles(void)
{
    return handles_in_use();
}
