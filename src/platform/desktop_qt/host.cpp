#include "host.h"

namespace desktop_qt
{

namespace
{

const PlinthDesktopHost* g_host = nullptr; // set once, before the thread of the widgets is used

} // namespace

void setHost(const PlinthDesktopHost& host)
{
    g_host = &host;
}

const PlinthDesktopHost& host()
{
    return *g_host;
}

} // namespace desktop_qt
