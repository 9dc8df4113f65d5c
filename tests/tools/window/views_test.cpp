// The user's own views: made from a record, side by side and linked, kept from one start to the
// next.

#include "support/test.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>

#include "pattern_field.h"
#include "view_area.h"
#include "window_list.h"
#include "window_on_a_display.h"

namespace
{

using test::cell;
using test::eventually;
using test::type;
using trace_window::RecordModel;
using trace_window::TraceWindow;
using trace_window::ViewPage;

class Views : public test::WindowOnADisplay
{
protected:
    const std::string settings = test::root() + "/views/own.views";

    static bool shows(const ViewPage& page, int rows)
    {
        return eventually([&] { return page.table().rows().rowCount() == rows; });
    }

    static QStringList titles(const TraceWindow& window)
    {
        QStringList titles;
        for (const ViewPage* const page : window.area().pages())
            titles += page->name();
        return titles;
    }
};

// Chooses from the menu of a record, as if the mouse were over the word.
void choose(ViewPage& page, int row, const char* word, const char* entry)
{
    QMenu menu;
    page.addCommands(menu, row, QString::fromUtf8(word));
    for (QAction* const action : menu.actions())
        if (QString(action->text()).remove(u'&') == QString::fromUtf8(entry))
            return action->trigger();
    ADD_FAILURE() << "no " << entry;
}

TEST_F(Views, ComeFromTheChosenRecord)
{
    const auto window = reading("|wndid:5| took 17 ms\n|wndid:6| took 3 ms\n|wndid:6| else\n", 3);
    ViewPage& page = window->view();
    choose(page, 0, "", "Without texts like this");
    EXPECT_TRUE(shows(page, 1));
    type(page.bar().exclude(), "");
    ASSERT_TRUE(shows(page, 3));
    choose(page, 0, "took", "Mark \"took\"");
    const auto ground = [&](int row)
    { return page.table().rows().index(row, 0).data(Qt::BackgroundRole); };
    EXPECT_EQ(ground(0), ground(1));
    EXPECT_NE(ground(0), ground(2));
    choose(page, 1, "", "Only this window");
    EXPECT_TRUE(shows(page, 2));
    EXPECT_EQ(page.bar().windows()->text(), QStringLiteral("6"));
}

TEST_F(Views, AreKeptWithTheirFiltersColumnsAndPlacesUntilTheNextStart)
{
    {
        test::write_file(log, "one\ntwo\n");
        options.inputs = {log};
        TraceWindow window(options, settings);
        window.open();
        window.show();
        ViewPage& mine = window.addView(QStringLiteral("Mine \u00fc"), {}, 1);
        type(mine.bar().include(), "^t;;\"x\\dy\"");
        type(mine.bar().highlight(), "w");
        type(mine.bar().processes(), "17;; !my editor ");
        mine.table().view()->setColumnHidden(RecordModel::time_column, true);
        mine.table().view()->setColumnWidth(RecordModel::number_column, 123);
        window.close();
    }
    TraceWindow window(options, settings);
    window.open();
    window.show();
    ASSERT_EQ(titles(window), QStringList({"All", QStringLiteral("Mine \u00fc")}));
    ViewPage& mine = *window.area().pages().back();
    EXPECT_EQ(window.area().sideOf(mine), 1);
    EXPECT_EQ(mine.bar().include()->text(), QStringLiteral("^t;;\"x\\dy\""));
    EXPECT_EQ(mine.bar().highlight()->text(), QStringLiteral("w"));
    EXPECT_EQ(mine.bar().processes()->text(), QStringLiteral("17;;!my editor"));
    EXPECT_TRUE(mine.table().view()->isColumnHidden(RecordModel::time_column));
    EXPECT_FALSE(mine.table().view()->isColumnHidden(RecordModel::process_column));
    EXPECT_EQ(mine.table().view()->columnWidth(RecordModel::number_column), 123);
}

TEST_F(Views, OfTwoWindowsWithOneFileAreAllKept)
{
    TraceWindow first(options, settings);
    first.addView(QStringLiteral("Shared"), {});
    first.addView(QStringLiteral("Closed"), {});
    first.keepSettings();
    TraceWindow second(options, settings);
    type(first.area().pages()[1]->bar().include(), "changed");
    first.addView(QStringLiteral("Of the first"), {});
    first.area().remove(*first.area().pages()[2]);
    first.keepSettings();
    second.addView(QStringLiteral("Of the second"), {});
    second.keepSettings();
    const TraceWindow third(options, settings);
    EXPECT_EQ(titles(third), QStringList({"All", "Shared", "Of the first", "Of the second"}));
    EXPECT_EQ(third.area().pages()[1]->bar().include()->text(), QStringLiteral("changed"));
}

TEST_F(Views, OfADamagedFileAreToldAndOfALaterVersionNotOverwritten)
{
    const std::string later = "plinth-views 99\nnew = things\n";
    test::make_folder("views");
    test::write_file(settings, later);
    {
        TraceWindow window(options, settings);
        window.addView(QStringLiteral("Mine"), {});
        EXPECT_FALSE(window.saveViews(QString::fromStdString(settings)));
        window.close();
    }
    EXPECT_EQ(test::read_file(settings), later);
    test::write_file(settings, std::string("\0\xff", 2));
    TraceWindow window(options, settings);
    EXPECT_EQ(titles(window), QStringList({"All"}));
    EXPECT_FALSE(window.loadViews(QString::fromStdString(settings)));
    EXPECT_TRUE(window.saveViews(QString::fromStdString(test::root() + "/other.views")));
    EXPECT_TRUE(window.loadViews(QString::fromStdString(test::root() + "/other.views")));
    EXPECT_FALSE(window.saveViews(QStringLiteral("/proc/none.views")));
}

TEST_F(Views, WithAFontThatIsMissingHaveTheDesktopsAndKeepItsName)
{
    {
        TraceWindow window(options, settings);
        window.keepSettings();
    }
    std::string kept = test::read_file(settings);
    const std::string entry = "window.font = ";
    const size_t font = kept.find(entry);
    ASSERT_NE(font, std::string::npos) << kept;
    kept.insert(font + entry.size(), "No Such Font,17,-1,5,400,0,0,0,0,0");
    test::write_file(settings, kept);
    TraceWindow window(options, settings);
    EXPECT_EQ(window.table()->view()->font().family(), QApplication::font().family());
    EXPECT_NE(window.table()->view()->font().pointSize(), 17);
    EXPECT_TRUE(test::has(window.statusBar()->currentMessage(), "No Such Font"));
    window.addView(QStringLiteral("Mine"), {});
    window.keepSettings();
    EXPECT_NE(test::read_file(settings).find(entry + "No Such Font,17"), std::string::npos);
}

TEST_F(Views, ThatAreLinkedShowTheNeighboursOfWhatIsChosenInOneOfThem)
{
    const auto window = reading(test::lines(3000), 3000);
    ViewPage& all = window->view();
    trace::ViewSettings wanted;
    wanted.include = {"7$"};
    ViewPage& sevens = window->addView(QStringLiteral("Sevens"), wanted, 1);
    ASSERT_TRUE(shows(sevens, 300));
    window->area().setLinked(true);
    const auto chosen = [](const ViewPage& page)
    {
        const int row = page.table().view()->currentIndex().row();
        return row < 0 ? 0 : page.table().rows().number(row);
    };
    sevens.table().goToRow(100);
    EXPECT_EQ(chosen(all), 1007U);
    EXPECT_FALSE(all.table().view()->visualRect(all.table().view()->currentIndex()).isEmpty());
    all.table().goToRow(2016);
    EXPECT_EQ(chosen(sevens), 2017U) << "the nearest one";
    window->area().setLinked(false);
    all.table().goToRow(5);
    EXPECT_EQ(chosen(sevens), 2017U);
}

TEST_F(Views, OfThousandsOfWindowIdsAreInAList)
{
    std::string text;
    trace::ViewSettings all;
    for (int i = 1; i <= 10'000; ++i)
    {
        text += "|wndid:" + std::to_string(i) + "| text\n";
        all.windows.insert(i);
    }
    all.include.assign(40, std::string(1'000, 'x') + "|");
    const auto window = reading(text, 10'000);
    EXPECT_TRUE(eventually([&] { return window->tabs()->count() == 100; }));
    auto& list = *window->findChild<trace_window::WindowList*>();
    EXPECT_EQ(list.matching(QString()).size(), 10'000);
    EXPECT_EQ(list.matching(QStringLiteral("9999")), QStringList({"9999"}));
    emit list.windowChosen(9999);
    EXPECT_TRUE(shows(window->view(), 1));
    EXPECT_EQ(cell(*window, 0, RecordModel::number_column), "9999");
    const trace::ViewSettings kept = window->addView(QStringLiteral("Many"), all).settings();
    EXPECT_TRUE(kept.windows == all.windows) << kept.windows.size();
    EXPECT_EQ(kept.include, all.include);
}

TEST_F(Views, HaveAStripThatGoesToTheTimeUnderTheMouse)
{
    std::string text;
    for (int second = 10; second < 40; ++second)
        for (int i = 0; i < 50; ++i)
            text += "2024-03-05 14:07:" + std::to_string(second) + ".000 *vtq* record\n";
    const auto window = reading(text, 1500);
    trace_window::TimelineStrip& strip = window->view().strip();
    ASSERT_TRUE(eventually([&] { return strip.timeline().seconds().size() == 30; }));
    EXPECT_EQ(strip.timeline().seconds().front().all, 50U);
    int x = strip.width() - 1;
    const auto wanted = [&] { return (strip.timeAt(x) / trace::second) % 60 == 20; };
    while (x > 0 && !wanted())
        --x;
    QTest::mouseClick(&strip, Qt::LeftButton, {}, QPoint(x, 5));
    EXPECT_EQ(window->table()->chosen(), 500U);
}

TEST_F(Views, OfTheMenuKeyAreOfTheChosenRecord)
{
    const auto window = reading("|wndid:5| one\n|wndid:6| two\n|wndid:7| three\n", 3);
    trace_window::RecordTable& table = *window->table();
    table.goToRow(2);
    QTimer::singleShot(
        0, &table,
        []
        {
            auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            for (QAction* const action : menu->actions())
                if (QString(action->text()).remove(u'&') == QStringLiteral("Only this window"))
                    action->trigger();
            menu->close();
        });
    const QPoint place = table.view()->visualRect(table.view()->currentIndex()).center();
    QContextMenuEvent key(QContextMenuEvent::Keyboard, place, table.view()->mapToGlobal(place));
    QApplication::sendEvent(table.view(), &key);
    EXPECT_EQ(window->view().bar().windows()->text(), QStringLiteral("7"));
}

TEST_F(Views, ThatAreLinkedGoOnFollowingAfterAClear)
{
    const auto window = reading(test::lines(500), 500);
    ViewPage& all = window->view();
    ViewPage& other = window->addView(QStringLiteral("Other"), {});
    window->area().setLinked(true);
    all.table().goToRow(100);
    window->clear();
    append(test::lines(400));
    ASSERT_TRUE(shows(all, 400));
    window->area().bringToFront(other);
    EXPECT_TRUE(shows(other, 400));
    EXPECT_TRUE(other.table().isFollowing());
}

TEST_F(Views, InvalidExpressionsOfTheFileAreToldAndStayInIt)
{
    {
        TraceWindow window(options, settings);
        ViewPage& mine = window.addView(QStringLiteral("Mine"), {});
        type(mine.bar().include(), "good");
        type(mine.bar().highlight(), "marked");
        window.keepSettings();
    }
    std::string text = test::read_file(settings);
    for (const char* const expression : {"good", "marked"})
        text.insert(text.find(expression), "(");
    test::write_file(settings, text);
    {
        TraceWindow window(options, settings);
        EXPECT_TRUE(window.statusBar()->currentMessage().contains(
            QStringLiteral("is no regular expression")));
        type(window.area().pages().back()->bar().processes(), "17");
        window.keepSettings();
    }
    text = test::read_file(settings);
    EXPECT_NE(text.find("(good"), std::string::npos);
    EXPECT_NE(text.find("(marked"), std::string::npos);
}

TEST_F(Views, TheFirstOfThemChoosesWhatTheOutputFileGetsAlsoWhenAnotherBecomesTheFirst)
{
    const std::string output = test::root() + "/output";
    options.output = output;
    const auto window = reading("one\n", 1);
    ViewPage& first = window->view();
    type(first.bar().include(), "nothing");
    window->addView(QStringLiteral("Second"), {});
    append("two\n");
    ASSERT_TRUE(eventually([&] { return window->counts().contains(QStringLiteral("all 2 ")); }));
    window->area().remove(first);
    append("three\n");
    EXPECT_TRUE(
        eventually([&] { return test::read_file(output).find("three") != std::string::npos; }));
    EXPECT_EQ(test::read_file(output).find("two"), std::string::npos);
}

} // namespace
