// The list view in report mode, through its messages; its cost; and what a display is told.
#include <malloc.h>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <commctrl.h>
#include <plinth_platform_test.h>
#include <windows.h>

#include "support/wide_text.h"
#include "support/window_thread.h"
#include "user32/desktop.h"

namespace
{

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
    LRESULT add_column(int index, const wchar_t* text, int width = 60) const
    {
        LVCOLUMNW column = {};
        column.mask = LVCF_WIDTH | (text ? LVCF_TEXT : 0);
        column.cx = width;
        column.pszText = const_cast<wchar_t*>(text);
        return send(LVM_INSERTCOLUMNW, static_cast<WPARAM>(index), &column);
    }
    static LVITEMW item(int row, int column, const wchar_t* text)
    {
        LVITEMW given = {};
        given.mask = LVIF_TEXT;
        given.iItem = row;
        given.iSubItem = column;
        given.pszText = const_cast<wchar_t*>(text);
        return given;
    }
    LRESULT add_row(int row, const wchar_t* text) const
    {
        const LVITEMW given = item(row, 0, text);
        return send(LVM_INSERTITEMW, 0, &given);
    }
    LRESULT set(int row, int column, const wchar_t* text) const
    {
        const LVITEMW given = item(row, column, text);
        return send(LVM_SETITEMW, 0, &given);
    }
    std::string cell(int row, int column) const
    {
        wchar_t text[64] = L"";
        LVITEMW asked = item(0, column, text);
        asked.cchTextMax = 64;
        const LRESULT length = send(LVM_GETITEMTEXTW, static_cast<WPARAM>(row), &asked);
        return length > 0 ? test::utf8(text) : "";
    }
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
    EXPECT_EQ(add_column(0, L"first", 50), 0);
    EXPECT_EQ(add_column(99, L"last"), 1) << "past the end is at the end";
    EXPECT_EQ(add_column(1, nullptr), 1);
    EXPECT_EQ(heading(0), "first");
    EXPECT_EQ(heading(1), "");
    EXPECT_EQ(heading(2), "last");
    EXPECT_EQ(heading(3), "none");
    EXPECT_EQ(send(LVM_GETCOLUMNWIDTH, 0), 50);
    EXPECT_TRUE(send(LVM_SETCOLUMNWIDTH, 0, LPARAM{77}));
    EXPECT_EQ(send(LVM_GETCOLUMNWIDTH, 0), 77);
    EXPECT_FALSE(send(LVM_SETCOLUMNWIDTH, 3, LPARAM{77}));
    LVCOLUMNW column = {};
    column.mask = LVCF_TEXT;
    column.pszText = const_cast<wchar_t*>(L"renamed");
    EXPECT_TRUE(send(LVM_SETCOLUMNW, 1, &column));
    EXPECT_EQ(heading(1), "renamed");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_EQ(heading(0), "renamed");
    EXPECT_FALSE(send(LVM_DELETECOLUMN, 2));
    EXPECT_EQ(send(LVM_INSERTCOLUMNW, static_cast<WPARAM>(-1), &column), -1);
}

