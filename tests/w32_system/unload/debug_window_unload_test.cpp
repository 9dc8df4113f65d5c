// Unloading the library after it has shown debug windows, and loading it again elsewhere. The
// stand-in stays in the process, with all that it was told of the library that went.
#include <string>

#include <sys/mman.h>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <plinth_w32_system.h>

#include "library.h"
#include "w32_system/debugging/debug_windows.h"

namespace
{

void show_windows(const Library& library)
{
    library.get<decltype(DiagOutputWnd)>("DiagOutputWnd")(nullptr, 0);
}

// Where the library was, so that the next one comes elsewhere and its predecessor's code is
// nobody's.
class Hole
{
public:
    explicit Hole(void* place)
        : m_place(mmap(place, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE,
                       -1, 0))
    {
        EXPECT_EQ(m_place, place);
    }
    ~Hole()
    {
        if (m_place != MAP_FAILED)
            munmap(m_place, size);
    }
    Hole(const Hole&) = delete;
    Hole& operator=(const Hole&) = delete;

private:
    static constexpr size_t size = 4096; // the loader maps a library in one piece
    void* m_place;
};

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
    const Hole hole(before);
    Library library;
    ASSERT_NE(library.base(), before);
    show_windows(library);
    EXPECT_TRUE(reaches_window("second"));
}

// The system may refuse: then nothing but the class stays behind.
TEST(DebugWindowUnload, GoesOnWhenItsClassCanNotBeUnregistered)
{
    Library library;
    show_windows(library);
    PlinthTestFail("UnregisterClassW", 1, 1, ERROR_CLASS_HAS_WINDOWS);
    library.unload();
    EXPECT_EQ(PlinthTestCalls("UnregisterClassW"), 1u);
    PlinthTestReset();
    EXPECT_TRUE(UnregisterClassW(L"PLINTH_DEBUG_WINDOW", nullptr));
}

} // namespace
