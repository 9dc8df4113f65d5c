// Windows and their tables on the plug-in's own thread.
#include <QImage>
#include <QScrollBar>

#include "shown_windows.h"
#include "support/environment.h"

namespace
{

using test::eventually;
using test::ListWindow;
using test::on_gui;
using test::shown;
using test::shown_cell;
using test::shown_rows;
using test::shown_view;
using test::table_of;

struct WindowOnADisplay : test::OnADisplay
{
};

TEST_F(WindowOnADisplay, ShowsTitleHeadingsWidthsAndRows)
{
    ListWindow window(L"A title \u00fc");
    window.add_rows(0, 50);
    ASSERT_TRUE(eventually([] { return shown_rows("A title \u00fc") == 50; }));
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
            EXPECT_EQ(shown_cell("A title \u00fc", 7, 0), "row 7");
            EXPECT_EQ(shown_cell("A title \u00fc", 7, 1), "\u00e9 49");
            EXPECT_EQ(shown_cell("A title \u00fc", 7, 2), "");
        });
    SetWindowTextW(window.window(), L"Another");
    EXPECT_TRUE(eventually([] { return shown("Another") != nullptr; }));
}

TEST_F(WindowOnADisplay, APictureOfItHasMoreThanABackground)
{
    ListWindow window(L"Picture");
    window.add_rows(0, 20);
    ASSERT_TRUE(eventually([] { return shown_rows("Picture") == 20; }));
    const std::string path = test::root() + "/picture.png";
    ASSERT_TRUE(on_gui([&] { return shown("Picture")->grab().save(path.c_str()); }));
    const QImage picture(path.c_str());
    ASSERT_FALSE(picture.isNull());
    QSet<QRgb> colours;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            colours.insert(picture.pixel(x, y));
    EXPECT_GT(colours.size(), 8) << "text has shades";
}

TEST_F(WindowOnADisplay, FollowsTheLastRowUntilItsUserScrollsUp)
{
    ListWindow window(L"Following");
    window.add_rows(0, 100);
    ASSERT_TRUE(eventually([] { return shown_rows("Following") == 100; }));
    ASSERT_TRUE(eventually([] { return test::last_row_in_sight(*shown_view("Following")) == 99; }));
    const int top = on_gui(
        []
        {
            QTableView& view = *shown_view("Following");
            view.verticalScrollBar()->setValue(20);
            return view.rowAt(0);
        });
    window.add_rows(100, 200);
    ASSERT_TRUE(eventually([] { return shown_rows("Following") == 200; }));
    on_gui(
        [top]
        {
            QTableView& view = *shown_view("Following");
            QCoreApplication::processEvents(); // lays the new rows out
            EXPECT_FALSE(table_of(&view)->property("following").toBool());
            EXPECT_EQ(view.rowAt(0), top);
            view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
            EXPECT_TRUE(table_of(&view)->property("following").toBool());
        });
    window.add_row(200);
    EXPECT_TRUE(
        eventually([] { return test::last_row_in_sight(*shown_view("Following")) == 200; }));
}

TEST_F(WindowOnADisplay, TakesChangedAndRemovedRowsAndColumns)
{
    ListWindow window(L"Changing");
    window.add_rows(0, 10);
    ASSERT_TRUE(eventually([] { return shown_rows("Changing") == 10; }));
    SendMessageW(window.list(), LVM_DELETEITEM, 3, 0);
    ASSERT_TRUE(eventually([] { return shown_rows("Changing") == 9; }));
    EXPECT_EQ(on_gui([] { return shown_cell("Changing", 3, 0); }), "row 4");
    SendMessageW(window.list(), LVM_DELETECOLUMN, 0, 0);
    ASSERT_TRUE(eventually([] { return shown_view("Changing")->model()->columnCount() == 2; }));
    EXPECT_EQ(on_gui([] { return shown_cell("Changing", 3, 0); }), "\u00e9 16");
    SendMessageW(window.list(), LVM_DELETEALLITEMS, 0, 0);
    EXPECT_TRUE(eventually([] { return shown_rows("Changing") == 0; }));
    window.add_rows(0, 2);
    EXPECT_TRUE(eventually([] { return shown_rows("Changing") == 2; }));
}

TEST_F(WindowOnADisplay, AWidthThatTheUserGaveStaysUntilTheProgramGivesAnother)
{
    ListWindow window(L"Widths");
    // With the program's first width; before, the user has none to change.
    ASSERT_TRUE(eventually(
        [] { return shown_view("Widths") && shown_view("Widths")->columnWidth(0) == 60; }));
    const auto width = [](int column)
    { return on_gui([=] { return shown_view("Widths")->columnWidth(column); }); };
    on_gui([] { shown_view("Widths")->setColumnWidth(0, 222); });
    SendMessageW(window.list(), LVM_SETCOLUMNWIDTH, 1, 111);
    EXPECT_TRUE(eventually([] { return shown_view("Widths")->columnWidth(1) == 111; }));
    EXPECT_EQ(width(0), 222);
}

