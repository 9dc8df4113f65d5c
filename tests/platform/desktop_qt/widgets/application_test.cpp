// Beside an application that runs Qt itself: its thread is that of the windows.
#include <cerrno>
#include <future>

#include <QTimer>

#include <plinth_platform_test.h>

#include "shown_windows.h"

// What Qt itself keeps to the end of the process isn't ours, and now and then the leak check finds
// no way to it. This also looks past what ours allocates while Qt calls it; the programs of the
// folder loading, where the plug-in is alone with Qt, do look at that.
#if defined(__SANITIZE_ADDRESS__)
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:__cxa_thread_atexit_impl\nleak:libQt6Core\n";
}
#endif

namespace
{

using test::eventually;
using test::ListWindow;
using test::shown;

using ApplicationWithQt = test::WithOwnQt;

// As soon as a box with the caption is there.
void answer_later(const char* caption, const char* label)
{
    auto* const timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer,
                     [=]
                     {
                         const auto* const box = shown<QMessageBox>(caption);
                         if (!box)
                             return;
                         timer->deleteLater();
                         test::press_button(*box, label);
                     });
    timer->start(1);
}

TEST_F(ApplicationWithQt, WindowsLiveOnItsThreadAndWaitForItsLoop)
{
    ListWindow window(L"Shared"); // returns although the application doesn't handle events
    window.add_rows(0, 20);
    EXPECT_EQ(shown("Shared"), nullptr);
    EXPECT_TRUE(eventually([] { return test::shown_rows("Shared") == 20; }));
    EXPECT_EQ(shown("Shared")->thread(), QThread::currentThread());
    shown("Shared")->close();
    EXPECT_TRUE(eventually([] { return shown("Shared") == nullptr; }));
    EXPECT_FALSE(IsWindow(window.window()));
}

TEST_F(ApplicationWithQt, ItsOwnThreadMayAskInABoxAmidAnothersWork)
{
    answer_later("Asked here", "Retry");
    EXPECT_EQ(MessageBoxW(nullptr, L"?", L"Asked here", MB_ABORTRETRYIGNORE), IDRETRY);
    answer_later("Asked elsewhere", "No");
    auto answer = std::async(std::launch::async, []
                             { return MessageBoxW(nullptr, L"?", L"Asked elsewhere", MB_YESNO); });
    EXPECT_TRUE(eventually(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_EQ(answer.get(), IDNO);
    // Its box waits for no thread of a window.
    ListWindow window(L"Busy");
    ASSERT_TRUE(eventually([] { return shown("Busy") != nullptr; }));
    answer_later("Amid", "OK");
    const std::jthread adding(
        [&](const std::stop_token& stop)
        {
            for (int row = 0; !stop.stop_requested(); ++row)
                window.add_row(row);
        });
    EXPECT_EQ(MessageBoxW(window.window(), L"?", L"Amid", MB_OK), IDOK);
}

TEST_F(ApplicationWithQt, EndsBeforeTheWindowsDo)
{
    ListWindow window(L"Outliving");
    ASSERT_TRUE(eventually([] { return shown("Outliving") != nullptr; }));
    auto answer = std::async(std::launch::async,
                             [] { return MessageBoxW(nullptr, L"?", L"Unanswered", MB_OK); });
    ASSERT_TRUE(eventually([] { return shown<QMessageBox>("Unanswered") != nullptr; }));
    PlinthTestFail("open", 1, 1, ENXIO); // the terminal: nobody is asked there
    application.reset();
    EXPECT_EQ(answer.get(), 0);
    window.add_rows(0, 5);
    SetWindowTextW(window.window(), L"Still there");
    EXPECT_TRUE(IsWindow(window.window()));
}

} // namespace
