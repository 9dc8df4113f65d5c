// Opens, locked ranges and moves beside threads that start and fork processes, and beside processes
// that try to take the same file.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include <atomic>
#include <map>
#include <thread>

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/soak.h"

extern char** environ;

namespace
{

using test::ChildProcess;
using test::error_of;
using test::Handle;

constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
constexpr int rounds = 200;
constexpr int rivals = 8;

// Tries to open, delete and move a file that another process holds, until it is killed.
int try_in_vain(int, char** argv)
{
    const test::Wide path(argv[0]);
    test::say("ready");
    for (;;)
    {
        CloseHandle(test::open_file(path, both, 0));
        DeleteFileW(path);
        MoveFileExW(path, path, 0);
    }
}
const test::ChildMain try_in_vain_main("try-in-vain", try_in_vain);

// Makes one file and moves it over another, until it is killed.
int move_over(int, char** argv)
{
    const std::string from = argv[0];
    const test::Wide source = test::windows_form(from);
    const test::Wide target = test::windows_form(argv[1]);
    test::say("ready");
    for (;;)
    {
        test::write_file(from, "");
        MoveFileExW(source, target, MOVEFILE_REPLACE_EXISTING);
    }
}
const test::ChildMain move_over_main("move-over", move_over);

// AddressSanitizer's allocator leaves its locks to a child as another thread had them, and handlers
// of forks allocate: there a child goes without them.
pid_t fork_child()
{
#if defined(__SANITIZE_ADDRESS__)
    return _Fork();
#else
    return fork();
#endif
}

// Threads that start programs and fork children, which close all descriptors.
class Starters
{
public:
    Starters()
        : m_spawner(
              [this]
              {
                  char name[] = "true";
                  char* arguments[] = {name, nullptr};
                  while (!m_ends)
                  {
                      pid_t id = 0;
                      if (posix_spawnp(&id, name, nullptr, nullptr, arguments, environ) == 0)
                          waitpid(id, nullptr, 0);
                      ++m_started;
                  }
              }),
          m_forker(
              [this]
              {
                  while (!m_ends)
                  {
                      const pid_t id = fork_child();
                      if (id == 0)
                      {
                          close_range(3, ~0U, 0);
                          _exit(0);
                      }
                      waitpid(id, nullptr, 0);
                      ++m_started;
                  }
              })
    {
    }
    Starters(const Starters&) = delete;
    Starters& operator=(const Starters&) = delete;
    ~Starters()
    {
        m_ends = true;
        m_spawner.join();
        m_forker.join();
    }
    void wait_for_the_first() const
    {
        while (m_started < 2)
            std::this_thread::yield();
    }

private:
    std::atomic<bool> m_ends{false};
    std::atomic<unsigned> m_started{0};
    std::thread m_spawner;
    std::thread m_forker;
};

using Errors = std::map<DWORD, uint64_t>; // the count of each error

class FileNeighbours : public testing::Test
{
protected:
    test::Wide path(const char* name) const { return test::windows_form(native(name)); }
    std::string native(const char* name) const { return m_folder + "/" + name; }
    // Calls act in rounds.
    template <class Act> static void repeat(const char* what, Act act)
    {
        const test::SoakTime soak;
        uint64_t count = 0;
        do
            for (int i = 0; i < rounds; ++i, ++count)
                act();
        while (soak.goes_on());
        soak.report(what, count);
    }
    const std::string m_folder = test::make_folder("neighbours");
};

TEST_F(FileNeighbours, ThatStartProcessesKeepNothingLocked)
{
    test::write_file(native("a"), "content");
    Errors errors;
    const Starters starters;
    starters.wait_for_the_first();
    repeat("exclusive opens, locks and moves",
           [&]
           {
               {
                   const Handle file(test::open_file(path("a"), both, 0));
                   ++errors[error_of(HANDLE{file})];
                   ++errors[error_of(LockFile(file, 0, 0, 1, 0))];
               }
               {
                   const Handle file(test::open_file(path("a"), both));
                   ++errors[error_of(HANDLE{file})];
                   ++errors[error_of(LockFile(file, 0, 0, 1, 0))];
               }
               ++errors[error_of(MoveFileExW(path("a"), path("b"), 0))];
               ++errors[error_of(MoveFileExW(path("b"), path("a"), 0))];
           });
    EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
    EXPECT_TRUE(errors.contains(0));
}

TEST_F(FileNeighbours, ThatTryInVainRefuseNoOpen)
{
    test::write_file(native("a"), "content");
    const Handle holder(test::open_file(path("a"), GENERIC_READ, FILE_SHARE_READ));
    ASSERT_TRUE(holder);
    std::vector<std::unique_ptr<ChildProcess>> all;
    for (int i = 0; i < rivals; ++i)
        all.push_back(std::make_unique<ChildProcess>("try-in-vain", std::vector{path("a").utf8()}));
    for (const auto& rival : all)
        ASSERT_EQ(rival->line(), "ready");
    Errors errors;
    repeat("opens beside rivals",
           [&]
           {
               for (int i = 0; i < 10; ++i)
                   ++errors[error_of(
                       HANDLE{Handle(test::open_file(path("a"), GENERIC_READ, FILE_SHARE_READ))})];
           });
    EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
    EXPECT_TRUE(errors.contains(0));
}

TEST_F(FileNeighbours, ThatMoveFilesTheOtherWayRoundNeverRefuseAMove)
{
    ChildProcess other("move-over", {native("b"), native("a")});
    ASSERT_EQ(other.line(), "ready");
    Errors errors;
    repeat("moves against each other",
           [&]
           {
               test::write_file(native("a"), "");
               ++errors[error_of(MoveFileExW(path("a"), path("b"), MOVEFILE_REPLACE_EXISTING))];
           });
    errors.erase(ERROR_FILE_NOT_FOUND); // the other was faster
    EXPECT_EQ(errors.size(), 1u) << testing::PrintToString(errors);
    EXPECT_TRUE(errors.contains(0));
}

} // namespace
