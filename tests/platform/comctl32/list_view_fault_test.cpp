// The list view in report mode, through its messages; its cost; what a display is told; and editing
// its labels.

#include <malloc.h>

#include "support/test.h"

#include <commctrl.h>

#include "support/list_messages.h"
#include "support/refusal.h"
#include "support/window_thread.h"
#include "user32/desktop.h"

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

TEST_F(ListView, KeepsColumns)
{
    EXPECT_EQ(add_column(list, 0, L"first", 50), 0);
    EXPECT_EQ(add_column(list, 99, L"last"), 1) << "past the end is at the end";
    EXPECT_EQ(add_column(list, 1, nullptr), 1);
    EXPECT_TRUE(send(LVM_SETCOLUMNWIDTH, 0, LPARAM{77}));
    EXPECT_EQ(send(LVM_GETCOLUMNWIDTH, 0), 77);
    EXPECT_FALSE(send(LVM_SETCOLUMNWIDTH, 3, LPARAM{77}));
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = const_cast<wchar_t*>(L"renamed");
    EXPECT_TRUE(send(LVM_SETCOLUMNW, 0, &column));
    EXPECT_EQ(heading(0) + "," + heading(1) + "," + heading(2) + "," + heading(3),
              "renamed,,last,none");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_EQ(heading(1), "last");
    EXPECT_FALSE(send(LVM_DELETECOLUMN, 2));
    EXPECT_EQ(send(LVM_INSERTCOLUMNW, static_cast<WPARAM>(-1), &column), -1);
}

TEST_F(ListView, KeepsRowsAndCells)
{
    for (int i = 0; i < 3; ++i)
        add_column(list, i, L"column");
    EXPECT_EQ(add_row(list, 0, L"b"), 0);
    EXPECT_EQ(add_row(list, 50, L"c"), 1);
    EXPECT_EQ(add_row(list, 0, L"a"), 0);
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 3);
    EXPECT_TRUE(set_cell(list, 1, 2, L"far")) << "with an empty cell before it";
    EXPECT_TRUE(set_cell(list, 1, 1, L"between"));
    EXPECT_TRUE(set_cell(list, 1, 0, L"a longer text"));
    EXPECT_EQ(cell(1, 0) + cell(1, 1) + cell(1, 2), "a longer textbetweenfar");
    EXPECT_TRUE(set_cell(list, 1, 1, L""));
    EXPECT_FALSE(set_cell(list, 1, 3, L"no column"));
    EXPECT_FALSE(set_cell(list, 3, 0, L"no row"));
    EXPECT_FALSE(set_cell(list, -1, 0, L"no row"));
    // A column that comes or goes in the middle takes the cells behind it along.
    add_column(list, 1, L"new");
    EXPECT_EQ(cell(1, 1) + "," + cell(1, 2) + "," + cell(1, 3), ",,far");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_TRUE(send(LVM_DELETEITEM, 0));
    EXPECT_EQ(cell(0, 2), "far");
    EXPECT_FALSE(send(LVM_DELETEITEM, 9));
    EXPECT_TRUE(send(LVM_DELETEALLITEMS));
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 0);
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
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = text;
    column.cchTextMax = 3;
    EXPECT_TRUE(send(LVM_GETCOLUMNW, 0, &column));
    EXPECT_EQ(test::utf8(text), "co");
    for (const UINT message : {LVM_INSERTITEMW, LVM_SETITEMW, LVM_GETITEMW, LVM_GETITEMTEXTW,
                               LVM_INSERTCOLUMNW, LVM_GETCOLUMNW})
        EXPECT_EQ(send(message, 0), 0) << "a null structure";
    LVITEMW with_param = list_item(0, 0, nullptr);
    with_param.mask = LVIF_PARAM;
    with_param.lParam = 123;
    EXPECT_TRUE(send(LVM_SETITEMW, 0, &with_param));
    with_param = list_item(0, 0, text);
    with_param.mask = LVIF_TEXT | LVIF_PARAM;
    with_param.cchTextMax = 8;
    EXPECT_TRUE(send(LVM_GETITEMW, 0, &with_param));
    EXPECT_EQ(with_param.lParam, 123);
    EXPECT_EQ(test::utf8(text), "long te");
}

