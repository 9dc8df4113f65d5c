// The viewer's window on a display of the test's own, looked at through its widgets and models.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QTabWidget>
#include <QTest>

#include "failure.h"
#include "listener.h"
#include "pattern_field.h"
#include "support/virtual_display.h"
#include "table/trace_table.h"
#include "trace_window.h"

namespace
{

namespace fs = std::filesystem;
using trace_window::RecordModel;
using trace_window::TraceWindow;

constexpr int patience = 60'000; // ms

template <class Predicate> bool eventually(Predicate&& predicate)
{
    return QTest::qWaitFor(std::forward<Predicate>(predicate), patience);
}

class TraceViewer : public testing::Test
{
protected:
    test::VirtualDisplay display;
    int count = 1;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    QApplication application{count, arguments};
    const fs::path root = std::getenv("PLINTH_ROOT");

    std::string log(const std::string& text, std::ios::openmode mode = std::ios::trunc) const
    {
        const fs::path path = root / "qvapp_2024-03-05.log";
        std::ofstream(path, std::ios::binary | mode) << text;
        return path.string();
    }

    static trace::ViewOptions reading(const std::string& path)
    {
        trace::ViewOptions options;
        options.input = path;
        return options;
    }

    static QString cell(const TraceWindow& window, int row, int column)
    {
        return window.model()->index(row, column).data().toString();
    }

    static bool shows(const TraceWindow& window, int rows)
    {
        return eventually([&] { return window.model()->rowCount() == rows; });
    }

