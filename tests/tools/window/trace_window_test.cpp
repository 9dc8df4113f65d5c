// The viewer's window on a display of the test's own, checked through its widgets and models.

#include "support/test.h"

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

#include "failure.h"
#include "pattern_field.h"
#include "record_table.h"
#include "support/environment.h"
#include "window_on_a_display.h"

namespace
{

using trace_window::RecordModel;
using trace_window::TraceWindow;

using test::cell;
using test::eventually;
using test::has;
using test::type;

class TraceViewer : public test::WindowOnADisplay
{
protected:
    const std::string shown = test::root() + "/shown.txt";
};

TEST_F(TraceViewer, ShowsTheChannelsRecordsInColumnsAndFollowsTheLast)
{
    TraceWindow window({});
    window.open();
    window.show();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("plinth trace: the debug string channel"));
    for (int i = 0; i < 200; ++i)
        OutputDebugStringA(("one\ttwo\nlines\t" + std::to_string(i) + "\r\n").c_str());
    ASSERT_TRUE(shows(window, 200));
    EXPECT_EQ(cell(window, 199, RecordModel::number_column), "200");
    EXPECT_TRUE(cell(window, 0, RecordModel::process_column).ends_with(" tools_window_tests"));
    EXPECT_EQ(cell(window, 0, RecordModel::first_field + 1), "two lines");
    EXPECT_EQ(cell(window, 199, RecordModel::first_field + 2), "199");
    QStringList shown_heads;
    const QStringList heads = {"Time", "Process", "1", "2"};
    for (const int column : {+RecordModel::time_column, +RecordModel::process_column,
                             +RecordModel::first_field, RecordModel::first_field + 1})
        shown_heads +=
            window.model()->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    EXPECT_EQ(shown_heads, heads);
    const QTableView& view = *window.table()->view();
    EXPECT_TRUE(eventually(
        [&] {
            return view.viewport()->rect().intersects(
                view.visualRect(window.model()->index(199, 0)));
        }));
    EXPECT_TRUE(has(window.counts(), "shown 200   all 200"));
}

TEST_F(TraceViewer, HasATabForEachWindowId)
{
    const auto window =
        reading("|wndid:5| five\nno window\n|wndid:-7| other\n|wndid:5| again\n", 4);
    std::map<std::string, int> rows;
    for (int tab = 0; tab < window->tabs()->count(); ++tab)
    {
        const std::string title = window->tabs()->tabText(tab).toStdString();
        window->tabs()->setCurrentIndex(tab);
        rows[title] = title == "All" ? 4 : title == "Window 5" ? 2 : 1;
        EXPECT_TRUE(shows(*window, rows[title])) << title;
    }
    EXPECT_EQ(rows, (std::map<std::string, int>{{"All", 4}, {"Window 5", 2}, {"Window -7", 1}}));
    EXPECT_EQ(window->tabs()->tabText(0), QStringLiteral("All"));
}

TEST_F(TraceViewer, FiltersAndKeepsTheLastGoodOneBesideABadOne)
{
    options.include = {"a;;b|..."}; // from the command line: its semicolons don't separate patterns
    const auto window = reading("one\ntwo\nthree\na\n", 3);
    auto* const include = window->includeField();
    include->setText(include->text() + QStringLiteral(";;^a"));
    EXPECT_TRUE(shows(*window, 4));
    type(include, "^one;;^th");
    EXPECT_TRUE(shows(*window, 2));
    type(include, "^one;;(th");
    EXPECT_FALSE(include->problem().isEmpty());
    EXPECT_TRUE(has(include->styleSheet(), "background"));
    window->step();
    EXPECT_EQ(window->model()->rowCount(), 2);
    type(window->excludeField(), "three");
    EXPECT_TRUE(shows(*window, 1));
    type(include, "");
    EXPECT_TRUE(shows(*window, 3));
    EXPECT_TRUE(include->problem().isEmpty());
    type(window->highlightField(), "tw.;;one");
    EXPECT_NE(window->model()->index(0, 3).data(Qt::BackgroundRole),
              window->model()->index(1, 3).data(Qt::BackgroundRole));
}