TEST_F(ListView, FollowsTheRowThatIsToBeSeen)
{
    MoveWindow(list, 0, 0, 200, 24 + 10 * 17, TRUE);
    EXPECT_EQ(send(LVM_GETCOUNTPERPAGE), 10);
    for (int i = 0; i < 50; ++i)
        add_row(list, i, L"row");
    for (const auto& [wanted, first] : {std::pair{49, 40}, {45, 40}, {40, 40}, {5, 5}})
    {
        EXPECT_TRUE(send(LVM_ENSUREVISIBLE, static_cast<WPARAM>(wanted)));
        EXPECT_EQ(send(LVM_GETTOPINDEX), first) << wanted;
    }
    EXPECT_FALSE(send(LVM_ENSUREVISIBLE, 50));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// What the allocator gave out in all, with what it adds to each piece.
TEST_F(ListView, AMillionRowsCostNoMoreThanTheirShareBesideTheText)
{
    constexpr int rows = 1'000'000;
    constexpr int columns = 4;
    for (int i = 0; i < columns; ++i)
        add_column(list, i, L"column");
    const struct mallinfo2 before = mallinfo2();
    for (int row = 0; row < rows; ++row)
    {
        ASSERT_EQ(add_row(list, row, L"1234567"), row);
        for (int column = 1; column < columns; ++column)
            set_cell(list, row, column, L"some text");
    }
    const struct mallinfo2 after = mallinfo2();
    const size_t text = 2 * (7 + 3 * 9);
    const size_t used = after.uordblks + after.hblkhd - before.uordblks - before.hblkhd;
    EXPECT_LE(used / rows, text + 200);
    EXPECT_GE(used / rows, text) << "the measure must see the rows at all";
    RecordProperty("bytes_beside_the_text", static_cast<int>(used / rows - text));
    EXPECT_EQ(cell(rows - 1, 3), "some text");
}
#endif

std::vector<HWND> g_told;
std::string g_told_class;
const PlinthDesktop recording = {sizeof(PlinthDesktop),
                                 [](const PlinthWindowInfo* info)
                                 { g_told_class = test::utf8(info->class_name); },
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 [](HWND list) { g_told.push_back(list); },
                                 [](HWND, const wchar_t*, const wchar_t*, UINT) { return IDRETRY; },
                                 nullptr};

TEST_F(ListView, ADisplayIsToldOnceAndTakesTheChangesInOne)
{
    const PlinthDesktopHost* const host = PlinthTestAttachDesktop(&recording);
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(PlinthTestAttachDesktop(&recording), nullptr) << "there is one already";
    add_column(list, 0, L"column", 44);
    for (int i = 0; i < 100; ++i)
        add_row(list, i, L"row");
    send(LVM_ENSUREVISIBLE, 99);
    EXPECT_EQ(g_told, std::vector{list});
    PlinthListChanges changes = {};
    ASSERT_TRUE(host->list_take_changes(list, &changes));
    EXPECT_EQ((std::vector{changes.rows, changes.first_changed, changes.visible_row}),
              (std::vector<LONG_PTR>{100, 0, 99}));
    EXPECT_TRUE(changes.columns_changed);
    set_cell(list, 60, 0, L"other");
    set_cell(list, 50, 0, L"other");
    EXPECT_EQ(g_told, (std::vector{list, list}));
    ASSERT_TRUE(host->list_take_changes(list, &changes));
    EXPECT_EQ(changes.first_changed, 50);
    EXPECT_FALSE(changes.columns_changed);
    wchar_t text[4];
    EXPECT_EQ(host->list_cell(list, 50, 0, text, 4), 5) << "the whole length";
    EXPECT_EQ(test::utf8(text), "oth");
    EXPECT_EQ(host->list_cell(list, 100, 0, text, 4), -1);
    EXPECT_FALSE(host->list_take_changes(top, &changes)) << "no list view";
    EXPECT_EQ(MessageBoxW(nullptr, L"text", L"title", MB_ABORTRETRYIGNORE), IDRETRY);
    test::create_window(L"Frame");
    EXPECT_EQ(g_told_class, "Frame");
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
        const auto send_within = [this](UINT limit, UINT message, const LVITEMW& item)
        {
            return test::refusal(SendMessageTimeoutW(
                list, message, 0, reinterpret_cast<LPARAM>(&item), SMTO_NORMAL, limit, nullptr));
        };
        {
            const auto text = std::make_unique<test::Wide>(L"late");
            const auto given = std::make_unique<LVITEMW>(list_item(0, 0, text->c_str()));
            EXPECT_EQ(send_within(10, LVM_INSERTITEMW, *given), ERROR_TIMEOUT);
        }
        SetEvent(g_release);
        EXPECT_EQ(cell(0, 0), "late");
        wchar_t text[4] = L"";
        LVITEMW asked = list_item(0, 0, text);
        asked.cchTextMax = 4;
        EXPECT_EQ(send_within(60'000, LVM_GETITEMTEXTW, asked), 0u);
        EXPECT_EQ(test::utf8(text), "lat");
        EXPECT_EQ(asked.pszText, text);
    }
    CloseHandle(g_release);
}

// ---- labels: what the parent is asked and told, and what becomes of the text

// What the parent does in a notification, and the notifications that it received.
std::function<LRESULT(const NMLVDISPINFOW&)> g_answer;
std::vector<std::string> g_notified;

LRESULT CALLBACK frame_procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_NOTIFY)
        return DefWindowProcW(window, message, wParam, lParam);
    const auto& told = *reinterpret_cast<const NMLVDISPINFOW*>(lParam);
    EXPECT_EQ(wParam, told.hdr.idFrom);
    EXPECT_EQ(GetParent(told.hdr.hwndFrom), window);
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
    EXPECT_EQ(g_notified, (Told{"begin 1 b", "end 1 new", "begin 0 a", "end 0 refused", "begin 0 a",
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
        g_notified.clear();
        const HWND control = edit(2);
        SetWindowTextW(control, L"new");
        cancel(control);
        EXPECT_EQ(labels(), "a,b,c");
        EXPECT_EQ(g_notified, (Told{"begin 2 c", "end 2 cancelled"}));
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
    EXPECT_EQ(g_notified, Told{});
    g_answer = [](const NMLVDISPINFOW&) { return TRUE; };
    EXPECT_EQ(edit(1), nullptr);
    EXPECT_EQ(current(), nullptr);
    EXPECT_EQ(FindWindowExW(list, nullptr, L"Edit", nullptr), nullptr);
    EXPECT_EQ(g_notified, Told{"begin 1 b"});
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
    g_notified.clear();
    edit(2);
    SendMessageW(list, LVM_DELETEITEM, 2, 0);
    EXPECT_EQ(current(), nullptr);
    edit(0);
    SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
    EXPECT_EQ(current(), nullptr);
    EXPECT_EQ(g_notified,
              (Told{"begin 2 c", "end 2 cancelled", "begin 0 before", "end 0 cancelled"}));
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
