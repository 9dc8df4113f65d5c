// The list view in report mode, through its messages; and editing its labels.

#include "support/test.h"

#include <commctrl.h>

#include "support/list_messages.h"
#include "support/refusal.h"
#include "support/window_thread.h"

namespace
{

using test::add_column;
using test::add_row;
using test::list_item;
using test::set_cell;

struct ListView : testing::Test
{
    HWND top = nullptr;
    HWND list = nullptr;

    ListView()
    {
        InitCommonControls();
        test::register_class(L"Frame", DefWindowProcW);
        top = test::create_window(L"Frame", L"frame");
        list = test::create_window(WC_LISTVIEWW, nullptr, top, WS_CHILD | WS_VISIBLE | LVS_REPORT);
    }
    ~ListView() override
    {
        DestroyWindow(top);
        PlinthTestReset();
    }
    LRESULT send(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const
    {
        return SendMessageW(list, message, wParam, lParam);
    }
    LRESULT send(UINT message, WPARAM wParam, const void* structure) const
    {
        return send(message, wParam, reinterpret_cast<LPARAM>(structure));
    }
    std::string cell(int row, int column) const { return test::cell_of(list, row, column); }
    std::string heading(int index) const
    {
        wchar_t text[64] = L"";
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT;
        column.pszText = text;
        column.cchTextMax = 64;
        return send(LVM_GETCOLUMNW, static_cast<WPARAM>(index), &column) ? test::utf8(text)
                                                                         : "none";
    }
};

// Run alone, as the suite does: so that the process doesn't have the classes before.
TEST(ListViewClass, StayedAwayForEverAfterARegistrationWithoutMemory)
{
    for (const unsigned failing : {1U, 2U})
    {
        PlinthTestFail("RegisterClassExW", failing, 1, ERROR_NOT_ENOUGH_MEMORY);
        InitCommonControls();
    }
    PlinthTestReset();
    InitCommonControls();
    for (const wchar_t* name : {WC_LISTVIEWW, L"Edit"})
        EXPECT_TRUE(DestroyWindow(test::create_window(name)));
}

TEST_F(ListView, KeepsColumns)
{
    EXPECT_EQ(add_column(list, 0, L"first", 50), 0);
    EXPECT_EQ(add_column(list, 99, L"last"), 1) << "past the end is at the end";
    EXPECT_EQ(add_column(list, 1, nullptr), 1);
    EXPECT_TRUE(send(LVM_SETCOLUMNWIDTH, 0, LPARAM{77}));
    EXPECT_EQ(send(LVM_GETCOLUMNWIDTH, 0), 77);
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = const_cast<wchar_t*>(L"renamed");
    EXPECT_TRUE(send(LVM_SETCOLUMNW, 0, &column));
    EXPECT_EQ(heading(0) + "," + heading(1) + "," + heading(2) + "," + heading(3),
              "renamed,,last,none");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_EQ(heading(1), "last");
    EXPECT_FALSE(send(LVM_DELETECOLUMN, 2));
}

TEST_F(ListView, KeepsRowsAndCells)
{
    for (int i = 0; i < 3; ++i)
        add_column(list, i, L"column");
    EXPECT_EQ(add_row(list, 0, L"b"), 0);
    EXPECT_EQ(add_row(list, 50, L"c"), 1);
    EXPECT_EQ(add_row(list, 0, L"a"), 0);
    EXPECT_TRUE(set_cell(list, 1, 2, L"far")) << "with an empty cell before it";
    EXPECT_TRUE(set_cell(list, 1, 0, L"a longer text"));
    EXPECT_EQ(cell(1, 0) + cell(1, 1) + cell(1, 2), "a longer textfar");
    EXPECT_FALSE(set_cell(list, 1, 3, L"no column"));
    EXPECT_FALSE(set_cell(list, 3, 0, L"no row"));
    EXPECT_FALSE(set_cell(list, -1, 0, L"no row"));
    LVITEMW item = list_item(1, 1, L"text");
    item.mask |= LVIF_PARAM;
    EXPECT_FALSE(send(LVM_SETITEMW, 0, &item)) << "a further cell has no parameter";
    // A column that is inserted or removed in the middle moves the cells after it.
    add_column(list, 1, L"new");
    EXPECT_EQ(cell(1, 1) + "," + cell(1, 2) + "," + cell(1, 3), ",,far");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_TRUE(send(LVM_DELETEITEM, 0));
    EXPECT_EQ(cell(0, 2), "far");
    EXPECT_FALSE(send(LVM_DELETEITEM, 9));
    EXPECT_TRUE(send(LVM_DELETEALLITEMS));
    PlinthTestFail("LVM_INSERTITEMW", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(add_row(list, 0, L"no memory"), -1);
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 0);
}

TEST_F(ListView, WritesNoMoreThanTheCallersRoom)
{
    add_column(list, 0, L"column");
    add_row(list, 0, L"long text");
    wchar_t text[8] = L"#######";
    LVITEMW asked = list_item(0, 0, text);
    asked.cchTextMax = 5;
    EXPECT_EQ(send(LVM_GETITEMTEXTW, 0, &asked), 4);
    EXPECT_EQ(test::utf8(text, 8), std::string("long\0##\0", 8));
    for (const int room : {0, -1})
    {
        asked.cchTextMax = room;
        EXPECT_EQ(send(LVM_GETITEMTEXTW, 0, &asked), 0);
    }
    EXPECT_EQ(text[0], L'l');
    asked = list_item(0, 0, text);
    asked.cchTextMax = 4;
    EXPECT_TRUE(send(LVM_GETITEMW, 0, &asked));
    EXPECT_EQ(test::utf8(text), "lon");
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = text;
    column.cchTextMax = 3;
    EXPECT_TRUE(send(LVM_GETCOLUMNW, 0, &column));
    EXPECT_EQ(test::utf8(text), "co");
    for (const UINT message : {LVM_INSERTITEMW, LVM_SETITEMW, LVM_GETITEMW, LVM_GETITEMTEXTW,
                               LVM_INSERTCOLUMNW, LVM_GETCOLUMNW})
        EXPECT_EQ(send(message, 0), 0) << "a null structure";
}

HANDLE g_release = nullptr;
LRESULT CALLBACK hang(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_APP)
        WaitForSingleObject(g_release, INFINITE);
    return DefWindowProcW(window, message, wParam, lParam);
}

TEST_F(ListView, ATextIsSafeAlthoughItsSenderHasGivenUp)
{
    g_release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    {
        const test::WindowThread other(
            [this]
            {
                test::register_class(L"Hanging", hang);
                const HWND frame = test::create_window(L"Hanging");
                list = test::create_window(WC_LISTVIEWW, nullptr, frame, WS_CHILD);
                return frame;
            });
        SendMessageTimeoutW(other.window(), WM_APP, 0, 0, 0, 10, nullptr);
        {
            const auto text = std::make_unique<test::Wide>(L"late");
            const auto given = std::make_unique<LVITEMW>(list_item(0, 0, text->c_str()));
            EXPECT_EQ(test::refusal(SendMessageTimeoutW(list, LVM_INSERTITEMW, 0,
                                                        reinterpret_cast<LPARAM>(given.get()),
                                                        SMTO_NORMAL, 10, nullptr)),
                      ERROR_TIMEOUT);
        }
        SetEvent(g_release);
        EXPECT_EQ(cell(0, 0), "late");
    }
    CloseHandle(g_release);
}

// ---- labels: the notifications to the parent, and what happens to the text

// The parent's answer to a notification, and the notifications that it received.
std::function<LRESULT(const NMLVDISPINFOW&)> g_answer;
std::vector<std::string> g_notified;

LRESULT CALLBACK frame_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_NOTIFY)
        return DefWindowProcW(window, message, wParam, lParam);
    const auto& told = *reinterpret_cast<const NMLVDISPINFOW*>(lParam);
    const std::string what = told.hdr.code == LVN_BEGINLABELEDITW ? "begin " : "end ";
    g_notified.push_back(what + std::to_string(told.item.iItem) + " " +
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
        g_notified.clear();
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
        EXPECT_EQ(current(), control) << "still there while the parent is told";
        return TRUE;
    };
    press(VK_RETURN);
    EXPECT_FALSE(IsWindow(control));
    g_answer = nullptr;
    SetWindowTextW(edit(0), L"refused");
    SendMessageW(current(), WM_KILLFOCUS, 0, 0);
    EXPECT_EQ(labels(), "a,new,c");
    EXPECT_EQ(g_notified, (Told{"begin 1 b", "end 1 new", "begin 0 a", "end 0 refused"}));
}

