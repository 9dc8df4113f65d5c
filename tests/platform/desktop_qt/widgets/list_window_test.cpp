// Windows and their tables on the plug-in's own thread.
#include "shown_windows.h"

namespace
{

using test::eventually;
using test::ListWindow;
using test::on_gui;
using test::set_cell;
using test::shown;
using test::shown_cell;
using test::shown_rows;
using test::shown_view;
using test::table_of;

using WindowOnADisplay = test::OnADisplay;

// Waits until the window shows this many rows; false if it never does.
bool comes_to_show(const char* title, int rows)
{
    return eventually([=] { return shown_rows(title) == rows; });
}

// These two wait until the window is shown, or no longer shown.
bool comes(const char* title)
{
    return eventually([=] { return shown(title) != nullptr; });
}
bool goes(const char* title)
{
    return eventually([=] { return shown(title) == nullptr; });
}

std::string cell(const char* title, int row, int column)
{
    return on_gui([=] { return shown_cell(title, row, column); });
}

TEST_F(WindowOnADisplay, ShowsTitleHeadingsWidthsAndRows)
{
    ListWindow window(L"A title \u00fc");
    window.add_rows(0, 50);
    ASSERT_TRUE(comes_to_show("A title \u00fc", 50));
    EXPECT_TRUE(
        eventually([] { return test::last_row_in_sight(*shown_view("A title \u00fc")) == 49; }));
    on_gui(
        []
        {
            const QTableView& view = *shown_view("A title \u00fc");
            ASSERT_EQ(view.model()->columnCount(), 3);
            for (int i = 0; i < 3; ++i)
            {
                EXPECT_EQ(view.model()->headerData(i, Qt::Horizontal).toString(),
                          QStringLiteral("column %1").arg(i));
                EXPECT_EQ(view.columnWidth(i), 60 + 10 * i);
            }
        });
    EXPECT_EQ(cell("A title \u00fc", 7, 0), "row 7");
    EXPECT_EQ(cell("A title \u00fc", 7, 1), "\u00e9 49");
    set_cell(window.list(), 7, 2, test::Wide(3000, L'x'));
    EXPECT_TRUE(eventually([] { return shown_cell("A title \u00fc", 7, 2).size() == 3000; }))
        << "a long cell is whole";
    set_cell(window.list(), 7, 2, L"\u202e\x9b\U000e0041 \U0001f600\ufe0f \u05e9");
    EXPECT_TRUE(eventually(
        []
        {
            return shown_cell("A title \u00fc", 7, 2) ==
                   "\\u{202e}\\x9b\\u{e0041} \U0001f600\ufe0f \u05e9";
        }))
        << "what would deceive is shown: " << cell("A title \u00fc", 7, 2);
    SetWindowTextW(window.window(), L"\u2066");
    EXPECT_TRUE(comes("\\u{2066}"));
    SetWindowTextW(window.window(), L"Another");
    EXPECT_TRUE(comes("Another"));
}

TEST_F(WindowOnADisplay, TakesChangedAndRemovedRowsAndColumns)
{
    ListWindow window(L"Changing");
    window.add_rows(0, 10);
    ASSERT_TRUE(comes_to_show("Changing", 10));
    SendMessageW(window.list(), LVM_DELETEITEM, 3, 0);
    ASSERT_TRUE(comes_to_show("Changing", 9));
    EXPECT_EQ(cell("Changing", 3, 0), "row 4");
    SendMessageW(window.list(), LVM_DELETECOLUMN, 0, 0);
    ASSERT_TRUE(eventually([] { return shown_view("Changing")->model()->columnCount() == 2; }));
    EXPECT_EQ(cell("Changing", 3, 0), "\u00e9 16");
    SendMessageW(window.list(), LVM_DELETEALLITEMS, 0, 0);
    EXPECT_TRUE(comes_to_show("Changing", 0));
}

TEST_F(WindowOnADisplay, ClosingAsksTheProgramAndWindowsGoWithTheirThread)
{
    ListWindow window(L"Closing");
    window.refuses = true;
    ASSERT_TRUE(comes("Closing"));
    on_gui([] { shown("Closing")->close(); });
    EXPECT_TRUE(eventually([&] { return window.closes == 1; }));
    EXPECT_TRUE(on_gui([] { return shown("Closing") != nullptr; }));
    window.refuses = false;
    on_gui([] { shown("Closing")->close(); });
    EXPECT_TRUE(goes("Closing"));
    EXPECT_FALSE(IsWindow(window.window()));
    constexpr DWORD style = WS_OVERLAPPEDWINDOW | WS_VISIBLE;
    test::WindowThread( // the thread ends without destroying its window
        [] { return test::create_window(L"Listing", L"Left there", nullptr, style); });
    EXPECT_TRUE(goes("Left there"));
}

TEST_F(WindowOnADisplay, SizesTravelBothWays)
{
    ListWindow window(L"Sizing");
    // Wait until it has the program's width; before that the user can't change it.
    ASSERT_TRUE(eventually(
        [] { return shown_view("Sizing") && shown_view("Sizing")->columnWidth(0) == 60; }));
    on_gui([] { shown_view("Sizing")->setColumnWidth(0, 222); });
    SendMessageW(window.list(), LVM_SETCOLUMNWIDTH, 1, 111);
    EXPECT_TRUE(eventually([] { return shown_view("Sizing")->columnWidth(1) == 111; }));
    EXPECT_EQ(on_gui([] { return shown_view("Sizing")->columnWidth(0); }), 222);
    MoveWindow(window.window(), 30, 40, 516, 339, TRUE);
    ASSERT_TRUE(eventually([] { return shown("Sizing")->size() == QSize(500, 300); }));
    on_gui([] { shown("Sizing")->resize(640, 480); });
    EXPECT_TRUE(eventually([] { return table_of(shown_view("Sizing"))->width() == 640; }));
    RECT client = {};
    EXPECT_TRUE(GetClientRect(window.window(), &client));
    EXPECT_EQ(std::pair(client.right, client.bottom), std::pair(640, 480));
}

} // namespace
