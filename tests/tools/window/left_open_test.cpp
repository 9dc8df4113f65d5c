// Viewers that stay open for days, and their daily use: filtering, looking around, searching,
// copying.

#include "support/test.h"

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QToolButton>

#include "hit_marks.h"
#include "pattern_field.h"
#include "record_table.h"
#include "session.h"
#include "support/resident.h"
#include "view_area.h"
#include "window_on_a_display.h"

namespace
{

using ViewerLeftOpen = test::WindowOnADisplay;
using test::cell;
using test::eventually;
using test::type;
using trace_window::RecordModel;
using trace_window::RecordTable;
using trace_window::TraceWindow;

// The number of the record at the top of the table.
std::string top_number(const TraceWindow& window)
{
    return cell(window, window.table()->view()->rowAt(0), RecordModel::number_column);
}

// The number of the current record, and its position on the screen, in pixels.
std::pair<std::string, int> current(const TraceWindow& window)
{
    const qt_table::RowsView& view = *window.table()->view();
    const QModelIndex index = view.currentIndex();
    return {cell(window, index.row(), RecordModel::number_column), view.visualRect(index).top()};
}

TEST_F(ViewerLeftOpen, ATableThatWasScrolledUpStaysWhenOldRecordsAreDropped)
{
    options.keep = 1 << 20;
    const auto window = reading(test::lines(2000), 2000);
    trace_window::ViewPage& scrolled = window->view();
    RecordTable& linked = window->addView(QStringLiteral("Linked"), {}, 1).table();
    ASSERT_TRUE(eventually([&] { return linked.rows().rowCount() == 2000; }));
    window->area().bringToFront(scrolled);
    window->area().setLinked(true);
    window->table()->goToRow(5); // one that is dropped later
    linked.setFollowing(true);
    window->table()->view()->setTopRow(1900);
    ASSERT_FALSE(window->table()->isFollowing());
    const std::string before = top_number(*window);
    const auto drops = [&]
    { return std::stoi(cell(*window, 0, RecordModel::number_column)) > 100; };
    for (int all = 2500; all < 50'000 && !drops(); all += 500)
    {
        append(test::lines(500));
        const QString counted = QStringLiteral("all %1 ").arg(all);
        ASSERT_TRUE(eventually([&] { return window->counts().contains(counted); }));
    }
    EXPECT_TRUE(drops());
    EXPECT_EQ(top_number(*window), before);
    EXPECT_EQ(window->table()->chosen(), std::nullopt);
    EXPECT_TRUE(linked.isFollowing());
}

TEST_F(ViewerLeftOpen, AChangedFilterKeepsTheChosenRecordAndItsPlaceOrTheNearestOne)
{
    const auto window = reading(test::lines(3000), 3000);
    type(window->includeField(), "7$");
    ASSERT_TRUE(shows(*window, 300));
    window->table()->goToRow(150);
    const auto chosen = current(*window);
    EXPECT_EQ(chosen.first, "1508");
    type(window->includeField(), "");
    ASSERT_TRUE(shows(*window, 3000));
    EXPECT_EQ(current(*window), chosen);
    type(window->excludeField(), "record 1507$");
    ASSERT_TRUE(shows(*window, 2999));
    EXPECT_EQ(std::abs(std::stoi(current(*window).first) - 1508), 1);
    EXPECT_EQ(current(*window).second, chosen.second);
    type(window->excludeField(), "");
    ASSERT_TRUE(shows(*window, 3000));
    EXPECT_EQ(current(*window), chosen) << "the one that was chosen comes back";
    // Without a chosen record the last one stays in sight.
    window->table()->view()->setFocus();
    QTest::keyClick(window->table()->view(), Qt::Key_End, Qt::ControlModifier);
    append(test::lines(1));
    ASSERT_TRUE(shows(*window, 3001));
    EXPECT_TRUE(window->table()->isFollowing());
}

TEST_F(ViewerLeftOpen, ASearchMarksAndCountsAllHitsAndCtrlCCopiesTheRowThatWasFound)
{
    const auto window = reading(test::lines(2000), 2000);
    RecordTable& table = *window->table();
    auto& field = *table.findBar()->findChild<QLineEdit*>();
    table.goToRow(0);
    QTest::keyClick(table.view(), 'R');
    QTest::keyClicks(&field, "ECORD 199");
    ASSERT_TRUE(eventually([&] { return table.found().count() == 11; })); // 199, 1990 to 1999
    EXPECT_EQ(current(*window).first, "200");
    EXPECT_EQ(table.delegate().marks(QStringLiteral("a record 1991 b")).size(), 1);
    EXPECT_EQ(table.delegate().marks(QStringLiteral("a record 191 b")).size(), 0);
    const std::vector<int> marked = table.hitMarks().marked();
    const int height = table.hitMarks().height();
    ASSERT_GE(marked.size(), 2U);
    EXPECT_NEAR(marked.front(), height / 10, 2);
    EXPECT_NEAR(marked.back(), height, 3);

    QApplication::clipboard()->setText(QStringLiteral("before"));
    QTest::keyClick(&field, Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(QApplication::clipboard()->text().contains(QStringLiteral("record 199")))
        << QApplication::clipboard()->text().toStdString();
    for (const char* const number : {"1991", "1992"})
    {
        QTest::keyClick(&field, Qt::Key_Return);
        EXPECT_TRUE(eventually([&] { return current(*window).first == number; }));
    }
    append("record 1999999\n");
    EXPECT_TRUE(eventually([&] { return table.found().count() == 12; })) << "new ones too";
}

TEST_F(ViewerLeftOpen, ASearchTakesExpressionsAndSaysWhatIsNone)
{
    const auto window = reading("one.two\nonextwo\n", 2);
    RecordTable& table = *window->table();
    table.search(QStringLiteral("e.t"));
    EXPECT_TRUE(eventually([&] { return table.found().count() == 1; }));
    const auto buttons = table.findBar()->findChildren<QToolButton*>();
    const auto expression =
        std::find_if(buttons.begin(), buttons.end(),
                     [](const auto* button) { return button->text() == QStringLiteral(".*"); });
    ASSERT_NE(expression, buttons.end());
    (*expression)->click();
    EXPECT_TRUE(eventually([&] { return table.found().count() == 2; }));
    table.search(QStringLiteral("(e"));
    EXPECT_TRUE(eventually([&] { return table.found().count() == 0; }));
    const auto labels = table.findBar()->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(),
                            [](const QLabel* label)
                            { return test::has(label->text(), "parenthes"); }));
}

TEST_F(ViewerLeftOpen, StampMarkerAndTagAreNotRepeatedInTheTextUnlessItIsWantedRaw)
{
    const std::string record = "2024-03-05 14:07:33.006 *vtq* |wndid:7| one";
    const auto window = reading(record + "\ttwo\r\n", 1);
    EXPECT_EQ(cell(*window, 0, RecordModel::window_column), "7");
    EXPECT_EQ(cell(*window, 0, RecordModel::first_field), "one");
    EXPECT_EQ(cell(*window, 0, RecordModel::first_field + 1), "two");
    RecordTable& table = *window->table();
    const auto hits = [&]
    {
        EXPECT_TRUE(eventually([&] { return table.found().progress() >= 1; }));
        return table.found().count();
    };
    for (const auto& [text, wanted] : {std::pair("one", 1U), std::pair("vtq", 0U)})
    {
        table.search(QString::fromUtf8(text));
        EXPECT_EQ(hits(), wanted) << "a search finds what is shown: " << text;
    }
    window->view().setRaw(true);
    EXPECT_EQ(cell(*window, 0, RecordModel::first_field), record);
    EXPECT_EQ(hits(), 1U) << "what is shown now is searched again";
}

TEST_F(ViewerLeftOpen, LongManyAndStrangeTextsAreShownAndCopiedWhole)
{
    const std::string long_text(100'000, 'x');
    std::string tabs = "first";
    for (int i = 0; i < 2000; ++i)
        tabs += "\t" + std::to_string(i);
    const auto window = reading(long_text + "\n" + tabs + "\n", 2);
    EXPECT_EQ(cell(*window, 0).size(), long_text.size());
    EXPECT_LE(window->model()->columnCount(), 600);
    RecordTable& table = *window->table();
    table.goToRow(1);
    EXPECT_TRUE(table.selectedText().endsWith(QStringLiteral("1998 1999")))
        << table.selectedText().right(30).toStdString();
    EXPECT_LT(window->model()->index(0, 0).data(Qt::ToolTipRole).toString().size(), 10'000);
    EXPECT_FALSE(window->grab().isNull());
}

// Millions of records with PLINTH_SOAK_SECONDS, else enough for old ones to go.
TEST_F(ViewerLeftOpen, WithVeryManyRecordsTakesNoMoreThanIsKeptAndGivesItBackWhenItIsCleared)
{
    constexpr size_t keep = 32 << 20;
    const bool isSoak = std::getenv("PLINTH_SOAK_SECONDS") != nullptr;
    options.keep = keep;
    TraceWindow window(options);
    window.open();
    window.show();
    window.addView(QStringLiteral("Beside it"), {}, 1);
    window.table()->search(QStringLiteral("7"));
    OutputDebugStringA("7");
    EXPECT_TRUE(shows(window, 1));
    const size_t before = test::resident();
    int all = 1;
    // Short ones, of which each has its row in two tables, and long ones after them.
    for (const auto& [size, records] : {std::pair(0, isSoak ? 5'000'000 : 700'000),
                                        std::pair(100, 250'000), std::pair(270 << 10, 200)})
    {
        const std::string text(static_cast<size_t>(size), 'x');
        size_t most = 0;
        for (int i = 0; i < records; ++i)
        {
            OutputDebugStringA((std::to_string(i) + text).c_str());
            if (i % (size < 1000 ? 2'000 : 4) != 0)
                continue;
            window.step();
            QApplication::processEvents();
            most = std::max(most, test::resident() - before);
        }
        all += records;
        const QString counted = QStringLiteral("all %1 ").arg(all);
        EXPECT_TRUE(eventually([&] { return window.counts().contains(counted); }));
        std::printf("soak: window: %zu KiB resident for %zu KiB kept\n", most >> 10, keep >> 10);
        EXPECT_GT(most, keep / 2);
        EXPECT_LT(most, keep / 10 * 11 + test::sanitizers_share) << "records of " << size;
    }
    window.clear();
    QApplication::processEvents();
    EXPECT_LT(test::resident(), before + (16 << 20) + test::sanitizers_share);
}

TEST(FilterOverAMillionRows, ShowsTheFirstPageAtOnceAndTheRestStepByStep)
{
    constexpr int records = 1'000'000;
    trace_window::Session session{{}};
    for (int i = 0; i < records; ++i)
        session.store.append(trace::Record{.time = i, .text = std::to_string(i)});
    RecordModel model(session, {});
    while (!model.update(std::chrono::milliseconds(10)))
    {
    }
    ASSERT_EQ(model.rowCount(), records);
    const uint64_t anchor = 500'000;
    model.setFilter({.include = {trace::Pattern("7$")}}, anchor);
    const int first = model.rowCount();
    EXPECT_GT(first, 50);
    EXPECT_LT(first, records / 10) << "not all of it before it is shown";
    EXPECT_EQ(model.number(static_cast<int>(*model.view().nearest_row(anchor))), anchor - 3);
    EXPECT_FALSE(model.update(std::chrono::milliseconds(0)));
    while (!model.update(std::chrono::milliseconds(4)))
    {
    }
    EXPECT_EQ(model.rowCount(), records / 10);
}

// The application's palette is the desktop's, unless light or dark was chosen.
TEST_F(ViewerLeftOpen, TurnsDarkAndLightWithTheDesktop)
{
    const auto window = reading("one\ntwo\n", 2);
    type(window->highlightField(), "one");
    const auto is_dark = [](const QColor& colour) { return colour.lightness() < 128; };
    for (const bool dark : {true, false, true})
    {
        QApplication::setPalette(QPalette(dark ? QColor(40, 40, 40) : QColor(230, 230, 230)));
        const auto has_turned = [&]
        {
            const QVariant ground = window->model()->index(0, 0).data(Qt::BackgroundRole);
            const QImage picture = window->table()->view()->viewport()->grab().toImage();
            const QColor empty = picture.pixelColor(picture.width() / 2, picture.height() - 1);
            return is_dark(ground.value<QBrush>().color()) == dark && is_dark(empty) == dark;
        };
        EXPECT_TRUE(eventually(has_turned)) << dark;
    }
}

} // namespace
