// Viewers that are left open for days, and what people do in them all day: filter, look around,
// search, copy.

#include "support/test.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QTableView>
#include <QTest>

#include "pattern_field.h"
#include "table/find_bar.h"
#include "table/trace_table.h"
#include "window_on_a_display.h"

namespace
{

using ViewerLeftOpen = test::WindowOnADisplay;
using test::eventually;
using test::type;
using trace_window::RecordModel;

// What the row at the top of the table has in a column.
std::string top_row(const trace_window::TraceWindow& window, int column)
{
    const QTableView& view = *window.table()->view();
    return test::cell(window, view.rowAt(0), column);
}

TEST_F(ViewerLeftOpen, ATableThatWasScrolledUpStaysWhenOldRecordsAreDropped)
{
    options.keep = 1 << 20;
    const auto window = reading(test::lines(2000), 2000);
    window->table()->view()->setTopRow(1900);
    ASSERT_FALSE(window->table()->isFollowing());
    const std::string before = top_row(*window, RecordModel::NumberColumn);
    for (int i = 0; i < 100 && test::cell(*window, 0, RecordModel::NumberColumn) == "1"; ++i)
    {
        append(test::lines(500));
        ASSERT_TRUE(eventually([&] { return test::has(window->counts(), QStringLiteral("all %1").arg(2000 + 500 * (i + 1))); }));
    }
    EXPECT_NE(test::cell(*window, 0, RecordModel::NumberColumn), "1");
    EXPECT_EQ(top_row(*window, RecordModel::NumberColumn), before);
}

TEST_F(ViewerLeftOpen, AChangedFilterKeepsTheSelectedRecordAndItsPlace)
{
    const auto window = reading(test::lines(3000), 3000);
    type(window->includeField(), "7$");
    ASSERT_TRUE(shows(*window, 300));
    QTableView& view = *window->table()->view();
    window->table()->goToRow(150);
    const std::string picked = test::cell(*window, 150, RecordModel::NumberColumn);
    const int place = view.visualRect(view.currentIndex()).top();
    type(window->includeField(), "");
    ASSERT_TRUE(shows(*window, 3000));
    EXPECT_EQ(test::cell(*window, view.currentIndex().row(), RecordModel::NumberColumn), picked);
    EXPECT_EQ(view.visualRect(view.currentIndex()).top(), place);
    type(window->excludeField(), picked.c_str());
    EXPECT_TRUE(eventually([&] { return window->model()->rowCount() < 3000; }));
    EXPECT_TRUE(eventually([&] { return std::abs(view.visualRect(view.currentIndex()).top() - place) <= view.rowHeight(0); }));
}

TEST_F(ViewerLeftOpen, AfterASearchCtrlCCopiesTheRowThatWasFound)
{
    const auto window = reading(test::lines(30), 30);
    auto& field = *window->table()->findBar()->findChild<QLineEdit*>();
    window->table()->showFindBar();
    QTest::keyClicks(&field, "record 17");
    ASSERT_TRUE(eventually([&] { return window->table()->view()->currentIndex().row() == 17; }));
    QApplication::clipboard()->setText(QStringLiteral("before"));
    QTest::keyClick(&field, Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(QApplication::clipboard()->text().contains(QStringLiteral("record 17")))
        << QApplication::clipboard()->text().toStdString();
}

TEST_F(ViewerLeftOpen, StampMarkerAndTagAreNotRepeatedInTheText)
{
    const auto window = reading("2024-03-05 14:07:33.006 *vtq* |wndid:7| one\ttwo\r\n", 1);
    EXPECT_EQ(test::cell(*window, 0, RecordModel::FirstField), "one");
}

} // namespace