TEST_F(WindowOnADisplay, LongCellsAreWhole)
{
    ListWindow window(L"Long");
    window.add_row(0);
    test::Wide text(3000, L'x');
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.iSubItem = 2;
    item.pszText = const_cast<wchar_t*>(text.c_str());
    SendMessageW(window.list(), LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    ASSERT_TRUE(eventually([] { return shown_rows("Long") == 1; }));
    EXPECT_EQ(on_gui([] { return shown_cell("Long", 0, 2); }), std::string(3000, 'x'));
}

TEST_F(WindowOnADisplay, AMillionRowsKeepTheWindowUsable)
{
    ListWindow window(L"Many", 1);
    const test::Wide text("one of many");
    LVITEMW item = {};
    item.mask = LVIF_TEXT;
    item.pszText = const_cast<wchar_t*>(text.c_str());
    constexpr int rows = 1'000'000;
    for (; item.iItem < rows; ++item.iItem)
        SendMessageW(window.list(), LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
    ASSERT_TRUE(eventually([] { return shown_rows("Many") == rows; }));
    EXPECT_TRUE(
        eventually([] { return test::last_row_in_sight(*shown_view("Many")) == rows - 1; }));
    EXPECT_EQ(on_gui([] { return shown_cell("Many", rows / 2, 0); }), "one of many");
    on_gui(
        []
        {
            QMetaObject::invokeMethod(table_of(shown_view("Many")), "goToRow", Q_ARG(int, rows / 3),
                                      Q_ARG(int, 0));
        });
    EXPECT_TRUE(on_gui(
        []
        {
            const QTableView& view = *shown_view("Many");
            const int top = view.rowAt(0);
            return top <= rows / 3 && rows / 3 <= test::last_row_in_sight(view);
        }));
}

TEST_F(WindowOnADisplay, ClosingAsksTheProgram)
{
    ListWindow window(L"Closing");
    window.refuses = true;
    ASSERT_TRUE(eventually([] { return shown("Closing") != nullptr; }));
    on_gui([] { shown("Closing")->close(); });
    EXPECT_TRUE(eventually([&] { return window.closes == 1; }));
    EXPECT_TRUE(IsWindow(window.window()));
    EXPECT_TRUE(on_gui([] { return shown("Closing") != nullptr; }));
    window.refuses = false;
    on_gui([] { shown("Closing")->close(); });
    EXPECT_TRUE(eventually([] { return shown("Closing") == nullptr; }));
    EXPECT_EQ(window.closes, 2);
    EXPECT_FALSE(IsWindow(window.window()));
}

TEST_F(WindowOnADisplay, HidesAndGoesWithItsThread)
{
    auto window = std::make_unique<ListWindow>(L"Going");
    ASSERT_TRUE(eventually([] { return shown("Going") != nullptr; }));
    ShowWindow(window->window(), SW_HIDE);
    EXPECT_TRUE(eventually([] { return shown("Going") == nullptr; }));
    ShowWindow(window->window(), SW_SHOW);
    EXPECT_TRUE(eventually([] { return shown("Going") != nullptr; }));
    test::WindowThread(
        [] { // ends without destroying it
            const HWND other = test::create_window(L"Listing", L"Left behind");
            ShowWindow(other, SW_SHOW);
            return other;
        })
        .end();
    window.reset();
    EXPECT_TRUE(eventually([] { return !shown("Going") && !shown("Left behind"); }));
}

TEST_F(WindowOnADisplay, SizesTravelBothWays)
{
    ListWindow window(L"Sizing");
    ASSERT_TRUE(eventually([] { return shown("Sizing") != nullptr; }));
    MoveWindow(window.window(), 30, 40, 516, 339, TRUE);
    ASSERT_TRUE(eventually([] { return shown("Sizing")->size() == QSize(500, 300); }));
    ASSERT_TRUE(
        eventually([] { return table_of(shown_view("Sizing"))->size() == QSize(500, 300); }));
    on_gui([] { shown("Sizing")->resize(640, 480); });
    EXPECT_TRUE(eventually([&] { return window.size == MAKELPARAM(640, 480); }));
    EXPECT_TRUE(
        eventually([] { return table_of(shown_view("Sizing"))->size() == QSize(640, 480); }));
    RECT client = {};
    EXPECT_TRUE(GetClientRect(window.window(), &client));
    EXPECT_EQ(client.right, 640);
    EXPECT_EQ(client.bottom, 480);
}

} // namespace
