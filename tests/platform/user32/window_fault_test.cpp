// Windows of one thread and their classes: creation and destruction, messages in order, stored
// data, and refusals.
#include <cstdint>

#include "support/test.h"

#include <commctrl.h>

#include "support/refusal.h"
#include "support/wide_text.h"
#include "support/window_thread.h"

namespace
{

// The messages that the windows of a test received, as "name message"; a window is named by its
// title.
std::vector<std::string> g_seen;

std::string title_of(HWND window)
{
    wchar_t text[64];
    GetWindowTextW(window, text, 64);
    return test::utf8(text);
}

LRESULT CALLBACK record(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    static const std::map<UINT, const char*> told = {
        {WM_NCCREATE, "nccreate"}, {WM_CREATE, "create"},       {WM_SIZE, "size"},
        {WM_MOVE, "move"},         {WM_SHOWWINDOW, "show"},     {WM_CLOSE, "close"},
        {WM_DESTROY, "destroy"},   {WM_NCDESTROY, "ncdestroy"}, {WM_TIMER, "timer"}};
    if (const auto found = told.find(message); found != told.end())
    {
        const auto* const create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        const std::string title = message == WM_NCCREATE && create->lpszName
                                      ? test::utf8(create->lpszName)
                                      : title_of(window);
        g_seen.push_back((title.empty() ? "" : title + " ") + found->second);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

struct Windows : testing::Test
{
    Windows()
    {
        test::register_class(L"Recording", record, 16);
        g_seen.clear();
    }
    ~Windows() override { PlinthTestReset(); }
    static std::vector<std::string> seen() { return std::exchange(g_seen, {}); }
};
using Seen = std::vector<std::string>;

TEST_F(Windows, HearOfTheirLifeInOrder)
{
    const HWND top = test::create_window(L"Recording", L"top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(seen(), (Seen{"top nccreate", "top create"}));
    const HWND child = test::create_window(L"Recording", L"child", top, WS_CHILD | WS_VISIBLE);
    EXPECT_EQ(seen(),
              (Seen{"child nccreate", "child create", "child size", "child move", "child show"}));
    EXPECT_FALSE(IsWindowVisible(child)) << "what it stands in doesn't show";
    EXPECT_FALSE(ShowWindow(top, SW_SHOW));
    EXPECT_EQ(seen(), (Seen{"top show", "top size", "top move"}));
    EXPECT_TRUE(IsWindowVisible(child));
    EXPECT_TRUE(DestroyWindow(top));
    EXPECT_EQ(seen(), (Seen{"top show", "top destroy", "child destroy", "child ncdestroy",
                            "top ncdestroy"}))
        << "the children are still there when their parent hears of its end";
    EXPECT_FALSE(IsWindow(top));
    EXPECT_EQ(test::refusal(DestroyWindow(top)), ERROR_INVALID_WINDOW_HANDLE);
}

TEST_F(Windows, CloseByDefaultDestroysAndOwnersTakeTheirOwnAlong)
{
    const HWND owner = test::create_window(L"Recording", L"owner");
    const HWND owned = test::create_window(L"Recording", L"owned", owner, WS_POPUP);
    EXPECT_EQ(GetParent(owned), owner);
    EXPECT_EQ(static_cast<DWORD>(GetWindowLongPtrW(owned, GWL_STYLE)), WS_POPUP | WS_CLIPSIBLINGS);
    const HWND overlapped = test::create_window(L"Recording", L"overlapped", owner, 0);
    EXPECT_EQ(GetParent(overlapped), nullptr) << "tells of no owner";
    EXPECT_EQ(static_cast<DWORD>(GetWindowLongPtrW(overlapped, GWL_STYLE)),
              WS_CAPTION | WS_CLIPSIBLINGS);
    EXPECT_TRUE(DestroyWindow(overlapped));
    seen();
    SendMessageW(owner, WM_CLOSE, 0, 0);
    EXPECT_EQ(seen(), (Seen{"owner close", "owned destroy", "owned ncdestroy", "owner destroy",
                            "owner ncdestroy"}));
}

TEST_F(Windows, KeepTextPlaceAndWords)
{
    const HWND top = test::create_window(L"Recording", L"A title");
    wchar_t text[4] = L"xyz";
    EXPECT_EQ(GetWindowTextW(top, text, 4), 3);
    EXPECT_EQ(test::utf8(text), "A t");
    EXPECT_TRUE(SetWindowTextW(top, nullptr));
    EXPECT_EQ(GetWindowTextLengthW(top), 0);

    RECT client = {}, place = {};
    const HWND child = test::create_window(L"Recording", nullptr, top, WS_CHILD);
    seen();
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(MoveWindow(child, 5, 6, 70, 80, TRUE));
    EXPECT_EQ(seen(), (Seen{"move", "size"})) << "the second time it was there already";
    EXPECT_TRUE(GetClientRect(child, &client));
    EXPECT_EQ(client.right, 70);
    EXPECT_TRUE(GetWindowRect(child, &place));
    EXPECT_EQ(place.bottom - place.top, 80);

    for (const int index : {GWLP_USERDATA, 8})
    {
        EXPECT_EQ(SetWindowLongPtrW(top, index, -77), 0);
        EXPECT_EQ(GetWindowLongPtrW(top, index), -77);
    }
    for (const int index : {9, -3}) // eight bytes at 9 would end after the sixteen
        EXPECT_EQ(test::refusal(GetWindowLongPtrW(top, index)), ERROR_INVALID_INDEX) << index;
    EXPECT_EQ(FindWindowW(L"recording", L""), top) << "class names don't heed case";
    EXPECT_EQ(FindWindowExW(top, nullptr, nullptr, nullptr), child);
    DestroyWindow(top);
}

TEST_F(Windows, TimersAndPostedMessagesGoWithTheirWindow)
{
    const HWND kept = test::create_window(L"Recording", L"kept");
    const HWND gone = test::create_window(L"Recording", L"gone");
    EXPECT_EQ(SetTimer(kept, 5, 10, nullptr), 5u);
    EXPECT_EQ(SetTimer(gone, 5, 10, nullptr), 5u) << "each window has its own numbers";
    PostMessageW(gone, WM_APP, 0, 0);
    PostMessageW(kept, WM_APP, 1, 0);
    DestroyWindow(gone);
    seen();
    MSG message;
    ASSERT_GT(GetMessageW(&message, nullptr, WM_APP, WM_APP), 0);
    EXPECT_EQ(message.hwnd, kept);
    ASSERT_GT(GetMessageW(&message, kept, WM_TIMER, WM_TIMER), 0);
    EXPECT_EQ(message.hwnd, kept);
    DispatchMessageW(&message);
    EXPECT_EQ(seen(), Seen{"kept timer"});
    EXPECT_TRUE(KillTimer(kept, 5));
    EXPECT_FALSE(PostMessageW(gone, WM_APP, 0, 0));
    DestroyWindow(kept);
}

TEST_F(Windows, RefuseWhatTheyCanNotDo)
{
    using test::create_window;
    using test::refusal;
    EXPECT_EQ(refusal(create_window(L"No such class")), ERROR_CANNOT_FIND_WND_CLASS);
    EXPECT_EQ(refusal(create_window(L"Recording", L"", nullptr, WS_CHILD)), ERROR_TLW_WITH_WSCHILD);
    const HWND none = reinterpret_cast<HWND>(LONG_PTR{0x1234});
    EXPECT_EQ(refusal(create_window(L"Recording", L"", none)), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_EQ(SendMessageW(none, WM_APP, 0, 0), 0);
    PlinthTestFail("CreateWindowExW", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(refusal(create_window(L"Recording")), ERROR_NOT_ENOUGH_MEMORY);
}

// ---- classes that are registered and unregistered

std::atomic<uint64_t> g_made{0};

LRESULT CALLBACK count_windows(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    g_made += message == WM_NCCREATE;
    return DefWindowProcW(window, message, wParam, lParam);
}

ATOM enter(const wchar_t* name, WNDPROC procedure)
{
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpfnWndProc = procedure;
    given.lpszClassName = name;
    return RegisterClassExW(&given);
}

DWORD refused(LPCWSTR name)
{
    return test::refusal(UnregisterClassW(name, nullptr));
}

TEST(WindowClasses, GoWhenTheyHaveNoWindowsAndTheirPlacesAreUsedAgain)
{
    const ATOM first = enter(L"First", DefWindowProcW);
    EXPECT_EQ(test::refusal(enter(L"FIRST", DefWindowProcW)), ERROR_CLASS_ALREADY_EXISTS);
    const ATOM second = enter(L"Second", DefWindowProcW);
    const HWND window = test::create_window(L"First");
    EXPECT_EQ(refused(MAKEINTATOM(first)), ERROR_CLASS_HAS_WINDOWS);
    DestroyWindow(window);
    EXPECT_TRUE(UnregisterClassW(L"FIRST", nullptr));
    EXPECT_EQ(refused(L"First"), ERROR_CLASS_DOES_NOT_EXIST);
    EXPECT_EQ(refused(MAKEINTATOM(first)), ERROR_CLASS_DOES_NOT_EXIST);
    const HWND other = test::create_window(MAKEINTATOM(second));
    EXPECT_NE(other, nullptr) << "the others keep their places";
    EXPECT_EQ(enter(L"Third", DefWindowProcW), first) << "atoms don't run out";
    InitCommonControls();
    EXPECT_EQ(refused(WC_LISTVIEWW), ERROR_CLASS_DOES_NOT_EXIST) << "the system's own stay";
}

// After that the procedure may be unmapped.
TEST(WindowClassesConcurrent, HaveNoWindowAnyMoreOnceTheyAreGone)
{
    std::atomic<bool> ends{false};
    std::vector<std::thread> makers;
    for (int i = 0; i < 2; ++i)
        makers.emplace_back(
            [&ends]
            {
                while (!ends)
                    DestroyWindow(test::create_window(L"Coming and going"));
            });
    for (int round = 0; round < 100; ++round)
    {
        const uint64_t before = g_made;
        ASSERT_NE(enter(L"Coming and going", count_windows), 0);
        while (g_made == before)
            std::this_thread::yield();
        while (!UnregisterClassW(L"Coming and going", nullptr))
            std::this_thread::yield();
        const uint64_t then = g_made;
        std::this_thread::yield();
        EXPECT_EQ(g_made, then);
    }
    ends = true;
    for (std::thread& each : makers)
        each.join();
}

} // namespace
