// The cache of texts, which text is shown in which window, the format of a row, and how a listener
// leaves the channel.
#include <memory>
#include <thread>

#include "support/test.h"

#include "debug_windows.h"

using test::cell;
using test::rows;
using test::Wide;

namespace
{

using Rows = std::vector<std::string>;

TEST(DebugWindow, TheFirstIdentifierGetsTheFirstWindowAndOthersGetTheirOwn)
{
    test::Windows framework;
    for (const char* text : {"plain", "", "x |wndid:7| inside", "|wndid:2147483647| none",
                             "2026-01-02 no stamp |wndid:7| x"})
        framework.AddItem(Wide(text));
    EXPECT_EQ(test::debug_windows(), 1);
    EXPECT_EQ(rows(0, 1), Rows{}) << "a text without an identifier is not shown";
    ASSERT_NE(test::debug_window(0), nullptr);
    framework.AddItem(L"|wndid:7| first");
    EXPECT_EQ(test::debug_window(0), nullptr);
    EXPECT_EQ(test::debug_windows(), 1);
    for (const char* text : {"|wndid:0| other", "|wndid:-3| third", "|wndid:7| fourth"})
        framework.AddItem(Wide(text));
    EXPECT_EQ(test::debug_windows(), 3);
    EXPECT_EQ(rows(7, 2), (Rows{"0| first|", "1| fourth|"}));
    EXPECT_EQ(rows(0, 2), Rows{"0| other|"});
    EXPECT_EQ(rows(-3, 2), Rows{"0| third|"});
    framework.CreateDebugWindow(7);
    EXPECT_EQ(test::debug_windows(), 3);
    EXPECT_EQ(rows(7, 1), (Rows{"0|", "1|"})) << "one that is there stays as it is";
    PostMessageW(test::debug_window(0), WM_CLOSE, 0, 0);
    ASSERT_TRUE(test::comes_true([] { return test::debug_windows() == 2; }));
    framework.AddItem(L"|wndid:0| nowhere");
    EXPECT_EQ(test::debug_windows(), 2) << "the user has closed it";
}

TEST(DebugWindow, ARowHasNoTagIsNumberedAndItsTabsMakeColumns)
{
    test::Windows framework;
    for (const char* text :
         {"|wndid:abc| no number", "|wndid:0|without_a_blank", "|wndid:0",
          "|wndid:0| |wndid:9| second tag", "|wndid:0| a\tb\t\td", "|wndid:0| x\r\ny",
          "2026-11-24 10:11:12.123 *vtq* |wndid:0| text\tfield\r\n", "|wndid:7| in its own"})
        framework.AddItem(Wide(text));
    EXPECT_EQ(rows(0, 5), (Rows{"0| no number||||", "1|||||", "2|||||",
                                "3| |wndid:9| second tag||||", "4| a|b||d|", "5| x  y||||",
                                "6|2026-11-24 10:11:12.123 *vtq*  text|field  |||"}));
    framework.AddItem(Wide("|wndid:7| " + std::string(9000, 'x')));
    EXPECT_EQ(cell(7, 1, 0) + cell(7, 1, 1), "1 " + std::string(2044, 'x')) << "the row's limit";
    EXPECT_EQ(rows(7, 2)[0], "0| in its own|");
}

TEST(DebugWindow, FieldsBeyondTheColumnsAddColumnsThatStayAndTheLastRowIsSeen)
{
    test::Windows framework;
    std::string text = "|wndid:0| 1";
    for (int i = 2; i <= 300; ++i)
        text += '\t' + std::to_string(i);
    framework.AddItem(Wide(text));
    for (int i = 0; i < 100; ++i)
        framework.AddItem(L"|wndid:0| short");
    EXPECT_EQ(cell(0, 0, 300), "300");
    const HWND list = test::debug_list(0);
    EXPECT_GE(SendMessageW(list, LVM_GETTOPINDEX, 0, 0) +
                  SendMessageW(list, LVM_GETCOUNTPERPAGE, 0, 0),
              101);
}

// Set when a callback has begun; set to let it return.
HANDLE g_begun = nullptr;
HANDLE g_returns = nullptr;

// The test is the writer and follows the channel's protocol itself, with a long time limit: if the
// listener left the buffer taken, the writer would wait that long.
TEST(Capture, ThatEndsAlsoLetsAWriterGoOnThatCameBackBeforeItsObjectsWent)
{
    constexpr DWORD patience = 10'000; // ms
    g_begun = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_returns = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    auto capture = std::make_unique<CQvDebugOutputCapture>(
        [](const wchar_t*)
        {
            SetEvent(g_begun);
            WaitForSingleObject(g_returns, INFINITE);
        });
    ASSERT_TRUE(test::comes_true(
        []
        {
            OutputDebugStringA("a text");
            return WaitForSingleObject(g_begun, 0) == WAIT_OBJECT_0;
        }));
    const HANDLE free = OpenEventA(SYNCHRONIZE, FALSE, "DBWIN_BUFFER_READY");
    const auto is_freed = [&] { return WaitForSingleObject(free, patience) == WAIT_OBJECT_0; };
    EXPECT_TRUE(is_freed());
    std::thread ending([&] { capture.reset(); });
    EXPECT_TRUE(is_freed()) << "the listener's thread has ended";
    SetEvent(g_returns);
    EXPECT_TRUE(is_freed()) << "the objects go";
    ending.join();
    for (const HANDLE event : {g_begun, g_returns, free})
        CloseHandle(event);
}

std::string pop(CSyncCache& cache)
{
    wchar_t text[1024] = L"as it was";
    const int status = cache.PopFrontW(text);
    return (status == QV_ERR_FAILED ? "none, " : "") + test::utf8(text);
}

TEST(SyncCache, GivesTextsInTheOrderTheyCameAndKeepsWhatFits)
{
    CSyncCache cache;
    // In the active code page, which is UTF-8 on Linux; bytes that form no character become
    // replacement characters.
    const bool utf8 = MultiByteToWideChar(CP_ACP, 0, "\xc3\xa4", 2, nullptr, 0) == 1;
    std::string text = utf8 ? "\xc3\xa4\xff\xc3(\xe2\x82" : "(text)";
    EXPECT_EQ(cache.PushBack(text.data()), 0);
    EXPECT_EQ(cache.PushBack(nullptr), 0);
    EXPECT_EQ(pop(cache), utf8 ? "\xc3\xa4\xef\xbf\xbd\xef\xbf\xbd(\xef\xbf\xbd" : "(text)");
    EXPECT_EQ(pop(cache), "");
    for (const size_t length : {1022u, 1023u, 1024u})
    {
        cache.PushBack(std::string(length, 'x').data());
        EXPECT_EQ(pop(cache), std::string(length == 1022 ? 1022 : 1023, 'x'));
    }
}

TEST(SyncCache, CopiesHaveALifeOfTheirOwn)
{
    CSyncCache first;
    for (std::string text : {"a", "b"})
        first.PushBack(text.data());
    CSyncCache second(first);
    CSyncCache third;
    third.PushBack(nullptr);
    third = first;
    third = *&third;
    EXPECT_EQ(pop(first), "a");
    for (CSyncCache* copy : {&second, &third})
        EXPECT_EQ((Rows{pop(*copy), pop(*copy), pop(*copy)}), (Rows{"a", "b", "none, as it was"}));
}

} // namespace