TEST_F(ListView, KeepsRowsAndCells)
{
    for (int i = 0; i < 3; ++i)
        add_column(i, L"column");
    EXPECT_EQ(add_row(0, L"b"), 0);
    EXPECT_EQ(add_row(50, L"c"), 1);
    EXPECT_EQ(add_row(0, L"a"), 0);
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 3);
    EXPECT_TRUE(set(1, 2, L"far")) << "with an empty cell before it";
    EXPECT_TRUE(set(1, 1, L"between"));
    EXPECT_TRUE(set(1, 1, L"x"));
    EXPECT_TRUE(set(1, 0, L"a longer text"));
    EXPECT_EQ(cell(1, 0) + "," + cell(1, 1) + "," + cell(1, 2), "a longer text,x,far");
    EXPECT_TRUE(set(1, 1, L""));
    EXPECT_EQ(cell(1, 0) + "," + cell(1, 1) + "," + cell(1, 2), "a longer text,,far");
    EXPECT_FALSE(set(1, 3, L"no column"));
    EXPECT_FALSE(set(3, 0, L"no row"));
    EXPECT_FALSE(set(-1, 0, L"no row"));
    // A column that comes or goes in the middle takes the cells behind it along.
    add_column(1, L"new");
    EXPECT_EQ(cell(1, 1) + "," + cell(1, 3), ",far");
    EXPECT_TRUE(send(LVM_DELETECOLUMN, 0));
    EXPECT_EQ(cell(1, 2), "far");
    EXPECT_TRUE(send(LVM_DELETEITEM, 0));
    EXPECT_EQ(cell(0, 2), "far");
    EXPECT_FALSE(send(LVM_DELETEITEM, 9));
    EXPECT_TRUE(send(LVM_DELETEALLITEMS));
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 0);
    PlinthTestFail("LVM_INSERTITEMW", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(add_row(0, L"no memory"), -1);
    EXPECT_EQ(send(LVM_GETITEMCOUNT), 0);
}

TEST_F(ListView, WritesNoMoreThanTheCallersRoom)
{
    add_column(0, L"column");
    add_row(0, L"long text");
    wchar_t text[8] = L"#######";
    LVITEMW asked = item(0, 0, text);
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
    LVITEMW with_param = item(0, 0, nullptr);
    with_param.mask = LVIF_PARAM;
    with_param.lParam = 123;
    EXPECT_TRUE(send(LVM_SETITEMW, 0, &with_param));
    with_param.lParam = 0;
    EXPECT_TRUE(send(LVM_GETITEMW, 0, &with_param));
    EXPECT_EQ(with_param.lParam, 123);
}

