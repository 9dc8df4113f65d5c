// Window classes that come and go.
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <windows.h>

#include <commctrl.h>

#include "support/refusal.h"
#include "support/window_thread.h"

namespace
{

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
    const ATOM second = enter(L"Second", DefWindowProcW);
    const HWND window = test::create_window(L"First");
    EXPECT_EQ(refused(L"First"), ERROR_CLASS_HAS_WINDOWS);
    EXPECT_EQ(refused(MAKEINTATOM(first)), ERROR_CLASS_HAS_WINDOWS);
    DestroyWindow(window);
    PlinthTestFail("UnregisterClassW", 1, 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(refused(L"First"), ERROR_NOT_ENOUGH_MEMORY);
    PlinthTestReset();
    EXPECT_TRUE(UnregisterClassW(L"FIRST", nullptr));
    const LPCWSTR none[] = {L"First",        MAKEINTATOM(first),  L"No such class",
                            MAKEINTATOM(17), MAKEINTATOM(0xFFFF), nullptr};
    for (const LPCWSTR gone : none)
        EXPECT_EQ(refused(gone), ERROR_CLASS_DOES_NOT_EXIST);
    EXPECT_EQ(test::refusal(test::create_window(MAKEINTATOM(first))), ERROR_CANNOT_FIND_WND_CLASS);

    const HWND other = test::create_window(MAKEINTATOM(second));
    EXPECT_NE(other, nullptr) << "the others keep their places";
    EXPECT_EQ(enter(L"Third", count_windows), first) << "atoms don't run out";
    const uint64_t before = g_made;
    DestroyWindow(test::create_window(MAKEINTATOM(first)));
    EXPECT_EQ(g_made, before + 1);
    DestroyWindow(other);
    EXPECT_TRUE(UnregisterClassW(MAKEINTATOM(second), nullptr));
    EXPECT_TRUE(UnregisterClassW(L"Third", nullptr));

    InitCommonControls();
    EXPECT_EQ(refused(WC_LISTVIEWW), ERROR_CLASS_DOES_NOT_EXIST) << "the system's own stay";
    EXPECT_TRUE(DestroyWindow(test::create_window(WC_LISTVIEWW)));
}

// The procedure may be unmapped then.
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
