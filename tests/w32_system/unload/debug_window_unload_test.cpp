// Unloading the library after it has shown debug windows, and loading it again elsewhere. The
// stand-in stays in the process, with all that it was told of the library that went.
#include <string>

#include <sys/mman.h>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "library.h"
#include "w32_system/debugging/debug_windows.h"

namespace
{

void show_windows(const Library& library)
{
    library.get<decltype(DiagOutputWnd)>("DiagOutputWnd")(nullptr, 0);
}

// The listener may not be at work yet.
bool reaches_window(const std::string& text)
{
    return test::comes_true(
        [&]
        {
            OutputDebugStringA(("|wndid:3| \t" + text).c_str());
            return test::cell(3, 0, 2) == text;
        });
}

bool class_is_registered()
{
    WNDCLASSEXW given = {};
    given.cbSize = sizeof given;
    given.lpfnWndProc = DefWindowProcW;
    given.lpszClassName = L"PLINTH_DEBUG_WINDOW";
    return RegisterClassExW(&given) == 0 || !UnregisterClassW(given.lpszClassName, nullptr);
}

TEST(DebugWindowUnload, WindowsOfALibraryThatWasLoadedAgainElsewhereAreItsOwn)
{
    void* before = nullptr;
    {
        Library library;
        before = library.base();
        show_windows(library);
        EXPECT_TRUE(reaches_window("first"));
        EXPECT_TRUE(class_is_registered());
    }
    EXPECT_FALSE(class_is_registered());
    EXPECT_EQ(test::debug_windows(), 0);
    // A page in the way, so that the next one comes elsewhere; the loader maps a library in one
    // piece.
    EXPECT_EQ(
        mmap(before, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0),
        before);
    Library library;
    ASSERT_NE(library.base(), before);
    show_windows(library);
    EXPECT_TRUE(reaches_window("second"));
    munmap(before, 4096);
}

} // namespace
