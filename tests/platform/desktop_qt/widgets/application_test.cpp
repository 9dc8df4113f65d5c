// Beside an application that runs Qt itself: its thread is also that of the windows. And message
// boxes on the plug-in's own thread.
#include <algorithm>
#include <cerrno>
#include <future>
#include <map>
#include <ranges>

#include <QTimer>

#include <plinth_platform_test.h>

#include "shown_windows.h"

// Memory that Qt keeps to the end of the process isn't ours, and sometimes the leak check finds no
// pointer to it. This also hides our own allocations while Qt calls us; the programs of the folder
// loading, where only the plug-in uses Qt, do check those.
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

// Presses the button as soon as a box with the caption is shown.
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

TEST_F(ApplicationWithQt, ItsOwnThreadMayAskInABoxAmidAnothersWork)
{
    answer_later("Asked elsewhere", "No");
    auto answer = std::async(std::launch::async, []
                             { return MessageBoxW(nullptr, L"?", L"Asked elsewhere", MB_YESNO); });
    EXPECT_TRUE(eventually(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_EQ(answer.get(), IDNO);
    // The message box waits for no thread of a window.
    ListWindow window(L"Busy"); // returns although the application doesn't handle events
    EXPECT_EQ(shown("Busy"), nullptr);
    ASSERT_TRUE(eventually([] { return shown("Busy") != nullptr; }));
    EXPECT_EQ(shown("Busy")->thread(), QThread::currentThread());
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
    PlinthTestFail("open", 1, 1, ENXIO); // no terminal to ask at
    application.reset();
    EXPECT_EQ(answer.get(), 0);
    window.add_rows(0, 5);
    EXPECT_TRUE(IsWindow(window.window()));
}

// ---- message boxes on the plug-in's own thread

using test::on_gui;

struct BoxOnADisplay : test::OnADisplay
{
    // The first question on a display makes the application object.
    void SetUp() override
    {
        OnADisplay::SetUp();
        test::register_class(L"Asking", DefWindowProcW);
        ASSERT_NE(test::create_window(L"Asking"), nullptr);
        ASSERT_NE(qApp, nullptr);
    }
};

std::future<int> ask(UINT type, const wchar_t* caption = L"Caption", HWND owner = nullptr)
{
    auto answer = std::async(std::launch::async, [=]
                             { return MessageBoxW(owner, L"The t\u00e4xt <b>", caption, type); });
    EXPECT_TRUE(
        eventually([=] { return shown<QMessageBox>(test::utf8(caption).c_str()) != nullptr; }));
    return answer;
}

TEST_F(BoxOnADisplay, HasTheButtonsOfItsTypeInOrderAndAnswersEnterEscapeAndClosing)
{
    const struct
    {
        UINT type;
        std::vector<const char*> labels;
        int entered; // answer to Enter, by the default button
        int escape;  // answer to Escape and to closing; 0: none
    } rows[] = {{MB_OK, {"OK"}, IDOK, IDOK},
                {MB_OKCANCEL | MB_DEFBUTTON2, {"OK", "Cancel"}, IDCANCEL, IDCANCEL},
                {MB_ABORTRETRYIGNORE | MB_ICONHAND, {"Abort", "Retry", "Ignore"}, IDABORT, 0},
                {MB_ABORTRETRYIGNORE | MB_DEFBUTTON3, {"Abort", "Retry", "Ignore"}, IDIGNORE, 0},
                {MB_YESNO, {"Yes", "No"}, IDYES, 0},
                {MB_YESNOCANCEL | MB_DEFBUTTON2, {"Yes", "No", "Cancel"}, IDNO, IDCANCEL},
                {MB_RETRYCANCEL, {"Retry", "Cancel"}, IDRETRY, IDCANCEL}};
    for (const auto& [type, labels, entered, escape] : rows)
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape, Qt::Key_Close})
        {
            SCOPED_TRACE(testing::Message() << type << " " << key);
            std::future<int> answer = ask(type);
            std::map<int, std::string> placed;
            on_gui(
                [&placed, key, is_error = (type & MB_ICONHAND) != 0]
                {
                    QMessageBox& box = *shown<QMessageBox>("Caption");
                    EXPECT_EQ(box.text(), QStringLiteral("The t\u00e4xt <b>"));
                    EXPECT_EQ(box.icon(), is_error ? QMessageBox::Critical : QMessageBox::NoIcon);
                    for (QAbstractButton* const button : box.buttons())
                        placed[button->x()] = button->text().remove(u'&').toStdString();
                    if (key == Qt::Key_Close)
                        box.close();
                    else
                        QTest::keyClick(&box, key);
                });
            EXPECT_TRUE(std::ranges::equal(placed | std::views::values, labels));
            const bool heeded = key == Qt::Key_Return || escape != 0;
            if (!heeded)
                on_gui([] { QTest::keyClick(shown<QMessageBox>("Caption"), Qt::Key_Return); });
            EXPECT_EQ(answer.get(), key != Qt::Key_Return && heeded ? escape : entered);
        }
}

TEST_F(BoxOnADisplay, BlocksItsCallerAloneAndFailsWhenItsOwnerGoes)
{
    auto window = std::make_unique<test::ListWindow>(L"Beside");
    std::future<int> first = ask(MB_YESNO, L"First", window->window());
    std::future<int> second = ask(MB_ABORTRETRYIGNORE | MB_TASKMODAL | MB_SETFOREGROUND, L"Second");
    window->add_rows(0, 5);
    EXPECT_TRUE(eventually([] { return test::shown_rows("Beside") == 5; }));
    on_gui([] { test::press_button(*shown<QMessageBox>("Second"), "Ignore"); });
    EXPECT_EQ(second.get(), IDIGNORE);
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    window.reset();
    EXPECT_EQ(first.get(), 0);
}

} // namespace
