// Copying, finding and following by keyboard, and emptying, on a table over a model of the test's
// own.
#include <malloc.h>

#include <QAbstractTableModel>
#include <QClipboard>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTest>
#include <QTimer>

#include "shown_windows.h"
#include "support/resident.h"
#include "table/find_bar.h"
#include "table/trace_table.h"

namespace
{

// Rows without content.
class Blanks : public QAbstractTableModel
{
public:
    int rowCount(const QModelIndex& = {}) const override { return m_rows; }
    int columnCount(const QModelIndex& = {}) const override { return 1; }
    QVariant data(const QModelIndex&, int) const override { return {}; }
    void start(int rows)
    {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    }
    // Removes rows at the top, and adds some at the end.
    void go_on(int removed, int added)
    {
        beginRemoveRows({}, 0, removed - 1);
        m_rows -= removed;
        endRemoveRows();
        beginInsertRows({}, m_rows, m_rows + added - 1);
        m_rows += added;
        endInsertRows();
    }

private:
    int m_rows = 0;
};

struct TableCommands : test::WithOwnQt
{
    void SetUp() override
    {
        WithOwnQt::SetUp();
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
    void select(int row, QItemSelectionModel::SelectionFlags how)
    {
        view().selectionModel()->select(model.index(row, 0), how | QItemSelectionModel::Rows);
    }
    // How the search ended, and the row that was found.
    std::pair<std::string, int> found(int limit = 5000)
    {
        EXPECT_TRUE(QTest::qWaitFor([this] { return !ended.empty(); }, limit));
        return {std::exchange(ended, ""), view().currentIndex().row()};
    }
    using Found = std::pair<std::string, int>;

    QStandardItemModel model;
    std::unique_ptr<qt_table::TraceTable> table;
    std::string ended;
};

TEST_F(TableCommands, CopyTakesTheSelectedRowsInOrderAndKeepsCellsInTheirPlace)
{
    view().selectRow(8);
    select(6, QItemSelectionModel::Select);
    select(7, QItemSelectionModel::Select);
    QTest::keyClick(&view(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(),
              "row 6\thay\nrow 7\tA Needle with breaks\nrow 8\thay");
    view().horizontalHeader()->moveSection(1, 0);
    select(0, QItemSelectionModel::ClearAndSelect);
    EXPECT_EQ(table->selectedText().toStdString(), "hay\trow 0") << "as it stands on the screen";
}

TEST_F(TableCommands, TypingFindsAndEnterGoesOnAroundTheTable)
{
    QTest::keyClick(&view(), 'n');
    ASSERT_TRUE(table->findBar()->isVisible());
    EXPECT_EQ(found(), Found("found", 7));
    QTest::keyClicks(&edit(), "eedle");
    EXPECT_EQ(found(), Found("found", 7)) << "typing on stays where it is as long as that fits";
    QTest::keyClick(&edit(), Qt::Key_Return);
    EXPECT_EQ(found(), Found("found", 27));
    for (const auto& [how, row] : {Found("found", 7), Found("wrapped", 47)})
    {
        QTest::keyClick(&edit(), Qt::Key_Return, Qt::ShiftModifier);
        EXPECT_EQ(found(), Found(how, row));
    }
    QTest::keyClicks(&edit(), "x");
    EXPECT_EQ(found(), Found("nothing", 47));
    QTest::keyClick(&edit(), Qt::Key_Escape);
    EXPECT_FALSE(table->findBar()->isVisible());
    EXPECT_EQ(table->focusWidget(), &view());
}

TEST_F(TableCommands, ASearchOfManySlicesLetsOthersRunAndEnds)
{
    struct Long : QAbstractTableModel
    {
        int rowCount(const QModelIndex&) const override { return 3'000'000; }
        int columnCount(const QModelIndex&) const override { return 1; }
        QVariant data(const QModelIndex& index, int role) const override
        {
            return role == Qt::DisplayRole && index.row() == 2'999'999
                       ? QVariant(QStringLiteral("needle"))
                       : QVariant();
        }
    } rows;
    table->setModel(&rows);
    bool meanwhile = false;
    QTimer::singleShot(0, [&] { meanwhile = ended.empty(); });
    table->findBar()->setText(QStringLiteral("needle"));
    EXPECT_EQ(found(60'000), Found("found", 2'999'999));
    EXPECT_TRUE(meanwhile);
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
    table->goToRow(57); // already in sight: nothing scrolls
    EXPECT_FALSE(table->isFollowing());
    table->setFollowing(true);
    table->resize(400, 120);
    append(61);
    EXPECT_TRUE(QTest::qWaitFor([this] { return test::last_row_in_sight(view()) == 61; }));
}

TEST_F(TableCommands, ATableOfMillionsOfRowsThatIsEmptiedGivesItsMemoryBack)
{
    Blanks blanks;
    table->setModel(&blanks);
    const int height = view().verticalHeader()->defaultSectionSize();
    const size_t before = test::resident();
    blanks.start(5'000'000);
    EXPECT_GT(test::resident(), before + (16 << 20)) << "there is something to give back";
    blanks.start(0);
    EXPECT_LT(test::resident(), before + (4 << 20) + test::sanitizers_share);
    blanks.start(3);
    EXPECT_EQ(view().rowHeight(2), height);
    EXPECT_TRUE(view().verticalHeader()->isHidden());
    table->setModel(&model);
}

TEST_F(TableCommands, ATableWhoseOldestRowsGoStaysWhereItIsAndHasMemoryOnlyForTheRowsThatItHas)
{
    Blanks blanks;
    table->setModel(&blanks);
    const size_t before = test::resident();
    constexpr int rows = 1'000'000;
    blanks.start(rows);
    qt_table::RowsView& rows_view = *table->view();
    table->setFollowing(false);
    int top = 900'000;
    rows_view.setTopRow(top);
    size_t most = 0;
    for (int i = 0; i < 40; ++i)
    {
        constexpr int at_once = 100'000;
        blanks.go_on(at_once, at_once);
        top = std::max(0, top - at_once);
        QCoreApplication::processEvents();
        ASSERT_EQ(rows_view.topRow(), top);
        ASSERT_EQ(rows_view.rowAt(0), top);
        ASSERT_EQ(rows_view.verticalScrollBar()->maximum(), rows - rows_view.rowsInSight());
        most = std::max(most, test::resident() - before);
    }
    EXPECT_LT(most, rows * 14 + test::sanitizers_share);
    table->setFollowing(true);
    blanks.go_on(rows - 1'000, 10);
    EXPECT_TRUE(QTest::qWaitFor([this] { return test::last_row_in_sight(view()) == 1'009; }));
    malloc_trim(0);
    EXPECT_LT(test::resident(), before + (2 << 20) + test::sanitizers_share);
    table->setModel(&model);
}

} // namespace
