// Without optional parts of the system everything else works the same; and which settings outlive a
// process.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/environment.h"
#include "support/kernel_root.h"
#include "support/processes.h"

namespace
{

BOOL screen_saver()
{
    BOOL value = 4711;
    EXPECT_TRUE(SystemParametersInfoW(SPI_GETSCREENSAVEACTIVE, 0, &value, 0));
    return value;
}

int turn_off()
{
    return QV_DisableWindowsPowerSave(nullptr, true, L"reason");
}

class PowerFault : public testing::Test
{
protected:
    ~PowerFault() override { PlinthTestReset(); }
};

TEST_F(PowerFault, TheBusLibraryMayBeMissing)
{
    PlinthTestFail("dlopen", 1, 0, ENOENT);
    EXPECT_EQ(turn_off(), QV_OK);
    EXPECT_EQ(screen_saver(), FALSE);
    const HWND window = reinterpret_cast<HWND>(uintptr_t{8});
    EXPECT_TRUE(ShutdownBlockReasonCreate(window, L"reason"));
    EXPECT_TRUE(ShutdownBlockReasonDestroy(window)) << "kept nevertheless";
    EXPECT_EQ(QV_DisableWindowsPowerSave(nullptr, false, nullptr), QV_OK);
}

// No process reads the socket, so each further request would wait again.
TEST_F(PowerFault, ABusThatDoesNotAnswerIsAskedOnce)
{
    const std::string path = test::make_folder("bus") + "/socket";
    const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(bus, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(bus, 64), 0);
    for (const char* const name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
        setenv(name, ("unix:path=" + path).c_str(), 1);
    EXPECT_EQ(turn_off(), QV_OK);
    int asked = 0;
    while (accept(bus, nullptr, nullptr) >= 0)
        ++asked;
    EXPECT_EQ(asked, 1) << "also 0 without the bus's client library";
    close(bus);
}

const test::ChildMain g_child("turn off and end", [](int, char**) { return turn_off(); });

TEST_F(PowerFault, SettingsOutliveTheProcessButNotTheBoot)
{
    EXPECT_EQ(screen_saver(), TRUE);
    EXPECT_EQ(test::Process::child("turn off and end").wait(), 0);
    EXPECT_EQ(screen_saver(), FALSE);
    test::KernelRoot next_boot;
    next_boot.put("/proc/sys/kernel/random/boot_id", "another boot\n");
    EXPECT_EQ(screen_saver(), TRUE);
    SystemParametersInfoW(SPI_SETSCREENSAVEACTIVE, FALSE, nullptr, SPIF_UPDATEINIFILE);
    next_boot.put("/proc/sys/kernel/random/boot_id", "one more\n");
    EXPECT_EQ(screen_saver(), FALSE) << "the user's own setting";
}

} // namespace
