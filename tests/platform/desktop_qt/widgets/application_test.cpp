// Beside an application that runs Qt itself: its thread is that of the windows. And message boxes
// on the plug-in's own thread.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <map>
#include <ranges>

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
    PlinthTestFail("open", 1, 1, ENXIO); // the terminal: nobody is asked there
    application.reset();
    EXPECT_EQ(answer.get(), 0);
    window.add_rows(0, 5);
    SetWindowTextW(window.window(), L"Still there");
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

void click(const char* label, const char* caption = "Caption")
{
    on_gui([=] { test::press_button(*shown<QMessageBox>(caption), label); });
}

void press(Qt::Key key)
{
    on_gui([=] { QTest::keyClick(shown<QMessageBox>("Caption"), key); });
}

TEST_F(BoxOnADisplay, HasTheButtonsOfItsTypeInOrderAndAnswersThemAndEscapeAndClosing)
{
    const struct
    {
        UINT type;
        std::vector<const char*> labels;
        std::vector<int> answers;
        int escape; // also of closing; 0: it isn't heeded
    } rows[] = {
        {MB_OK, {"OK"}, {IDOK}, IDOK},
        {MB_OKCANCEL, {"OK", "Cancel"}, {IDOK, IDCANCEL}, IDCANCEL},
        {MB_ABORTRETRYIGNORE, {"Abort", "Retry", "Ignore"}, {IDABORT, IDRETRY, IDIGNORE}, 0},
        {MB_YESNO, {"Yes", "No"}, {IDYES, IDNO}, 0},
        {MB_YESNOCANCEL, {"Yes", "No", "Cancel"}, {IDYES, IDNO, IDCANCEL}, IDCANCEL},
        {MB_RETRYCANCEL, {"Retry", "Cancel"}, {IDRETRY, IDCANCEL}, IDCANCEL}};
    for (const auto& [type, labels, answers, escape] : rows)
    {
        SCOPED_TRACE(type);
        for (size_t i = 0; i < labels.size(); ++i)
        {
            std::future<int> answer = ask(type);
            const auto placed = on_gui(
                []
                {
                    const QMessageBox& box = *shown<QMessageBox>("Caption");
                    EXPECT_EQ(box.text(), QStringLiteral("The t\u00e4xt <b>"));
                    std::map<int, std::string> texts;
                    for (QAbstractButton* const button : box.buttons())
                        texts[button->x()] = button->text().remove(u'&').toStdString();
                    return texts;
                });
            EXPECT_TRUE(std::ranges::equal(placed | std::views::values, labels));
            click(labels[i]);
            EXPECT_EQ(answer.get(), answers[i]);
        }
        for (const bool closed : {false, true})
        {
            std::future<int> answer = ask(type);
            if (closed)
                on_gui([] { shown<QMessageBox>("Caption")->close(); });
            else
                press(Qt::Key_Escape);
            if (escape == 0)
            {
                EXPECT_TRUE(on_gui([] { return shown<QMessageBox>("Caption") != nullptr; }));
                click(labels[0]);
            }
            EXPECT_EQ(answer.get(), escape ? escape : answers[0]) << closed;
        }
    }
}

TEST_F(BoxOnADisplay, HasTheIconOfItsTypeAndEnterTakesTheDefaultButton)
{
    for (const auto& [flag, id] : {std::pair<UINT, int>{MB_DEFBUTTON1, IDABORT},
                                   {MB_DEFBUTTON2, IDRETRY},
                                   {MB_DEFBUTTON3, IDIGNORE}})
    {
        std::future<int> answer = ask(MB_ABORTRETRYIGNORE | flag);
        press(Qt::Key_Return);
        EXPECT_EQ(answer.get(), id);
    }
    const std::pair<UINT, QMessageBox::Icon> icons[] = {
        {0, QMessageBox::NoIcon},
        {MB_ICONHAND, QMessageBox::Critical},
        {MB_ICONQUESTION, QMessageBox::Question},
        {MB_ICONEXCLAMATION, QMessageBox::Warning},
        {MB_ICONINFORMATION, QMessageBox::Information}};
    for (const auto& [flag, icon] : icons)
    {
        std::future<int> answer = ask(MB_OK | flag);
        EXPECT_EQ(on_gui([] { return shown<QMessageBox>("Caption")->icon(); }), icon);
        click("OK");
        answer.get();
    }
}

TEST_F(BoxOnADisplay, BlocksItsCallerAloneAndFailsWhenItsOwnerGoes)
{
    auto window = std::make_unique<test::ListWindow>(L"Beside");
    std::future<int> first = ask(MB_YESNO, L"First", window->window());
    std::future<int> second = ask(MB_ABORTRETRYIGNORE | MB_TASKMODAL | MB_SETFOREGROUND, L"Second");
    window->add_rows(0, 5);
    EXPECT_TRUE(eventually([] { return test::shown_rows("Beside") == 5; }));
    click("Ignore", "Second");
    EXPECT_EQ(second.get(), IDIGNORE);
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    window.reset();
    EXPECT_EQ(first.get(), 0);
    setenv("PLINTH_MESSAGEBOX", "cancel", 1);
    EXPECT_EQ(MessageBoxW(nullptr, L"x", L"y", MB_OKCANCEL), IDCANCEL);
}

} // namespace
