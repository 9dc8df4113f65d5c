// Editing the labels of a list view: what its parent is asked and told, and what becomes of it.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <commctrl.h>
#include <windows.h>

#include "support/list_messages.h"
#include "support/window_thread.h"

namespace
{

// What the parent does in a notification, and what it was told.
std::function<LRESULT(const NMLVDISPINFOW&)> g_answer;
std::vector<std::string> g_told;

LRESULT CALLBACK frame_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_NOTIFY)
        return DefWindowProcW(window, message, wParam, lParam);
    const auto& told = *reinterpret_cast<const NMLVDISPINFOW*>(lParam);
    EXPECT_EQ(wParam, told.hdr.idFrom);
    EXPECT_EQ(GetParent(told.hdr.hwndFrom), window);
    const std::string what = told.hdr.code == LVN_BEGINLABELEDITW ? "begin " : "end ";
    g_told.push_back(what + std::to_string(told.item.iItem) + " " +
                     (told.item.pszText ? test::utf8(told.item.pszText) : "cancelled"));
    return g_answer ? g_answer(told) : 0;
}

using Told = std::vector<std::string>;

struct LabelEdit : testing::Test
{
    HWND top = nullptr;
    HWND list = nullptr;

    LabelEdit()
    {
        InitCommonControls();
        g_answer = nullptr;
        g_told.clear();
        test::register_class(L"Asked", frame_procedure);
        top = test::create_window(L"Asked");
        make_list(LVS_REPORT | LVS_EDITLABELS);
    }
    ~LabelEdit() override { DestroyWindow(top); }

    void make_list(DWORD style)
    {
        list = CreateWindowExW(0, WC_LISTVIEWW, nullptr, WS_CHILD | WS_VISIBLE | style, 0, 0, 100,
                               100, top, reinterpret_cast<HMENU>(LONG_PTR{42}), nullptr, nullptr);
        test::add_column(list, 0, nullptr);
        for (const wchar_t* text : {L"a", L"b", L"c"})
            test::add_row(list, 99, text, text[0]);
    }
    std::string labels() const
    {
        std::string all;
        for (int row = 0; row < SendMessageW(list, LVM_GETITEMCOUNT, 0, 0); ++row)
            all += (row ? "," : "") + test::cell_of(list, row, 0);
        return all;
    }
    HWND edit(int row) const
    {
        return reinterpret_cast<HWND>(
            SendMessageW(list, LVM_EDITLABELW, static_cast<WPARAM>(row), 0));
    }
    HWND current() const
    {
        return reinterpret_cast<HWND>(SendMessageW(list, LVM_GETEDITCONTROL, 0, 0));
    }
    void press(WPARAM key) const { SendMessageW(current(), WM_KEYDOWN, key, 0); }
    static LRESULT accept(const NMLVDISPINFOW& told) { return told.hdr.code == LVN_ENDLABELEDITW; }
};

TEST_F(LabelEdit, AnAcceptedTextStandsInTheListAlsoWhenItLosesTheFocus)
{
    const HWND control = edit(1);
    EXPECT_EQ(FindWindowExW(list, nullptr, L"Edit", L"b"), control);
    SetWindowTextW(control, L"new");
    g_answer = [&](const NMLVDISPINFOW& told)
    {
        EXPECT_EQ(told.hdr.idFrom, 42u);
        EXPECT_EQ(told.item.lParam, L'b');
        EXPECT_EQ(current(), control) << "still there while the parent is told";
        return TRUE;
    };
    press(VK_RETURN);
    EXPECT_FALSE(IsWindow(control));
    g_answer = nullptr;
    SetWindowTextW(edit(0), L"refused");
    SendMessageW(current(), WM_KILLFOCUS, 0, 0);
    EXPECT_EQ(labels(), "a,new,c");
    g_answer = accept;
    SetWindowTextW(edit(0), L"x");
    edit(1);
    EXPECT_EQ(labels(), "x,new,c") << "one on another row keeps the text of the first";
    EXPECT_EQ(g_told, (Told{"begin 1 b", "end 1 new", "begin 0 a", "end 0 refused", "begin 0 a",
                            "end 0 x", "begin 1 new"}));
}

