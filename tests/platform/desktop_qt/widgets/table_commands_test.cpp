// Copying, finding and following with the keys of a user, on a table over a model of the test's
// own.
#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTest>
#include <QTimer>

#include "shown_windows.h"
#include "table/find_bar.h"
#include "table/trace_table.h"

namespace
{

int g_count = 1;
char g_name[] = "test";
char* g_arguments[] = {g_name, nullptr};

struct TableCommands : test::OnADisplay
{
    void SetUp() override
    {
        OnADisplay::SetUp();
        application = std::make_unique<QApplication>(g_count, g_arguments);
        for (int row = 0; row < 60; ++row)
            append(row);
        table = std::make_unique<qt_table::TraceTable>();
        table->setModel(&model);
        table->resize(400, 200);
        table->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(table.get()));
        QObject::connect(table.get(), &qt_table::TraceTable::findEnded, table.get(),
                         [this](bool found, bool wrapped)
                         { ended = found ? (wrapped ? "wrapped" : "found") : "nothing"; });
    }
    void append(int row)
    {
        model.appendRow({new QStandardItem(QStringLiteral("row %1").arg(row)),
                         new QStandardItem(row % 20 == 7 ? QStringLiteral("A Needle\twith\nbreaks")
                                                         : QStringLiteral("hay"))});
    }
    QTableView& view() { return *table->view(); }
    QLineEdit& edit() { return *table->findBar()->findChild<QLineEdit*>(); }
    int current() { return view().currentIndex().row(); }
    std::string found()
    {
        EXPECT_TRUE(QTest::qWaitFor([this] { return !ended.empty(); }));
        return std::exchange(ended, "");
    }

    std::unique_ptr<QApplication> application;
    QStandardItemModel model;
    std::unique_ptr<qt_table::TraceTable> table;
    std::string ended;
};

TEST_F(TableCommands, CopyTakesTheSelectedRowsInOrderAndKeepsCellsInTheirPlace)
{
    view().selectRow(8);
    view().selectionModel()->select(model.index(6, 0),
                                    QItemSelectionModel::Select | QItemSelectionModel::Rows);
    view().selectionModel()->select(model.index(7, 0),
                                    QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QTest::keyClick(&view(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(),
              "row 6\thay\nrow 7\tA Needle with breaks\nrow 8\thay");
    view().horizontalHeader()->moveSection(1, 0);
    view().selectionModel()->select(model.index(0, 0), QItemSelectionModel::ClearAndSelect |
                                                           QItemSelectionModel::Rows);
    EXPECT_EQ(table->selectedText().toStdString(), "hay\trow 0") << "as it stands on the screen";
    view().hideColumn(1);
    EXPECT_EQ(table->selectedText().toStdString(), "row 0");
    view().clearSelection();
    QTest::keyClick(&view(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(QApplication::clipboard()->text().startsWith(QLatin1String("row 6")))
        << "without a selection the clipboard keeps what it has";
    QTest::keyClick(&view(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(table->selectedText().count(u'\n'), 59);
}

TEST_F(TableCommands, TypingFindsAndEnterGoesOnAroundTheTable)
{
    QTest::keyClick(&view(), 'n');
    ASSERT_TRUE(table->findBar()->isVisible());
    EXPECT_EQ(found(), "found");
    EXPECT_EQ(current(), 7);
    QTest::keyClicks(&edit(), "eedle");
    EXPECT_EQ(edit().text().toStdString(), "needle");
    EXPECT_EQ(found(), "found");
    EXPECT_EQ(current(), 7) << "typing on stays where it is as long as that fits";
    for (const auto& [row, how] : {std::pair(27, "found"), {47, "found"}, {7, "wrapped"}})
    {
        QTest::keyClick(&edit(), Qt::Key_Return);
        EXPECT_EQ(found(), how);
        EXPECT_EQ(current(), row);
    }
    for (const auto& [row, how] : {std::pair(47, "wrapped"), {27, "found"}})
    {
        QTest::keyClick(&edit(), Qt::Key_Return, Qt::ShiftModifier);
        EXPECT_EQ(found(), how);
        EXPECT_EQ(current(), row);
    }
    QTest::keyClicks(&edit(), "x");
    EXPECT_EQ(found(), "nothing");
    EXPECT_EQ(current(), 27);
    QTest::keyClick(&edit(), Qt::Key_Escape);
    EXPECT_FALSE(table->findBar()->isVisible());
    EXPECT_EQ(table->focusWidget(), &view());
}

TEST_F(TableCommands, ASearchOfManySlicesLetsOthersRunAndEnds)
{
    class Long : public QAbstractTableModel
    {
    public:
        int rowCount(const QModelIndex& parent) const override
        {
            return parent.isValid() ? 0 : 3'000'000;
        }
        int columnCount(const QModelIndex&) const override { return 1; }
        QVariant data(const QModelIndex& index, int role) const override
        {
            return role != Qt::DisplayRole    ? QVariant()
                   : index.row() == 2'999'999 ? QVariant(QStringLiteral("needle"))
                                              : QVariant(QStringLiteral("hay"));
        }
    };
    Long rows;
    table->setModel(&rows);
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, table.get(), [&] { ++ticks; });
    timer.start(0);
    table->findBar()->setText(QStringLiteral("needle"));
    ASSERT_TRUE(QTest::qWaitFor([this] { return !ended.empty(); }, 60'000));
    EXPECT_EQ(ended, "found");
    EXPECT_GT(ticks, 2);
    EXPECT_EQ(current(), 2'999'999);
    EXPECT_TRUE(table->isFollowing()) << "that is the last row";
    table->setModel(nullptr);
}

TEST_F(TableCommands, EndFollowsAndGoingElsewhereDoesNot)
{
    EXPECT_TRUE(table->isFollowing());
    QTest::keyClick(&view(), Qt::Key_Home, Qt::ControlModifier);
    EXPECT_FALSE(table->isFollowing());
    append(60);
    QTest::qWait(0);
    EXPECT_EQ(view().rowAt(0), 0);
    QTest::keyClick(&view(), Qt::Key_End, Qt::ControlModifier);
    EXPECT_TRUE(table->isFollowing());
    table->goToRow(57); // in sight already: nothing scrolls
    EXPECT_FALSE(table->isFollowing());
    table->setFollowing(true);
    table->resize(400, 120);
    append(61);
    EXPECT_TRUE(QTest::qWaitFor([this] { return test::last_row_in_sight(view()) == 61; }));
    model.removeRows(0, model.rowCount());
    append(0);
    EXPECT_TRUE(table->isFollowing());
}

} // namespace
