// When the user interface library is loaded, and when not.
#include <clocale>

#include "support/test.h"

#include <commctrl.h>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/needs.h"
#include "support/virtual_display.h"
#include "support/window_thread.h"

namespace
{

bool is_mapped(const char* name)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(name) != std::string::npos)
            return true;
    return false;
}

// Searches for the name that Qt's own libraries have.
bool qt_is_loaded()
{
    return is_mapped("libQt6");
}

HWND make_window()
{
    test::register_class(L"Loading", DefWindowProcW);
    return test::create_window(L"Loading", L"a window");
}

struct DesktopLoading : testing::Test
{
    test::VirtualDisplay display;
    void SetUp() override { ASSERT_TRUE(display); }
};

// What the process wrote to standard error while it made a window.
std::string said_at_a_window()
{
    testing::internal::CaptureStderr();
    EXPECT_NE(make_window(), nullptr);
    return testing::internal::GetCapturedStderr();
}

TEST_F(DesktopLoading, LoadsWithTheFirstWindowAndLeavesTheProgramsLocaleAndErrorAlone)
{
    test::needs_locale("de_DE.UTF-8");
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    const std::string before = setlocale(LC_ALL, nullptr);
    EXPECT_FALSE(qt_is_loaded());
    SetLastError(7);
    EXPECT_NE(make_window(), nullptr);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_TRUE(qt_is_loaded());
    EXPECT_EQ(setlocale(LC_ALL, nullptr), before);
}

constexpr char long_path[] = "/nowhere/1234567890123456789012345678901234567890123456789012345678"
                             "901234567890123456789012345678901234567890/wayland";

struct Setting
{
    const char* name;
    const char* display;
    const char* wayland;
};

class WithoutADisplay : public testing::TestWithParam<Setting>
{
};

TEST_P(WithoutADisplay, NothingOfQtIsLoaded)
{
    unsetenv("PLINTH_DESKTOP");
    setenv("PLINTH_MESSAGEBOX", "fail", 1);
    setenv("XDG_RUNTIME_DIR", test::make_folder("runtime").c_str(), 1);
    setenv("DISPLAY", GetParam().display, 1);
    setenv("WAYLAND_DISPLAY", GetParam().wayland, 1);
    const HWND window = make_window();
    EXPECT_NE(window, nullptr);
    EXPECT_EQ(MessageBoxW(window, L"text", L"caption", MB_OK), 0);
    EXPECT_FALSE(qt_is_loaded());
    EXPECT_FALSE(is_mapped("libplinth_desktop_qt"));
}

INSTANTIATE_TEST_SUITE_P(DesktopLoading, WithoutADisplay,
                         testing::Values(Setting{"NoneNamed", "", ""},
                                         Setting{"NoServerThere", ":4711", ""},
                                         Setting{"NoCompositor", "", "wayland-4711"},
                                         Setting{"NoSocketHasSoLongAPath", "", long_path}),
                         [](const auto& setting) { return std::string(setting.param.name); });

TEST_F(DesktopLoading, SaysWhenANamedPlugInIsNone)
{
    setenv("PLINTH_DESKTOP", "/nowhere/plug-in.so", 1);
    const std::string said = said_at_a_window();
    EXPECT_NE(said.find("/nowhere/plug-in.so"), std::string::npos) << said;
    EXPECT_FALSE(qt_is_loaded());
}

// Qt ends the process if it can use no platform, so Qt must not be started then.
TEST_F(DesktopLoading, GoesWithoutWindowsWhereQtHasNoPlatformForThem)
{
    setenv("QT_QPA_PLATFORM", "wayland", 1); // without a display of that platform
    const std::string said = said_at_a_window();
    EXPECT_NE(said.find("no windows"), std::string::npos) << said;
}

// ---- the end of the process

int end_main(int argc, char**)
{
    InitCommonControls();
    const HWND window = make_window();
    const HWND list = test::create_window(WC_LISTVIEWW, L"", window, WS_CHILD | WS_VISIBLE);
    ShowWindow(window, SW_SHOW);
    if (argc > 0)
        std::thread([] { std::exit(0); }).join();
    return list && qt_is_loaded() ? 0 : 1;
}
const test::ChildMain end_child("end", end_main);

TEST_F(DesktopLoading, AProcessEndsCleanlyWithItsWindowsOnTheScreen)
{
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(test::ChildProcess("end").wait(), 0);
    EXPECT_EQ(test::ChildProcess("end", {"exit from a thread"}).wait(), 0);
}

TEST(DesktopLoadingUnderWayland, ShowsWindowsToo)
{
    test::needs(std::filesystem::exists(PLINTH_QT_PLUGINS "/platforms/libqwayland-generic.so"),
                "Qt's plug-in for Wayland", "qt6-wayland");
    const std::vector<std::string> without_leak_check = {
        "ASAN_OPTIONS=detect_leaks=0:intercept_tls_get_addr=0"};
    const test::VirtualCompositor compositor;
    ASSERT_TRUE(compositor);
    EXPECT_EQ(test::ChildProcess("end", {}, without_leak_check).wait(), 0);
    EXPECT_NE(make_window(), nullptr);
    EXPECT_TRUE(is_mapped("libQt6WaylandClient"));
}

} // namespace

// Memory that Wayland's client library keeps to the end of the process isn't ours: the leak check
// ignores it here. The children run without a leak check, as their Qt unloads the library that a
// suppression would have to name.
#if defined(__SANITIZE_ADDRESS__)
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:libwayland-client";
}
#endif
