// Which text goes to which window, and what a row of it looks like.
#include <gtest/gtest.h>

#include "debug_windows.h"

using test::cell;
using test::rows;

namespace
{

using Rows = std::vector<std::string>;

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
    for (const char* text : {"plain", "", "x |wndid:7| inside", "|wndid:2147483647| none",
                             "2026-01-02 no stamp |wndid:7| x"})
        framework.add(text);
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(rows(0, 1), Rows{}) << "a text without an identifier is not shown";
    ASSERT_NE(test::debug_window(0), nullptr);
    framework.add("|wndid:7| first");
    EXPECT_EQ(test::debug_window(0), nullptr);
    EXPECT_EQ(test::debug_windows(), 1);
    for (const char* text : {"|wndid:0| other", "|wndid:-3| third", "|wndid:7| fourth"})
        framework.add(text);
    EXPECT_EQ(test::debug_windows(), 3);
    EXPECT_EQ(rows(7, 2), (Rows{"0| first|", "1| fourth|"}));
    EXPECT_EQ(rows(0, 2), Rows{"0| other|"});
    EXPECT_EQ(rows(-3, 2), Rows{"0| third|"});
    framework.CreateDebugWindow(7);
    EXPECT_EQ(test::debug_windows(), 3);
    EXPECT_EQ(rows(7, 1), (Rows{"0|", "1|"})) << "one that is there stays as it is";
}

TEST(DebugWindow, ARowHasNoTagIsNumberedAndItsTabsMakeColumns)
{
    Framework framework;
    for (const char* text :
         {"|wndid:abc| no number", "|wndid:0|without_a_blank", "|wndid:0",
          "|wndid:0| |wndid:9| second tag", "|wndid:0| a\tb\t\td", "|wndid:0| x\r\ny",
          "2026-11-24 10:11:12.123 *vtq* |wndid:0| text\tfield\r\n", "|wndid:7| in its own"})
        framework.add(text);
    EXPECT_EQ(rows(0, 5), (Rows{"0| no number||||", "1|||||", "2|||||",
                                "3| |wndid:9| second tag||||", "4| a|b||d|", "5| x  y||||",
                                "6|2026-11-24 10:11:12.123 *vtq*  text|field  |||"}));
    framework.add("|wndid:7| " + std::string(9000, 'x'));
    EXPECT_EQ(cell(7, 1, 0) + cell(7, 1, 1), "1 " + std::string(2044, 'x')) << "the row's limit";
    EXPECT_EQ(rows(7, 2)[0], "0| in its own|");
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
        text += '\t' + std::to_string(i);
    framework.add(text);
    framework.add("|wndid:0| short");
    EXPECT_EQ(cell(0, 0, 300), "300");
    EXPECT_EQ(test::heading(0, 300), "");
    EXPECT_EQ(test::heading(0, 301), "none");
    EXPECT_EQ(SendMessageW(test::debug_list(0), LVM_GETCOLUMNWIDTH, 8, 0), 150);
    EXPECT_EQ(test::row_count(0), 2);
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
    EXPECT_EQ(test::row_count(2), 2);
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
    EXPECT_GE(top + SendMessageW(test::debug_list(0), LVM_GETCOUNTPERPAGE, 0, 0), 101);
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