    static std::vector<std::string> lines_of(const fs::path& path)
    {
        std::ifstream file(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }
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
    EXPECT_EQ(cell(window, 199, RecordModel::NumberColumn), QStringLiteral("200"));
    EXPECT_TRUE(cell(window, 0, RecordModel::ProcessColumn)
                    .endsWith(QStringLiteral(" tools_window_tests")));
    EXPECT_EQ(cell(window, 0, RecordModel::FirstField + 1), QStringLiteral("two lines"));
    EXPECT_EQ(cell(window, 199, RecordModel::FirstField + 2), QStringLiteral("199"));
    const QStringList heads = {"#", "Time", "Process", "1", "2"};
    for (int column = 0; column < heads.size(); ++column)
        EXPECT_EQ(window.model()->headerData(column, Qt::Horizontal, Qt::DisplayRole),
                  heads[column]);
    const QTableView& view = *window.table()->view();
    EXPECT_TRUE(eventually(
        [&] {
            return view.viewport()->rect().intersects(
                view.visualRect(window.model()->index(199, 0)));
        }));
    EXPECT_TRUE(window.counts().contains(QStringLiteral("shown 200   all 200")));
}

TEST_F(TraceViewer, HasATabForEachWindowId)
{
    TraceWindow window(
        reading(log("|wndid:5| five\nno window\n|wndid:-7| other\n|wndid:5| again\n")));
    window.open();
    ASSERT_TRUE(shows(window, 4));
    ASSERT_EQ(window.tabs()->count(), 3);
    EXPECT_EQ(window.tabs()->tabText(0), QStringLiteral("All"));
    for (int tab = 1; tab < 3; ++tab)
    {
        window.tabs()->setCurrentIndex(tab);
        const bool five = window.tabs()->tabText(tab) == QStringLiteral("Window 5");
        EXPECT_TRUE(five || window.tabs()->tabText(tab) == QStringLiteral("Window -7"));
        EXPECT_TRUE(shows(window, five ? 2 : 1));
    }
}

TEST_F(TraceViewer, FiltersAndKeepsTheLastGoodOneBesideABadOne)
{
    TraceWindow window(reading(log("one\ntwo\nthree\n")));
    window.open();
    ASSERT_TRUE(shows(window, 3));
    window.includeField()->setText(QStringLiteral("^one;;^th"));
    EXPECT_TRUE(shows(window, 2));
    window.includeField()->setText(QStringLiteral("^one;;(th"));
    EXPECT_FALSE(window.includeField()->problem().isEmpty());
    EXPECT_TRUE(window.includeField()->styleSheet().contains(QStringLiteral("background")));
    window.step();
    EXPECT_EQ(window.model()->rowCount(), 2);
    window.excludeField()->setText(QStringLiteral("three"));
    EXPECT_TRUE(shows(window, 1));
    window.includeField()->clear();
    EXPECT_TRUE(shows(window, 2));
    EXPECT_TRUE(window.includeField()->problem().isEmpty());
    window.highlightField()->setText(QStringLiteral("tw.;;one"));
    EXPECT_NE(window.model()->index(0, 3).data(Qt::BackgroundRole),
              window.model()->index(1, 3).data(Qt::BackgroundRole));
}

TEST_F(TraceViewer, SemicolonsOfAnExpressionOfTheCommandLineStayPartsOfIt)
{
    trace::ViewOptions options = reading(log("a\nb\na;;b\n"));
    options.include = {"a;;b"};
    TraceWindow window(options);
    window.open();
    EXPECT_TRUE(shows(window, 1));
    window.includeField()->setText(window.includeField()->text() + QStringLiteral(";;^b"));
    EXPECT_TRUE(shows(window, 2));
}

TEST_F(TraceViewer, PausesClearsAndSavesBothWays)
{
    TraceWindow window(reading(log("one\ntwo\n")));
    window.open();
    ASSERT_TRUE(shows(window, 2));
    window.setPaused(true);
    log("three\n", std::ios::app);
    EXPECT_TRUE(eventually([&] { return window.counts().contains(QStringLiteral("1 wait")); }));
    EXPECT_EQ(window.model()->rowCount(), 2);
    const fs::path shown = root / "shown.txt", all = root / "all.txt";
    window.timeBox()->setCurrentIndex(3); // none
    window.excludeField()->setText(QStringLiteral("one"));
    EXPECT_TRUE(window.saveShown(QString::fromStdString(shown.string())));
    EXPECT_EQ(lines_of(shown), std::vector<std::string>{"two"});
    EXPECT_TRUE(window.saveAll(QString::fromStdString(all.string())));
    EXPECT_EQ(lines_of(all).size(), 3u);
    EXPECT_FALSE(window.saveAll(QStringLiteral("/missing/folder/file")));
    window.setPaused(false);
    EXPECT_TRUE(shows(window, 2));
    window.clear();
    EXPECT_EQ(window.model()->rowCount(), 0);
    log("four\n", std::ios::app);
    EXPECT_TRUE(shows(window, 1));
    EXPECT_EQ(cell(window, 0, RecordModel::NumberColumn), QStringLiteral("4"));
}

TEST_F(TraceViewer, WritesWhatItShowsToAFileAndSaysWhatAPauseHasCost)
{
    trace::ViewOptions options = reading(log("one\ntwo\n"));
    options.exclude = {"one"};
    options.time = trace::TimeMode::none;
    options.keep = 64 << 10;
    options.output = (root / "shown.txt").string();
    TraceWindow window(options);
    window.open();
    ASSERT_TRUE(shows(window, 1));
    EXPECT_EQ(lines_of(*options.output), std::vector<std::string>{"two"});
    window.setPaused(true);
    std::string more;
    for (int i = 0; i < 5000; ++i)
        more += "more\n";
    log(more, std::ios::app);
    ASSERT_TRUE(eventually([&] { return lines_of(*options.output).size() == 5001; }))
        << "also while it is paused";
    EXPECT_FALSE(window.statusBar()->currentMessage().contains(QStringLiteral("dropped")));
    window.setPaused(false);
    EXPECT_TRUE(window.statusBar()->currentMessage().contains(QStringLiteral("dropped")))
        << window.statusBar()->currentMessage().toStdString();

    options.output = "/missing/folder/file";
    EXPECT_THROW(TraceWindow{options}, trace::Failure);
}

TEST_F(TraceViewer, BookmarksAreGoneToAndFro)
{
    TraceWindow window(reading(log("one\ntwo\nthree\n")));
    window.open();
    window.show();
    ASSERT_TRUE(shows(window, 3));
    for (const int row : {0, 2})
    {
        window.table()->goToRow(row);
        window.toggleBookmark();
    }
    const auto current = [&] { return window.table()->view()->currentIndex().row(); };
    window.goToBookmark(true);
    EXPECT_EQ(current(), 0);
    window.goToBookmark(false);
    EXPECT_EQ(current(), 2);
    window.excludeField()->setText(QStringLiteral("one"));
    ASSERT_TRUE(shows(window, 2));
    window.goToBookmark(true);
    EXPECT_EQ(current(), 1);
}

TEST_F(TraceViewer, WhatIsLostIsCountedAndHasARow)
{
    TraceWindow window(reading(log("a long first line\n")));
    window.open();
    ASSERT_TRUE(shows(window, 1));
    log("anew\n");
    ASSERT_TRUE(shows(window, 3));
    EXPECT_TRUE(cell(window, 1, RecordModel::FirstField).contains(QStringLiteral("shorter")));
    EXPECT_TRUE(window.counts().contains(QStringLiteral("lost 1")));
}

TEST_F(TraceViewer, BeyondItsMemoryTheOldestRowsGo)
{
    std::string text;
    for (int i = 0; i < 50'000; ++i)
        text += std::to_string(i) + "\n";
    trace::ViewOptions options = reading(log(text));
    options.keep = 100'000;
    TraceWindow window(options);
    window.open();
    window.show();
    ASSERT_TRUE(eventually(
        [&]
        {
            return cell(window, window.model()->rowCount() - 1, RecordModel::FirstField) ==
                   QStringLiteral("49999");
        }));
    const int rows = window.model()->rowCount();
    EXPECT_LT(rows, 2000);
    EXPECT_TRUE(window.counts().contains(QStringLiteral("dropped %1").arg(50'000 - rows)))
        << window.counts().toStdString();
}

TEST_F(TraceViewer, AllOfManyRecordsAreShownInOrder)
{
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += std::to_string(i) + "\n";
    TraceWindow window(reading(log(text)));
    window.open();
    window.show();
    ASSERT_TRUE(shows(window, 100'000));
    for (const int row : {0, 1, 50'000, 99'999})
        EXPECT_EQ(cell(window, row, RecordModel::FirstField), QString::number(row));
}

TEST_F(TraceViewer, AnotherListenerIsReportedAndCanBeTriedAgain)
{
    auto other = std::make_unique<trace::Listener>();
    TraceWindow window({});
    window.open();
    window.show();
    EXPECT_TRUE(window.problem().contains(QStringLiteral("another listener")));
    auto* const retry = window.findChild<QPushButton*>(QStringLiteral("retry"));
    ASSERT_TRUE(retry && retry->isVisible());
    other.reset();
    retry->click();
    EXPECT_EQ(window.problem(), QString());
    EXPECT_FALSE(retry->isVisible());
    OutputDebugStringA("for the window");
    EXPECT_TRUE(shows(window, 1));
}

} // namespace
