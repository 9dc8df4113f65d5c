// The whole way: a record of another process, in the window of this one.
#include <plinth_w32_system.h>

#include "shown_windows.h"
#include "support/child_process.h"
#include "support/environment.h"

namespace
{

using test::eventually;

int trace_main(int, char**)
{
    for (int i = 0; i < 30; ++i)
    {
        DiagOutputExW_hlp(__FILE__, __LINE__);
        DiagOutputExW(L"|wndid:7| record\t%d\tof another process", i);
    }
    return 0;
}
const test::ChildMain trace_child("trace", trace_main);

using TraceWindowOnADisplay = test::OnADisplay;

TEST_F(TraceWindowOnADisplay, ShowsTheRecordsOfAnotherProcess)
{
    constexpr const char* title = "Tracing Window ID: 7";
    DiagOutputWnd(nullptr, 0);
    ASSERT_NE(qApp, nullptr);
    EXPECT_TRUE(eventually([] { return test::shown("Tracing Window ID: 0") != nullptr; }));
    ASSERT_EQ(test::ChildProcess("trace").wait(), 0);
    ASSERT_TRUE(eventually([] { return test::shown_rows(title) == 30; }))
        << "the first window takes the first identifier";
    test::on_gui(
        []
        {
            EXPECT_EQ(test::shown_cell(title, 12, 0), "12");
            EXPECT_EQ(test::shown_cell(title, 12, 2), "12");
            EXPECT_EQ(test::shown_cell(title, 12, 3).substr(0, 18), "of another process");
            const QAbstractItemModel& model = *test::shown_view(title)->model();
            EXPECT_EQ(model.headerData(0, Qt::Horizontal).toString(), QStringLiteral("#"));
            EXPECT_EQ(model.headerData(7, Qt::Horizontal).toString(), QStringLiteral("7"));
        });
    EXPECT_TRUE(eventually([] { return test::last_row_in_sight(*test::shown_view(title)) == 29; }));
    test::on_gui([] { test::shown(title)->close(); });
    EXPECT_TRUE(eventually([] { return test::shown(title) == nullptr; }));
}

} // namespace