TEST_F(LabelEdit, ACancelledTextIsDroppedWhateverTheParentSays)
{
    g_answer = accept;
    const std::function<void(HWND)> ways[] = {
        [this](HWND) { press(VK_ESCAPE); },
        [this](HWND) { SendMessageW(list, LVM_CANCELEDITLABEL, 0, 0); },
        [](HWND control) { DestroyWindow(control); },
        [this](HWND) { SendMessageW(list, LVM_DELETEITEM, 2, 0); }};
    for (const auto& cancel : ways)
    {
        g_notified.clear();
        const HWND control = edit(2);
        SetWindowTextW(control, L"new");
        cancel(control);
        EXPECT_EQ(g_notified, (Told{"begin 2 c", "end 2 cancelled"}));
        EXPECT_EQ(current(), nullptr);
        EXPECT_FALSE(IsWindow(control));
    }
    EXPECT_EQ(labels(), "a,b");
}

TEST_F(LabelEdit, NeedsTheStyleAndTheParentAndFollowsItsRow)
{
    SetWindowLongPtrW(list, GWL_STYLE, WS_CHILD | LVS_REPORT);
    EXPECT_EQ(edit(0), nullptr);
    SetWindowLongPtrW(list, GWL_STYLE, WS_CHILD | LVS_REPORT | LVS_EDITLABELS);
    g_answer = [](const NMLVDISPINFOW&) { return TRUE; };
    EXPECT_EQ(edit(1), nullptr);
    EXPECT_EQ(g_notified, Told{"begin 1 b"});
    g_answer = accept;
    SetWindowTextW(edit(1), L"x");
    test::add_row(list, 0, L"before");
    SendMessageW(list, LVM_DELETEITEM, 1, 0);
    press(VK_RETURN);
    EXPECT_EQ(labels(), "before,x,c");
}

TEST_F(LabelEdit, AParentMayDoAnythingWhenItIsTold)
{
    g_answer = [&](const NMLVDISPINFOW&) { return DestroyWindow(list); };
    EXPECT_EQ(edit(0), nullptr);
    EXPECT_FALSE(IsWindow(list));
    EXPECT_EQ(g_notified, (Told{"begin 0 a", "end 0 cancelled"}));
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
