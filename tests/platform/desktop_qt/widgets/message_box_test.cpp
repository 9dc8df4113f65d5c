// Message boxes on the plug-in's own thread.
#include <algorithm>
#include <cstdlib>
#include <future>
#include <map>
#include <ranges>

#include "shown_windows.h"

namespace
{

using test::eventually;
using test::on_gui;
using test::shown;

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
