// Message boxes on the plug-in's own thread.
#include <cstdlib>
#include <future>
#include <map>

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

struct Type
{
    const char* name;
    UINT type;
    std::vector<std::pair<const char*, int>> buttons;
    int escape; // 0: it isn't heeded
};

struct BoxOfAType : BoxOnADisplay, testing::WithParamInterface<Type>
{
};

TEST_P(BoxOfAType, HasItsButtonsInOrderAndAnswersThemAndEscapeAndClosing)
{
    const Type& type = GetParam();
    std::vector<std::string> labels;
    for (const auto& [label, id] : type.buttons)
        labels.push_back(label);
    for (const auto& [label, id] : type.buttons)
    {
        std::future<int> answer = ask(type.type);
        on_gui(
            [&]
            {
                const QMessageBox& box = *shown<QMessageBox>("Caption");
                EXPECT_EQ(box.text(), QStringLiteral("The t\u00e4xt <b>"));
                std::map<int, std::string> placed;
                for (QAbstractButton* const button : box.buttons())
                    placed[button->x()] = button->text().remove(u'&').toStdString();
                std::vector<std::string> seen;
                for (const auto& [x, text] : placed)
                    seen.push_back(text);
                EXPECT_EQ(seen, labels);
            });
        click(label);
        EXPECT_EQ(answer.get(), id) << label;
    }
    for (const bool closed : {false, true})
    {
        std::future<int> answer = ask(type.type);
        if (closed)
            on_gui([] { shown<QMessageBox>("Caption")->close(); });
        else
            press(Qt::Key_Escape);
        if (type.escape == 0)
        {
            EXPECT_TRUE(on_gui([] { return shown<QMessageBox>("Caption") != nullptr; }));
            click(type.buttons[0].first);
        }
        EXPECT_EQ(answer.get(), type.escape ? type.escape : type.buttons[0].second) << closed;
    }
}

INSTANTIATE_TEST_SUITE_P(
    MessageBoxes, BoxOfAType,
    testing::Values(
        Type{"Ok", MB_OK, {{"OK", IDOK}}, IDOK},
        Type{"OkCancel", MB_OKCANCEL, {{"OK", IDOK}, {"Cancel", IDCANCEL}}, IDCANCEL},
        Type{"AbortRetryIgnore",
             MB_ABORTRETRYIGNORE,
             {{"Abort", IDABORT}, {"Retry", IDRETRY}, {"Ignore", IDIGNORE}},
             0},
        Type{"YesNo", MB_YESNO, {{"Yes", IDYES}, {"No", IDNO}}, 0},
        Type{"YesNoCancel",
             MB_YESNOCANCEL,
             {{"Yes", IDYES}, {"No", IDNO}, {"Cancel", IDCANCEL}},
             IDCANCEL},
        Type{"RetryCancel", MB_RETRYCANCEL, {{"Retry", IDRETRY}, {"Cancel", IDCANCEL}}, IDCANCEL}),
    [](const auto& type) { return std::string(type.param.name); });

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

TEST_F(BoxOnADisplay, BlocksItsCallerAlone)
{
    test::ListWindow window(L"Beside");
    std::future<int> first = ask(MB_YESNO, L"First", window.window());
    std::future<int> second = ask(MB_ABORTRETRYIGNORE | MB_TASKMODAL | MB_SETFOREGROUND, L"Second");
    window.add_rows(0, 5);
    EXPECT_TRUE(eventually([] { return test::shown_rows("Beside") == 5; }));
    click("Ignore", "Second");
    EXPECT_EQ(second.get(), IDIGNORE);
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    click("No", "First");
    EXPECT_EQ(first.get(), IDNO);
}

TEST_F(BoxOnADisplay, FailsWhenItsOwnerGoesAndIsNotShownWhereTheAnswerIsPrepared)
{
    auto window = std::make_unique<test::ListWindow>(L"Owner");
    ASSERT_TRUE(eventually([] { return shown("Owner") != nullptr; }));
    std::future<int> answer = ask(MB_OK, L"Owned", window->window());
    window.reset();
    EXPECT_EQ(answer.get(), 0);
    setenv("PLINTH_MESSAGEBOX", "cancel", 1);
    EXPECT_EQ(MessageBoxW(nullptr, L"x", L"y", MB_OKCANCEL), IDCANCEL);
}

} // namespace
