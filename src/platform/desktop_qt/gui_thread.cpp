#include "gui_thread.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include <QApplication>
#include <QThread>

#include "own_application.h"

namespace desktop_qt
{

namespace
{

struct Gui
{
    // Guards the receiver's lifetime; while it is held only Qt's own locks are taken.
    std::mutex lock;
    QObject* receiver = nullptr; // of posted functions; null before the start and after the end
    std::atomic<QThread*> thread{nullptr};
    void (*farewell)() = nullptr; // set before the start
};

// Never destroyed: threads may post until the very end of the process.
Gui& gui()
{
    static Gui& only = *new Gui;
    return only;
}

// Runs at the beginning of the application object's end, on its thread.
void end()
{
    QObject* receiver = nullptr;
    {
        const std::lock_guard guard(gui().lock);
        receiver = std::exchange(gui().receiver, nullptr);
    }
    gui().farewell();
    delete receiver; // with the posted functions that did not run
}

void receiveOn(QThread* thread)
{
    qAddPostRoutine(end);
    auto* const receiver = new QObject;
    receiver->moveToThread(thread);
    gui().thread = thread;
    const std::lock_guard guard(gui().lock);
    gui().receiver = receiver;
}

} // namespace

bool startGui(unsigned displays, void (*farewell)())
{
    gui().farewell = farewell;
    if (!QCoreApplication::instance())
        return startOwnApplication(displays, [] { receiveOn(QThread::currentThread()); });
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    receiveOn(QCoreApplication::instance()->thread());
    return true;
}

bool postToGui(std::function<void()> function)
try
{
    const std::lock_guard guard(gui().lock);
    return gui().receiver &&
           QMetaObject::invokeMethod(gui().receiver, std::move(function), Qt::QueuedConnection);
}
catch (const std::bad_alloc&)
{
    return false;
}

bool isGuiThread()
{
    return QThread::currentThread() == gui().thread;
}

} // namespace desktop_qt
