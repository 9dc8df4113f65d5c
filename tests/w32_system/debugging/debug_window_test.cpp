// Which text goes to which window, and what a row of it looks like.
#include <string>

#include <gtest/gtest.h>

#include "debug_windows.h"

namespace
{

using test::cell;
using test::row_count;

// Windows without threads: the test itself is the adder.
class Framework : public CDebugFramework
{
public:
    Framework() : CDebugFramework(true) { CreateDebugWindow(0); }
    void add(const std::string& text) { AddItem(test::Wide(text)); }
};

TEST(DebugWindow, TheFirstIdentifierGetsTheFirstWindowAndOthersGetTheirOwn)
{
    Framework framework;
    EXPECT_NE(test::debug_window(0), nullptr);
    framework.add("|wndid:7| first");
    EXPECT_EQ(test::debug_window(0), nullptr);
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(cell(7, 0, 1), " first") << "the blank behind the tag belongs to the text";
    framework.add("|wndid:0| other");
    framework.add("|wndid:-3| third");
    EXPECT_EQ(test::debug_windows(), 3);
    EXPECT_EQ(cell(0, 0, 1), " other");
    EXPECT_EQ(cell(-3, 0, 1), " third");
    EXPECT_EQ(row_count(7), 1);
}

TEST(DebugWindow, TheIdentifierOfTheFirstWindowKeepsIt)
{
    Framework framework;
    framework.add("|wndid:0| a");
    framework.add("|wndid:7| b");
    EXPECT_EQ(cell(0, 0, 1), " a");
    EXPECT_EQ(cell(7, 0, 1), " b");
}

TEST(DebugWindow, ATextWithoutAnIdentifierIsNotShown)
{
    Framework framework;
    for (const char* text : {"plain", "", "x |wndid:7| inside", "|wndid:2147483647| none",
                             "2026-01-02 no stamp |wndid:7| x"})
        framework.add(text);
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(row_count(0), 0);
    framework.add("|wndid:5| now");
    EXPECT_EQ(row_count(5), 1) << "the first window was still to be claimed";
}

TEST(DebugWindow, ATagIsTakenOutAndAnOddOneToo)
{
    Framework framework;
    framework.add("|wndid:abc| no number");
    framework.add("|wndid:0|without_a_blank");
    framework.add("|wndid:0");
    framework.add("|wndid:0| |wndid:9| second tag");
    EXPECT_EQ(cell(0, 0, 1), " no number");
    EXPECT_EQ(cell(0, 1, 1), "");
    EXPECT_EQ(cell(0, 2, 1), "");
    EXPECT_EQ(cell(0, 3, 1), " |wndid:9| second tag");
    EXPECT_EQ(test::debug_windows(), 1);
}

TEST(DebugWindow, ARecordsTagCountsBehindItsStampWhichIsShown)
{
    Framework framework;
    framework.add("2026-11-24 10:11:12.123 *vtq* |wndid:4| text\tfield\r\n");
    EXPECT_EQ(cell(4, 0, 1), "2026-11-24 10:11:12.123 *vtq*  text");
    EXPECT_EQ(cell(4, 0, 2), "field  ");
}

TEST(DebugWindow, ARowIsNumberedAndItsTabsMakeColumns)
{
    Framework framework;
    for (const char* text : {"|wndid:0", "|wndid:0| a\tb\t\td", "|wndid:0| x\r\ny"})
        framework.add(text);
    ASSERT_EQ(row_count(0), 3);
    for (int row = 0; row < 3; ++row)
        EXPECT_EQ(cell(0, row, 0), std::to_string(row));
    EXPECT_EQ(cell(0, 1, 1) + "," + cell(0, 1, 2) + "," + cell(0, 1, 3) + "," + cell(0, 1, 4),
              " a,b,,d");
    EXPECT_EQ(cell(0, 2, 1), " x  y") << "a line break is a blank each";
    EXPECT_EQ(test::heading(0, 0) + test::heading(0, 1) + test::heading(0, 7), "#17");
    EXPECT_EQ(SendMessageW(test::debug_list(0), LVM_GETCOLUMNWIDTH, 0, 0), 50);
    EXPECT_EQ(SendMessageW(test::debug_list(0), LVM_GETCOLUMNWIDTH, 7, 0), 100);
    EXPECT_EQ(test::heading(0, 8), "none");
}

TEST(DebugWindow, FieldsBeyondTheColumnsAddColumnsThatStay)
{
    Framework framework;
    std::string text = "|wndid:0| 1";
    for (int i = 2; i <= 300; ++i)
    {
        text += '\t';
        text += std::to_string(i);
    }
    framework.add(text);
    framework.add("|wndid:0| short");
    EXPECT_EQ(cell(0, 0, 300), "300");
    EXPECT_EQ(test::heading(0, 300), "");
    EXPECT_EQ(test::heading(0, 301), "none");
    EXPECT_EQ(SendMessageW(test::debug_list(0), LVM_GETCOLUMNWIDTH, 8, 0), 150);
    EXPECT_EQ(row_count(0), 2);
}

TEST(DebugWindow, AVeryLongTextIsCutToTheRowsLimit)
{
    Framework framework;
    framework.add("|wndid:0| " + std::string(9000, 'x'));
    const std::string text = cell(0, 0, 1);
    EXPECT_GT(text.size(), 2000u);
    EXPECT_LT(text.size(), 2048u);
}

TEST(DebugWindow, OneThatTheUserClosedSwallowsItsRows)
{
    Framework framework;
    framework.add("|wndid:1| a");
    framework.add("|wndid:2| b");
    const HWND closed = test::debug_window(1);
    PostMessageW(closed, WM_CLOSE, 0, 0);
    ASSERT_TRUE(test::comes_true([&] { return !IsWindow(closed); }));
    framework.add("|wndid:1| nowhere");
    framework.add("|wndid:2| c");
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(row_count(2), 2);
}

TEST(DebugWindow, ListFillsTheClientAreaAndTheLastRowIsSeen)
{
    Framework framework;
    for (int i = 0; i < 100; ++i)
        framework.add("|wndid:0| row");
    const HWND window = test::debug_window(0);
    MoveWindow(window, 0, 0, 640, 480, TRUE);
    RECT client = {};
    RECT list = {};
    GetClientRect(window, &client);
    GetWindowRect(test::debug_list(0), &list);
    EXPECT_EQ(list.right - list.left, client.right);
    EXPECT_EQ(list.bottom - list.top, client.bottom);
    framework.add("|wndid:0| last");
    const LRESULT top = SendMessageW(test::debug_list(0), LVM_GETTOPINDEX, 0, 0);
    const LRESULT page = SendMessageW(test::debug_list(0), LVM_GETCOUNTPERPAGE, 0, 0);
    EXPECT_GE(top + page, 101);
}

TEST(DebugWindow, CreatingOneThatIsThereChangesNothing)
{
    Framework framework;
    framework.add("|wndid:0| row");
    framework.CreateDebugWindow(0);
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(row_count(0), 1);
}

TEST(DebugWindow, ClassDescriptionsCopyWhole)
{
    CWndClassEx plain;
    EXPECT_EQ(plain.cbSize, sizeof(WNDCLASSEXW));
    EXPECT_EQ(plain.lpszClassName, nullptr);
    const CDbgWndClassEx debug(DefWindowProcW);
    EXPECT_EQ(debug.cbWndExtra, 8);
    EXPECT_EQ(debug.hInstance, GetModuleHandleW(nullptr));
    plain = debug;
    EXPECT_EQ(plain.lpfnWndProc, debug.lpfnWndProc);
    EXPECT_EQ(test::utf8(plain.lpszClassName), "PLINTH_DEBUG_WINDOW");
}

} // namespace