TEST_F(ListView, FollowsTheRowThatIsToBeSeen)
{
    MoveWindow(list, 0, 0, 200, 24 + 10 * 17, TRUE);
    const auto page = send(LVM_GETCOUNTPERPAGE);
    EXPECT_EQ(page, 10);
    for (int i = 0; i < 50; ++i)
        add_row(i, L"row");
    EXPECT_TRUE(send(LVM_ENSUREVISIBLE, 49));
    EXPECT_EQ(send(LVM_GETTOPINDEX), 40);
    EXPECT_TRUE(send(LVM_ENSUREVISIBLE, 45));
    EXPECT_EQ(send(LVM_GETTOPINDEX), 40) << "it was to be seen";
    EXPECT_TRUE(send(LVM_ENSUREVISIBLE, 5));
    EXPECT_EQ(send(LVM_GETTOPINDEX), 5);
    EXPECT_FALSE(send(LVM_ENSUREVISIBLE, 50));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// What the allocator gave out in all, with what it adds to each piece.
TEST_F(ListView, AMillionRowsCostNoMoreThanTheirShareBesideTheText)
{
    constexpr int rows = 1'000'000;
    constexpr int columns = 4;
    for (int i = 0; i < columns; ++i)
        add_column(i, L"column");
    const struct mallinfo2 before = mallinfo2();
    for (int row = 0; row < rows; ++row)
    {
        ASSERT_EQ(add_row(row, L"1234567"), row);
        for (int column = 1; column < columns; ++column)
            set(row, column, L"some text");
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

HWND g_told_list = nullptr;
int g_told = 0;
std::string g_told_class;
const PlinthDesktop recording = {sizeof(PlinthDesktop),
                                 [](const PlinthWindowInfo* info)
                                 { g_told_class = test::utf8(info->class_name); },
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 [](HWND list)
                                 {
                                     g_told_list = list;
                                     ++g_told;
                                 },
                                 [](HWND, const wchar_t*, const wchar_t*, UINT) { return IDRETRY; },
                                 nullptr};

TEST_F(ListView, ADisplayIsToldOnceAndTakesTheChangesInOne)
{
    const PlinthDesktopHost* const host = PlinthTestAttachDesktop(&recording);
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(PlinthTestAttachDesktop(&recording), nullptr) << "there is one already";
    add_column(0, L"column", 44);
    for (int i = 0; i < 100; ++i)
        add_row(i, L"row");
    send(LVM_ENSUREVISIBLE, 99);
    EXPECT_EQ(g_told, 1);
    EXPECT_EQ(g_told_list, list);
    PlinthListChanges changes = {};
    ASSERT_TRUE(host->list_take_changes(list, &changes));
    EXPECT_EQ(changes.rows, 100);
    EXPECT_EQ(changes.first_changed, 0);
    EXPECT_EQ(changes.visible_row, 99);
    EXPECT_TRUE(changes.columns_changed);
    set(60, 0, L"other");
    set(50, 0, L"other");
    EXPECT_EQ(g_told, 2);
    ASSERT_TRUE(host->list_take_changes(list, &changes));
    EXPECT_EQ(changes.first_changed, 50);
    EXPECT_FALSE(changes.columns_changed);
    wchar_t text[4];
    int width = 0;
    EXPECT_EQ(host->list_cell(list, 50, 0, text, 4), 5) << "the whole length";
    EXPECT_EQ(test::utf8(text), "oth");
    EXPECT_EQ(host->list_cell(list, 100, 0, text, 4), -1);
    EXPECT_EQ(host->list_column_count(list), 1);
    EXPECT_EQ(host->list_column(list, 0, &width, text, 4), 6);
    EXPECT_EQ(width, 44);
    EXPECT_FALSE(host->list_take_changes(top, &changes)) << "no list view";
    EXPECT_TRUE(host->close_window(top));
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, top, WM_CLOSE, WM_CLOSE, PM_REMOVE));
    const RECT place = {0, 0, 500, 400};
    EXPECT_TRUE(host->place_window(list, &place));
    ASSERT_TRUE(PeekMessageW(&message, list, WM_SIZE, WM_SIZE, PM_REMOVE));
    EXPECT_EQ(message.lParam, MAKELPARAM(500, 400));
    EXPECT_EQ(MessageBoxW(nullptr, L"text", L"title", MB_ABORTRETRYIGNORE), IDRETRY);
    test::create_window(L"Frame");
    EXPECT_EQ(g_told_class, "Frame");
}

TEST_F(ListView, ATextIsSafeAlthoughItsSenderHasGivenUp)
{
    const HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    static HANDLE s_release;
    s_release = release;
    HWND other_list = nullptr;
    {
        const test::WindowThread other(
            [&]
            {
                test::register_class(L"Hanging",
                                     [](HWND window, UINT message, WPARAM w, LPARAM l)
                                     {
                                         if (message == WM_APP)
                                             WaitForSingleObject(s_release, INFINITE);
                                         return DefWindowProcW(window, message, w, l);
                                     });
                const HWND frame = test::create_window(L"Hanging");
                other_list = test::create_window(WC_LISTVIEWW, nullptr, frame, WS_CHILD);
                return frame;
            });
        SendMessageTimeoutW(other.window(), WM_APP, 0, 0, 0, 10, nullptr);
        {
            const auto text = std::make_unique<test::Wide>(L"late");
            const auto given = std::make_unique<LVITEMW>(item(0, 0, text->c_str()));
            EXPECT_FALSE(SendMessageTimeoutW(other_list, LVM_INSERTITEMW, 0,
                                             reinterpret_cast<LPARAM>(given.get()), 0, 10,
                                             nullptr));
            EXPECT_EQ(GetLastError(), ERROR_TIMEOUT);
        }
        SetEvent(release);
        list = other_list;
        EXPECT_EQ(cell(0, 0), "late");
        wchar_t text[4] = L"";
        LVITEMW asked = item(0, 0, text);
        asked.cchTextMax = 4;
        DWORD_PTR length = 0;
        EXPECT_TRUE(SendMessageTimeoutW(other_list, LVM_GETITEMTEXTW, 0,
                                        reinterpret_cast<LPARAM>(&asked), 0, 60'000, &length));
        EXPECT_EQ(length, 3u);
        EXPECT_EQ(test::utf8(text), "lat");
        EXPECT_EQ(asked.pszText, text);
    }
    CloseHandle(release);
}

} // namespace