TEST_F(TraceViewer, PausesClearsAndSavesBothWays)
{
    const auto window = reading("one\ntwo\n", 2);
    window->setPaused(true);
    append("three\n");
    EXPECT_TRUE(eventually([&] { return has(window->counts(), "1 wait"); }));
    EXPECT_EQ(window->model()->rowCount(), 2);
    window->timeBox()->setCurrentIndex(3); // no time
    type(window->excludeField(), "one");
    EXPECT_TRUE(window->saveShown(QString::fromStdString(shown)));
    EXPECT_EQ(test::read_file(shown), "two\n");
    EXPECT_TRUE(window->saveAll(QString::fromStdString(shown)));
    const std::string all = test::read_file(shown);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3);
    EXPECT_FALSE(window->saveAll(QStringLiteral("/missing/folder/file")));
    window->setPaused(false);
    EXPECT_TRUE(shows(*window, 2));
    window->clear();
    EXPECT_EQ(window->model()->rowCount(), 0);
    append("four\n");
    EXPECT_TRUE(shows(*window, 1));
    EXPECT_EQ(cell(*window, 0, RecordModel::number_column), "4");
}

TEST_F(TraceViewer, WritesWhatItShowsToAFile)
{
    options.exclude = {"one"};
    options.time = trace::TimeMode::none;
    options.output = shown;
    const auto window = reading("one\ntwo\n", 1);
    EXPECT_EQ(test::read_file(shown), "two\n");
    window->setPaused(true);
    append("three\n");
    EXPECT_TRUE(eventually([&] { return test::read_file(shown) == "two\nthree\n"; }))
        << "also while it is paused";
    const QString views = QString::fromStdString(test::root() + "/output.views");
    type(window->excludeField(), "four");
    ASSERT_TRUE(window->saveViews(views));
    type(window->excludeField(), "");
    ASSERT_TRUE(window->loadViews(views));
    append("four\nfive\n");
    EXPECT_TRUE(eventually([&] { return has(window->counts(), "all 5"); }));
    EXPECT_EQ(test::read_file(shown), "two\nthree\nfive\n") << "by the views that were loaded";
    options.output = "/missing/folder/file";
    EXPECT_THROW(TraceWindow{options}, trace::Failure);
}

TEST_F(TraceViewer, WhatIsLostIsCountedAndHasARow)
{
    const auto window = reading("a long first line\n", 1);
    test::write_file(log, "anew\n");
    ASSERT_TRUE(shows(*window, 3));
    EXPECT_NE(cell(*window, 1).find("shorter"), std::string::npos);
    EXPECT_TRUE(has(window->counts(), "lost 1"));
}

// Bytes of an ANSI log: a control character and an invisible hyphen.
TEST_F(TraceViewer, WhatWouldDeceiveIsShownInCellsTipsTitlesAndMessages)
{
    const auto window = reading("a\x9b"
                                "b\xad"
                                "c <b>d</b>\n",
                                1);
    EXPECT_EQ(cell(*window, 0), "a\\x9bb\\xadc <b>d</b>");
    const QString tip = window->model()->index(0, 0).data(Qt::ToolTipRole).toString();
    EXPECT_TRUE(has(tip, "a\\x9bb\\xadc")) << tip.toStdString();
    EXPECT_FALSE(has(tip, "<b>")) << tip.toStdString();

    options.inputs = {test::make_folder("a\u202eb") + "/x.log"};
    TraceWindow missing(options);
    missing.open();
    EXPECT_TRUE(has(missing.problem(), "a\\u{202e}b/x.log")) << missing.problem().toStdString();
    test::write_file(options.inputs.front(), "one\n");
    missing.open();
    EXPECT_TRUE(has(missing.windowTitle(), "a\\u{202e}b/x.log"));
}

TEST_F(TraceViewer, ASourceThatFailsIsReportedAndCanBeTriedAgain)
{
    PlinthTestFail("CreateEvent", 1, 0, ERROR_NO_SYSTEM_RESOURCES);
    TraceWindow window({});
    window.open();
    window.show();
    PlinthTestReset();
    EXPECT_TRUE(has(window.problem(), "channel can't be had")) << window.problem().toStdString();
    auto* const retry = window.findChild<QPushButton*>(QStringLiteral("retry"));
    ASSERT_TRUE(retry && retry->isVisible());
    retry->click();
    EXPECT_EQ(window.problem(), QString());
    EXPECT_FALSE(retry->isVisible());
}

TEST_F(TraceViewer, WaitsForTheChannelByItselfAndSharesItWithAnotherWindow)
{
    const HANDLE other = CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY");
    TraceWindow window({});
    window.open();
    EXPECT_TRUE(has(window.problem(), "another program has")) << window.problem().toStdString();
    CloseHandle(other);
    EXPECT_TRUE(eventually([&] { return window.problem().isEmpty(); }));
    TraceWindow second({});
    second.open();
    EXPECT_EQ(second.problem(), QString());
    OutputDebugStringA("for both windows");
    EXPECT_TRUE(shows(window, 1));
    EXPECT_TRUE(shows(second, 1));
}

} // namespace
