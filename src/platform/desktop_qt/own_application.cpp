// The process is the program's, not ours: its signals don't come to this thread, and its locale,
// which Qt sets to the environment's with the first application object, is set back at once.
//
// The program's end is the end of this thread as well. Qt's static objects may not go before it, so
// the thread is stopped by a function that is registered after they were made.
#include "own_application.h"

#include <chrono>
#include <clocale>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QStandardItemModel>

#include "qt_platform.h"
#include "table/trace_table.h"

namespace desktop_qt
{

namespace
{

using namespace std::chrono_literals;

constexpr auto startLimit = 30s; // the thread can't load anything while a module is being loaded
constexpr auto stopLimit = 3s;
constexpr auto holdLimit = 200ms; // from the end of the main thread to that of the process

enum class Stage
{
    none,
    starting,
    running,
    ending,
    ended
};

struct Thread
{
    std::mutex lock; // guards all below
    std::condition_variable changed;
    Stage stage = Stage::none;
    bool stopping = false;
    bool held = false; // until it is stopped
    std::thread::id id;
};

// Never destroyed: it is asked at the very end of the process.
Thread& own()
{
    static Thread& only = *new Thread;
    return only;
}

void reach(Stage stage)
{
    const std::lock_guard guard(own().lock);
    own().stage = stage;
    own().changed.notify_all();
}

bool isWaitedFor()
{
    const std::lock_guard guard(own().lock);
    return !own().stopping;
}

// Qt sets the locale with the first application object of the process alone. The plain one is made
// and gone in a moment, so that the program's numbers hardly ever look different to other threads.
void keepLocaleFromQt(int& argc, char** argv)
{
    const std::string kept = std::setlocale(LC_ALL, nullptr);
    const QtMessageHandler former =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    {
        const QCoreApplication first(argc, argv);
    }
    qInstallMessageHandler(former); // that a locale isn't UTF-8 is no news of this program's
    std::setlocale(LC_ALL, kept.c_str());
}

void stop()
{
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    if (std::exchange(thread.stopping, true))
        return;
    thread.changed.notify_all(); // it may be held
    if (thread.stage == Stage::running)
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { QCoreApplication::exit(); }, Qt::QueuedConnection);
    thread.changed.wait_for(guard, stopLimit, [&] { return thread.stage == Stage::ended; });
}

// The C++ run-time library's own interface below static objects: what is registered under a key can
// be taken back by it, which runs it.
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* key);
extern "C" void __cxa_finalize(void* key);

// Makes stop() the first of all that happens at the end of the process. Called on the thread
// itself, whenever it has handled what there was: static objects that were made after the last time
// would be destroyed before it stops, under its feet, and Qt makes many when it first needs them.
void registerStop()
{
    static char key;
    __cxa_finalize(&key);
    __cxa_atexit(
        [](void*)
        {
            if (own().id != std::this_thread::get_id()) // there it was only taken back
                stop();
        },
        nullptr, &key);
}

// Most of what drawing needs is made before there is a window: few processes then end amid that.
void drawOnce()
{
    QStandardItemModel model(2, 2);
    model.setItem(0, 0, new QStandardItem(QStringLiteral("x")));
    qt_table::TraceTable table;
    table.setModel(&model);
    table.grab();
}

// Keeps the thread from making anything more that it would miss, until it is stopped, or until it
// is clear that one thread alone has ended.
void hold()
{
    registerStop();
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    thread.held = true;
    thread.changed.notify_all();
    thread.changed.wait_for(guard, holdLimit, [&] { return thread.stopping; });
    thread.held = false;
}

// Qt's first use is here: the first thread that uses it is the one it takes for its main thread.
void run(unsigned displays, void (*started)())
{
    pthread_setname_np(pthread_self(), "plinth-desktop");
    std::string name = program_invocation_name;
    std::string option = "-platform";
    char* arguments[] = {name.data(), nullptr, nullptr, nullptr};
    int count = 1;
    keepLocaleFromQt(count, arguments);
    std::string platforms = usablePlatforms(displays);
    if (!platforms.empty())
    {
        arguments[count++] = option.data();
        arguments[count++] = platforms.data();
        const QApplication application(count, arguments);
        QApplication::setQuitOnLastWindowClosed(false);
        if (isWaitedFor())
        {
            drawOnce();
            registerStop();
            QObject::connect(QAbstractEventDispatcher::instance(),
                             &QAbstractEventDispatcher::aboutToBlock, &application, registerStop);
            started();
            reach(Stage::running);
            QApplication::exec();
            reach(Stage::ending);
        }
    }
    reach(Stage::ended);
    // Qt takes one reference too many from its record of its main thread when that is none that Qt
    // started, and ends; its static objects still use the record. So this thread stays until the
    // process has gone.
    for (;;)
        pause();
}

// Signals of the process are for the program's threads.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_former);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }

private:
    sigset_t m_former;
};

} // namespace

bool startOwnApplication(unsigned displays, void (*started)())
{
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    thread.stage = Stage::starting;
    try
    {
        const SignalsBlocked blocked;
        std::thread made(run, displays, started);
        thread.id = made.get_id();
        made.detach();
    }
    catch (const std::exception&)
    {
        return false;
    }
    thread.changed.wait_for(guard, startLimit, [&] { return thread.stage != Stage::starting; });
    const bool running = thread.stage == Stage::running;
    thread.stopping = !running;
    return running;
}

void awaitEndWithOwnApplication()
{
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    if (thread.stage != Stage::running || thread.id == std::this_thread::get_id())
        return;
    QMetaObject::invokeMethod(QCoreApplication::instance(), hold, Qt::QueuedConnection);
    thread.changed.wait_for(guard, stopLimit,
                            [&] { return thread.held || thread.stage != Stage::running; });
}

} // namespace desktop_qt
