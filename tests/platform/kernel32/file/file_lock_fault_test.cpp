// How long share modes and locked ranges last, and the effect on others of an open, a removal or a
// move that is stopped at each of its steps.
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <atomic>
#include <thread>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/handles.h"
#include "support/scarce_memory.h"

namespace
{

using test::ChildProcess;
using test::error_of;
using test::Handle;

constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
constexpr unsigned calls_of_one_who_waits = 20; // at least so many in a wait

// Acts on a file and is stopped before the nth call of a name.
int act_and_stop(int, char** argv)
{
    const test::Wide path(argv[0]);
    const test::Wide other(argv[0] + std::string("-moved"));
    PlinthTestBefore(argv[2], static_cast<unsigned>(std::stoul(argv[3])), [] { raise(SIGSTOP); });
    switch (argv[1][0])
    {
    case 'o':
        CloseHandle(test::open_file(path, both, 0));
        break;
    case 'w':
        CloseHandle(test::open_file(path, GENERIC_WRITE));
        break;
    case 'd':
        DeleteFileW(path);
        break;
    case 'm':
        MoveFileExW(path, other, MOVEFILE_REPLACE_EXISTING);
        break;
    case 'r':
        MoveFileExW(other, path, MOVEFILE_REPLACE_EXISTING);
        break;
    }
    return 0;
}
const test::ChildMain act_and_stop_main("act-and-stop", act_and_stop);

// A fork of this process, which has copies of all its open files, until the end of the scope.
class Fork
{
public:
    // act: called in the fork before it stops.
    explicit Fork(void (*act)() = [] {}) : m_id(fork())
    {
        if (m_id != 0)
            return;
        act();
        raise(SIGSTOP);
        _exit(0);
    }
    Fork(const Fork&) = delete;
    Fork& operator=(const Fork&) = delete;
    ~Fork()
    {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    void wait_until_it_has_acted() const { waitpid(m_id, nullptr, WUNTRACED); }

private:
    const pid_t m_id;
};

class FileLock : public testing::Test
{
protected:
    FileLock()
    {
        test::write_file(m_native, "content");
        test::write_file(m_native + "-moved", "other");
    }
    ~FileLock() override { PlinthTestReset(); }
    HANDLE open(DWORD access, DWORD share = 3, DWORD disposition = OPEN_EXISTING) const
    {
        return test::open_file(m_path, access, share, disposition);
    }
    // The errors of opening, of locking a range, and of moving the file.
    std::vector<DWORD> errors_of_use(DWORD share) const
    {
        Handle file(open(both, share));
        const DWORD opened = error_of(HANDLE{file});
        const DWORD locked = file ? error_of(LockFile(file, 100, 0, 10, 0)) : 0;
        file.close();
        return {opened, locked, error_of(MoveFileExW(m_path, m_path, 0))};
    }
    const std::string m_native = test::make_folder("lock") + "/file";
    const test::Wide m_path = test::windows_form(m_native);
};

TEST_F(FileLock, WithoutMemoryIsRefusedAndNotHeld)
{
    const Handle file(open(GENERIC_WRITE));
    test::t_failing_allocation = 1;
    const BOOL locked = LockFile(file, 0, 0, 1, 0);
    test::t_failing_allocation = 0;
    EXPECT_EQ(error_of(locked), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_TRUE(LockFile(Handle(open(GENERIC_WRITE)), 0, 0, 1, 0));
}

TEST_F(FileLock, GoesWithItsHandleThoughAForkedChildOrAViewKeepsTheFileOpen)
{
    for (const DWORD share : {DWORD{0}, DWORD{3}})
    {
        Handle file(open(both, share));
        ASSERT_TRUE(LockFile(file, 100, 0, 10, 0));
        Handle mapping(CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr));
        const auto* const view =
            static_cast<const char*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
        ASSERT_NE(view, nullptr);
        file.close();
        EXPECT_EQ(errors_of_use(share), std::vector<DWORD>(3)) << "a view, " << share;
        mapping.close();
        EXPECT_EQ(std::string(view, 7), "content");
        EXPECT_TRUE(UnmapViewOfFile(view));

        Handle shared(open(both, share));
        ASSERT_TRUE(LockFile(shared, 100, 0, 10, 0));
        const Fork child;
        shared.close();
        EXPECT_EQ(errors_of_use(share), std::vector<DWORD>(3)) << "a child, " << share;
    }
}

HANDLE g_inherited;

TEST_F(FileLock, OfAParentStaysWhenAForkedChildClosesItsCopy)
{
    const Handle file(open(both, 3));
    ASSERT_TRUE(LockFile(file, 100, 0, 10, 0));
    g_inherited = file;
    const Fork child(
        []
        {
            LockFile(g_inherited, 200, 0, 10, 0);
            CloseHandle(g_inherited);
        });
    child.wait_until_it_has_acted();
    const Handle other(open(both, 3));
    EXPECT_EQ(error_of(LockFile(other, 109, 0, 1, 0)), ERROR_LOCK_VIOLATION);
    EXPECT_EQ(error_of(LockFile(other, 200, 0, 10, 0)), 0u) << "the child's own went with it";
    EXPECT_EQ(error_of(HANDLE{Handle(open(both, 0))}), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(error_of(DeleteFileW(m_path)), ERROR_SHARING_VIOLATION);
}

TEST_F(FileLock, TriedInVainByOthersRefusesNoOpenThatIsCompatible)
{
    const Handle holder(open(GENERIC_READ, FILE_SHARE_READ));
    ASSERT_TRUE(holder);
    for (const char* act : {"open alone", "write", "delete", "move", "replace it"})
        for (unsigned step = 1; step <= 4; ++step)
        {
            const ChildProcess rival("act-and-stop",
                                     {m_path.utf8(), act, "fcntl", std::to_string(step)});
            siginfo_t state;
            waitid(P_PID, static_cast<id_t>(rival.id()), &state, WSTOPPED | WEXITED | WNOWAIT);
            EXPECT_EQ(error_of(HANDLE{Handle(open(GENERIC_READ, FILE_SHARE_READ))}), 0u)
                << act << ", step " << step;
        }
}

TEST_F(FileLock, OfARemovalOrMoveIsWaitedFor)
{
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"delete", "unlink", ""}, {"move", "rename", ""}, {"replace it", "rename", "other"}};
    for (const auto& [act, call, content] : rows)
    {
        SCOPED_TRACE(act);
        test::write_file(m_native, "content");
        test::write_file(m_native + "-moved", "other");
        ChildProcess rival("act-and-stop", {m_path.utf8(), act, call, "1"});
        rival.wait_until_stopped();
        PlinthTestArm();
        std::atomic<bool> returned{false};
        std::thread release(
            [&]
            {
                while (!returned && PlinthTestCalls("fcntl") < calls_of_one_who_waits)
                    std::this_thread::yield();
                rival.send(SIGCONT);
            });
        EXPECT_EQ(error_of(HANDLE{Handle(open(both, 0, OPEN_ALWAYS))}), 0u);
        returned = true;
        release.join();
        PlinthTestReset();
        EXPECT_EQ(rival.wait(), 0);
        EXPECT_TRUE(std::filesystem::exists(m_native)) << "it was opened under this name";
        EXPECT_EQ(test::read_file(m_native), content);
    }
}

} // namespace