TEST_F(LabelEdit, ACancelledTextIsDroppedWhateverTheParentSays)
{
    g_answer = accept;
    const std::function<void(HWND)> ways[] = {
        [this](HWND) { press(VK_ESCAPE); }, [this](HWND) { edit(-1); },
        [this](HWND) { SendMessageW(list, LVM_CANCELEDITLABEL, 0, 0); },
        [](HWND control) { DestroyWindow(control); }};
    for (const auto& cancel : ways)
    {
        g_told.clear();
        const HWND control = edit(2);
        SetWindowTextW(control, L"new");
        cancel(control);
        EXPECT_EQ(labels(), "a,b,c");
        EXPECT_EQ(g_told, (Told{"begin 2 c", "end 2 cancelled"}));
        EXPECT_EQ(current(), nullptr);
        EXPECT_FALSE(IsWindow(control));
    }
}

TEST_F(LabelEdit, NeedsTheRowTheStyleAndTheParentWhoMayPrepareItsWindow)
{
    EXPECT_EQ(edit(3), nullptr);
    SetWindowLongPtrW(list, GWL_STYLE, WS_CHILD | LVS_REPORT);
    EXPECT_EQ(edit(0), nullptr);
    SetWindowLongPtrW(list, GWL_STYLE, WS_CHILD | LVS_REPORT | LVS_EDITLABELS);
    EXPECT_EQ(g_told, Told{});
    g_answer = [](const NMLVDISPINFOW&) { return TRUE; };
    EXPECT_EQ(edit(1), nullptr);
    EXPECT_EQ(current(), nullptr);
    EXPECT_EQ(FindWindowExW(list, nullptr, L"Edit", nullptr), nullptr);
    EXPECT_EQ(g_told, Told{"begin 1 b"});
    g_answer = [&](const NMLVDISPINFOW& told)
    {
        if (told.hdr.code == LVN_ENDLABELEDITW)
            return TRUE;
        SetWindowTextW(current(), L"prepared");
        return FALSE;
    };
    edit(1);
    press(VK_RETURN);
    EXPECT_EQ(labels(), "a,prepared,c");
}

TEST_F(LabelEdit, FollowsItsRowAndEndsWithIt)
{
    g_answer = accept;
    SetWindowTextW(edit(1), L"x");
    test::add_row(list, 0, L"before");
    test::add_row(list, 99, L"after");
    SendMessageW(list, LVM_DELETEITEM, 1, 0);
    press(VK_RETURN);
    EXPECT_EQ(labels(), "before,x,c,after");
    g_told.clear();
    edit(2);
    SendMessageW(list, LVM_DELETEITEM, 2, 0);
    EXPECT_EQ(current(), nullptr);
    edit(0);
    SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
    EXPECT_EQ(current(), nullptr);
    EXPECT_EQ(g_told, (Told{"begin 2 c", "end 2 cancelled", "begin 0 before", "end 0 cancelled"}));
}

TEST_F(LabelEdit, AParentMayDoAnythingWhenItIsTold)
{
    g_answer = [&](const NMLVDISPINFOW&) { return DestroyWindow(list); };
    EXPECT_EQ(edit(0), nullptr);
    EXPECT_FALSE(IsWindow(list));
    EXPECT_EQ(g_told, (Told{"begin 0 a", "end 0 cancelled"}));
    make_list(LVS_REPORT | LVS_EDITLABELS);
    g_answer = [&](const NMLVDISPINFOW& told)
    {
        if (told.hdr.code == LVN_ENDLABELEDITW)
            SendMessageW(list, LVM_DELETEITEM, 0, 0);
        return told.hdr.code == LVN_ENDLABELEDITW;
    };
    SetWindowTextW(edit(0), L"gone");
    press(VK_RETURN);
    EXPECT_EQ(labels(), "b,c") << "the next row is another one";
    g_answer = [&](const NMLVDISPINFOW& told)
    { return told.hdr.code == LVN_ENDLABELEDITW && DestroyWindow(list); };
    edit(0);
    press(VK_RETURN);
    EXPECT_FALSE(IsWindow(list));
}

} // namespace
