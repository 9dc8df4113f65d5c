// The process belongs to the program: its signals are not delivered to this thread, and its locale,
// which Qt sets from the environment with the first application object, is restored at once.
//
// The end of the program also ends this thread. Qt's static objects must not be destroyed before
// that, so the thread is stopped by a function that is registered after they were made.
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

constexpr auto start_limit = 30s; // the thread can't load anything while a module is being loaded
constexpr auto stop_limit = 3s;
constexpr auto hold_limit = 200ms; // from the end of the main thread to that of the process

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
    std::mutex lock; // guards the members below
    std::condition_variable changed;
    Stage stage = Stage::none;
    bool stopping = false;
    bool held = false; // the thread is held until it is stopped
    std::thread::id id;
};

// Never destroyed: it is used at the very end of the process.
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

// Qt sets the locale only with the first application object of the process. This plain one exists
// only for a moment, so that other threads hardly ever see numbers in another format.
void keepLocaleFromQt(int& argc, char** argv)
{
    const std::string kept = std::setlocale(LC_ALL, nullptr);
    const QtMessageHandler former =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    {
        const QCoreApplication first(argc, argv);
    }
    qInstallMessageHandler(former); // hides a warning that the locale isn't UTF-8
    std::setlocale(LC_ALL, kept.c_str());
}

void stop()
{
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    if (std::exchange(thread.stopping, true))
        return;
    thread.changed.notify_all(); // the thread may be held
    if (thread.stage == Stage::running)
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [] { QCoreApplication::exit(); }, Qt::QueuedConnection);
    thread.changed.wait_for(guard, stop_limit, [&] { return thread.stage == Stage::ended; });
}

// The C++ run-time library's own interface for destroying static objects. __cxa_finalize takes back
// what is registered under a key, and runs it.
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* key);
extern "C" void __cxa_finalize(void* key);

// Makes stop() the first function that runs at the end of the process. Called on the thread itself,
// each time it has handled all events: static objects that were made after the last call would be
// destroyed before the thread stops, while it still uses them, and Qt makes many at first use.
void registerStop()
{
    static char key;
    __cxa_finalize(&key);
    __cxa_atexit(
        [](void*)
        {
            if (own().id != std::this_thread::get_id()) // on this thread it was only taken back
                stop();
        },
        nullptr, &key);
}

// Makes most of what drawing needs before there is a window: then few processes end while it is
// being made.
void drawOnce()
{
    QStandardItemModel model(2, 2);
    model.setItem(0, 0, new QStandardItem(QStringLiteral("x")));
    qt_table::TraceTable table;
    table.setModel(&model);
    table.grab();
}

// Holds the thread, so that it makes no more static objects that would be destroyed too early,
// until it is stopped or until it is clear that only the main thread has ended, not the process.
void hold()
{
    registerStop();
    Thread& thread = own();
    std::unique_lock guard(thread.lock);
    thread.held = true;
    thread.changed.notify_all();
    thread.changed.wait_for(guard, hold_limit, [&] { return thread.stopping; });
    thread.held = false;
}

// Qt's first use is here: Qt takes the first thread that uses it for its main thread.
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
    // Qt releases one reference too many to its record of its main thread when a main thread that
    // Qt did not start ends; its static objects still use the record. So this thread never ends
    // before the process does.
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
    thread.changed.wait_for(guard, start_limit, [&] { return thread.stage != Stage::starting; });
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
    thread.changed.wait_for(guard, stop_limit,
                            [&] { return thread.held || thread.stage != Stage::running; });
}

} // namespace desktop_qt
