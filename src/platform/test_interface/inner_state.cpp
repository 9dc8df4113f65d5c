// What tests see or replace of the stand-in's state.
#include <plinth_platform_test.h>

#include "system/root.h"
#include "user32/desktop.h"

using namespace platform;

extern "C" const char* PlinthTestSharedFolder(void)
{
    return shared_folder().c_str();
}

extern "C" const PlinthDesktopHost* PlinthTestAttachDesktop(const PlinthDesktop* desktop)
{
    return attach_desktop(*desktop) ? &desktop_host : nullptr;
}
