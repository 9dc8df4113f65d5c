// The stand-in calls these functions on any thread. They pass each call to the widgets' thread.
// All calls except message boxes are posted there, in order, with copies of what they need.
#include <new>

#include "gui_thread.h"
#include "host.h"
#include "message_dialog.h"
#include "mirror.h"
#include "own_application.h"
#include "texts.h"
#include "user32/desktop.h"

namespace
{

using namespace desktop_qt;

// A call that can't be posted for lack of memory is lost.
template <class Function> void post(Function function)
{
    try
    {
        postToGui(std::move(function));
    }
    catch (const std::bad_alloc&)
    {
    }
}

void windowCreated(const PlinthWindowInfo* info)
try
{
    post(
        [window = info->window, parent = info->parent, kind = fromWide(info->class_name),
         title = fromWide(info->title), style = info->style, place = info->place] {
            mirror().add({window, parent, kind, title, style, place});
        });
}
catch (const std::bad_alloc&)
{
}

void windowDestroyed(HWND window)
{
    post([window] { mirror().remove(window); });
}

void titleChanged(HWND window, const wchar_t* title)
try
{
    post([window, text = fromWide(title)] { mirror().setTitle(window, text); });
}
catch (const std::bad_alloc&)
{
}

void placeChanged(HWND window, const RECT* place)
{
    post([window, to = *place] { mirror().place(window, to); });
}

void visibilityChanged(HWND window, BOOL visible)
{
    post([window, visible] { mirror().setVisible(window, visible != FALSE); });
}

void rowsChanged(HWND list)
{
    post([list] { mirror().rowsChanged(list); });
}

int messageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type)
try
{
    return askUser({owner, fromWide(text), fromWide(caption), type});
}
catch (const std::bad_alloc&)
{
    return 0;
}

void farewell()
{
    closeMessageBoxes();
    mirror().removeAll();
}

constexpr PlinthDesktop desktop = {
    sizeof(PlinthDesktop), windowCreated, windowDestroyed,
    titleChanged,          placeChanged,  visibilityChanged,
    rowsChanged,           messageBox,    awaitEndWithOwnApplication};

} // namespace

extern "C" Q_DECL_EXPORT const PlinthDesktop* PlinthDesktopStart(const PlinthDesktopHost* host,
                                                                 unsigned displays)
{
    if (host->size != sizeof(PlinthDesktopHost))
        return nullptr;
    setHost(*host);
    return startGui(displays, farewell) ? &desktop : nullptr;
}
