// A log in a program that closes descriptors, moves and removes files, and reaches limits.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/files.h"
#include "support/log_files.h"
#include "support/scarce_memory.h"

namespace fs = std::filesystem;

using test::log_content;
using test::log_name;

namespace
{

using LogLife = test::FreshLog;

// The descriptors of this process whose file's path ends with this text.
std::vector<int> descriptors_of(const std::string& end)
{
    std::vector<int> numbers;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone;
        if (fs::read_symlink(entry, gone).string().ends_with(end))
            numbers.push_back(std::stoi(entry.path().filename()));
    }
    return numbers;
}

// The files and sockets of a program: five files and socket pairs at the lowest free numbers, or
// one file at a given number.
class OwnFiles
{
public:
    explicit OwnFiles(int number = -1)
    {
        for (int i = 0; i < 5 && number < 0; ++i)
        {
            add(::open(m_path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600));
            int pair[2];
            EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair), 0);
            add(pair[0]);
            add(pair[1]);
        }
        if (number >= 0)
        {
            const int fd = ::open(m_path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
            add(::dup2(fd, number));
            ::close(fd);
        }
    }
    ~OwnFiles()
    {
        for (const auto& [fd, inode] : m_opened)
            ::close(fd);
    }
    void expect_untouched() const
    {
        for (const auto& [fd, inode] : m_opened)
        {
            struct stat found = {};
            char byte;
            EXPECT_EQ(::fstat(fd, &found), 0) << fd;
            EXPECT_EQ(found.st_ino, inode) << fd;
            EXPECT_LE(::read(fd, &byte, 1), 0) << fd;
        }
        EXPECT_EQ(test::read_file(m_path), "");
    }

private:
    void add(int fd)
    {
        struct stat found = {};
        ASSERT_EQ(::fstat(fd, &found), 0);
        m_opened.emplace_back(fd, found.st_ino);
    }

    const std::string m_path = test::make_folder("own") + "/file";
    std::vector<std::pair<int, ino_t>> m_opened;
};

void close_all()
{
    ASSERT_EQ(::close_range(3, ~0U, 0), 0);
}

TEST_F(LogLife, GoesOnAfterTheProgramHasClosedAllDescriptors)
{
    const rlim_t limits[] = {1024, 16};
    for (const rlim_t limit : limits)
    {
        SCOPED_TRACE(limit);
        rlimit former;
        ::getrlimit(RLIMIT_NOFILE, &former);
        const rlimit lowered = {limit, former.rlim_max};
        close_all();
        ::setrlimit(RLIMIT_NOFILE, &lowered);
        for (int round = 0; round < 3; ++round)
        {
            test::start_log();
            close_all();
            const OwnFiles own(limit < 20 ? 5 : -1);
            EXPECT_EQ(QV_Log(L"a"), QV_OK);
            DiagOutputExW_hlp("file", 1);
            DiagOutputExW(L"trace");
            EXPECT_EQ(CQvLogFile::LogPerSession(true), QV_OK); // another file is begun if it ends
            close_all();
            const OwnFiles more(limit < 20 ? 6 : -1);
            EXPECT_TRUE(CQvLogFile::IsPerSession());
            EXPECT_EQ(QV_Log(L"b"), QV_OK);
            EXPECT_EQ(test::log_names(), std::vector{log_name(0)});
            EXPECT_TRUE(std::regex_match(log_content(), std::regex("a.*trace\r\nb")))
                << log_content();
            const std::vector<int> numbers = descriptors_of(log_name(0));
            ASSERT_EQ(numbers.size(), 1u);
            EXPECT_GE(numbers[0], static_cast<int>(limit / 4 * 3));
            EXPECT_EQ(CQvLogFile::CloseLog(), QV_OK);
            more.expect_untouched();
        }
        ::setrlimit(RLIMIT_NOFILE, &former);
    }
}

std::unique_ptr<OwnFiles> g_own;

void take_all_numbers()
{
    close_all();
    g_own = std::make_unique<OwnFiles>();
}

TEST_F(LogLife, WhoseNumberIsTakenWhileItIsBeingOpenedLeavesTheProgramsFileAlone)
{
    for (const bool again : {false, true})
    {
        SCOPED_TRACE(again);
        CQvLogFile::CloseLog();
        if (again) // the log's descriptor is closed
        {
            EXPECT_EQ(QV_Log(L"before, "), QV_OK);
            close_all();
        }
        PlinthTestBefore("dup", 1, take_all_numbers);
        EXPECT_EQ(QV_Log(L"meanwhile, "), QV_OK);
        PlinthTestReset();
        ASSERT_TRUE(g_own) << "no descriptor was moved";
        EXPECT_EQ(QV_Log(L"after."), QV_OK);
        EXPECT_TRUE(log_content().ends_with("meanwhile, after.")) << log_content();
        g_own->expect_untouched();
        g_own.reset();
    }
}

// The files of modules, which the stack lines need, stay open.
TEST_F(LogLife, ReportsTouchNoFileOfAProgramThatClosedAllDescriptors)
{
    const auto report = []
    { DiagAssertA(QV_DIAG_LOGFILE | QV_DIAG_STACKTRACE, "x", nullptr, __FILE__, __LINE__); };
    report();
    const std::string first = log_content();
    close_all();
    const OwnFiles own;
    QV_UnloadLibrary(QV_LoadLibrary(L"libBrokenLocale.so.1")); // drops what is known of modules
    report();
    own.expect_untouched();
    const auto named = [](const std::string& text) { return text.find("TestBody") != text.npos; };
    EXPECT_EQ(named(log_content().substr(first.size())), named(first));
}

// The log checks its descriptor once a second, at the first record after a fork, and before a
// close.
TEST_F(LogLife, ItsNumberInTheProgramsHandsIsNeitherWrittenNorClosed)
{
    using Act = void (*)();
    const Act looks[] = {[] { PlinthTestShiftWallClock(1'001); },
                         []
                         {
                             if (const pid_t child = ::fork())
                                 ::waitpid(child, nullptr, 0);
                             else
                                 ::_exit(QV_Log(L"of the child") == QV_OK ? 0 : 1);
                             PlinthTestShiftWallClock(1'001);
                         }};
    for (const Act look : looks)
        for (int round = 0; round < 2; ++round)
        {
            PlinthTestReset();
            EXPECT_EQ(QV_Log(L"before, "), QV_OK);
            const std::vector<int> numbers = descriptors_of(test::current_log());
            ASSERT_EQ(numbers.size(), 1u);
            const OwnFiles own(numbers[0]);
            look();
            EXPECT_EQ(QV_Log(L"after."), QV_OK);
            EXPECT_TRUE(log_content().ends_with("after.")) << log_content();
            own.expect_untouched();
            const std::vector<int> later = descriptors_of(test::current_log());
            ASSERT_EQ(later.size(), 1u);
            const OwnFiles again(later[0]);
            CQvLogFile::CloseLog();
            again.expect_untouched();
        }
}

TEST_F(LogLife, ARecordCostsOneSystemCall)
{
    uint64_t calls = 0;
    for (int second = 0; second < 3 && calls != 1; ++second) // if one begins in between
    {
        EXPECT_EQ(QV_Log(L"looks at its file"), QV_OK);
        PlinthTestArm();
        EXPECT_EQ(QV_Log(L"only writes"), QV_OK);
        calls = PlinthTestCalls(nullptr);
    }
    EXPECT_EQ(calls, 1u);
}

TEST_F(LogLife, ARemovedFileIsBegunAnewAndARenamedOneGoesOn)
{
    const std::string path = test::log_folder() + "/" + log_name(0);
    const auto log_later = [](const wchar_t* text)
    {
        static int64_t shift = 0;
        PlinthTestShiftWallClock(shift += 1'001);
        return QV_Log(text);
    };
    EXPECT_EQ(QV_Log(L"first"), QV_OK);
    fs::rename(path, path + ".moved");
    EXPECT_EQ(log_later(L" and second"), QV_OK);
    EXPECT_TRUE(test::read_file(path + ".moved").ends_with("first and second"));
    fs::remove(path + ".moved");
    EXPECT_EQ(log_later(L"third"), QV_OK);
    EXPECT_EQ(test::current_log(), log_name(0));
    EXPECT_EQ(log_content(), "third");
    fs::remove(path);
    test::write_file(path, "of somebody else");
    EXPECT_EQ(log_later(L"fourth"), QV_OK);
    EXPECT_EQ(test::current_log(), log_name(1));
    EXPECT_EQ(log_content(), "fourth");
    EXPECT_EQ(test::read_file(path), "of somebody else");
}

TEST_F(LogLife, AFileThatAnotherProgramBeginsInUtf16IsLeftToIt)
{
    const std::string begun("\xFF\xFEo\0t\0", 6);
    test::start_log_after(begun);
    EXPECT_EQ(QV_Log(L"text"), QV_OK);
    EXPECT_EQ(test::read_log(log_name(0)), begun);
    EXPECT_EQ(test::current_log(), log_name(1));
    EXPECT_EQ(log_content(), "text");

    // The same if this program's first bytes come late, as its session header could not be written.
    test::start_log();
    PlinthTestFail("write", 1, 1, ENOSPC);
    CQvLogFile::Detail();
    test::write_log(log_name(0), begun);
    EXPECT_EQ(QV_Log(L"text"), QV_OK);
    EXPECT_EQ(test::read_log(log_name(0)), begun);
    EXPECT_EQ(log_content(), "text");
}

// The first write moves some bytes, and the next one moves none.
int log_on_a_full_disk(const wchar_t* text)
{
    PlinthTestShorten("write", 1, 1, 5);
    PlinthTestFail("write", 2, 1, ENOSPC);
    return QV_Log(text);
}

TEST_F(LogLife, OnAFullDiskTheBeginningOfARecordIsTakenBackUnlessMoreFollows)
{
    EXPECT_EQ(QV_Log(L"one\r\n"), QV_OK);
    EXPECT_EQ(log_on_a_full_disk(L"lost record\r\n"), QV_ERR_DISKFULL);
    PlinthTestReset();
    EXPECT_EQ(QV_Log(L"two\r\n"), QV_OK);
    EXPECT_EQ(log_content(), "one\r\ntwo\r\n");

    // Another program holds the gate meanwhile, and appends.
    const std::string path = test::log_folder() + "/" + test::current_log();
    const auto size = fs::file_size(path);
    const test::OpenedFile other(CQvLogFile::GetLogFilename(), QV_OPEN_READ | QV_OPEN_WRITE);
    ASSERT_EQ(QV_LockFile(other, uint64_t{1} << 40, 1), QV_OK);
    std::jthread program(
        [&]
        {
            while (fs::file_size(path) == size)
                std::this_thread::yield();
            std::ofstream(path, std::ios::app) << "other\r\n";
            QV_UnlockFile(other, uint64_t{1} << 40, 1);
        });
    EXPECT_EQ(log_on_a_full_disk(L"lost record\r\n"), QV_ERR_DISKFULL);
    program.join();
    EXPECT_EQ(log_content(), "one\r\ntwo\r\nlost other\r\n");
}

TEST_F(LogLife, ALimitOfTheFilesSizeIsADiskThatIsFull)
{
    EXPECT_EQ(QV_Log(L"fits\r\n"), QV_OK);
    rlimit former;
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit lowered = {test::read_log(test::current_log()).size() + 3, former.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &lowered);
    EXPECT_EQ(QV_Log(L"does not fit\r\n"), QV_ERR_DISKFULL);
    ::setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_EQ(QV_Log(L"fits again\r\n"), QV_OK);
    EXPECT_EQ(log_content(), "fits\r\nfits again\r\n");
}

// The argument has the numbers of closed standard streams and "x" for an ignored SIGXFSZ. The exit
// code is 0 or shows what is wrong.
int start_poor(int, char** arguments)
{
    const std::string poor = arguments[0];
    const test::Wide name(poor);
    if (QV_Log(L"text") != QV_OK || !CreateEventW(nullptr, FALSE, FALSE, L"held") ||
        CQvLogFile::LogPerSession(true) != QV_OK || CQvLogFile::ClearLog() != QV_OK)
        return 1;
    for (int fd = 0; fd < 3; ++fd)
        if ((::fcntl(fd, F_GETFD) < 0) != (poor.find(static_cast<char>('0' + fd)) != poor.npos))
            return 2;
    struct sigaction found = {};
    ::sigaction(SIGXFSZ, nullptr, &found);
    if ((found.sa_handler == SIG_IGN) != poor.ends_with('x'))
        return 3;
    return 0;
}
const test::ChildMain start_poor_main("start-poor", start_poor);

TEST_F(LogLife, ClosedStandardStreamsStayClosedAndAnIgnoredSignalStaysIgnored)
{
    for (unsigned set = 0; set < 16; ++set)
    {
        std::string poor;
        std::string command;
        for (unsigned bit = 0; bit < 3; ++bit)
            if (set & 1u << bit)
            {
                poor += static_cast<char>('0' + bit);
                command += " " + std::to_string(bit) + ">&-";
            }
        if (set & 8)
            poor += 'x';
        command = std::string(set & 8 ? "trap '' XFSZ; " : "") + "exec '" + test::program() +
                  "' --child start-poor '" + poor + "'" + command;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
    }
}

int speak_into_broken_pipe(int, char**)
{
    int ends[2];
    if (::pipe(ends) != 0 || ::dup2(ends[1], STDERR_FILENO) < 0)
        return 1;
    ::close(ends[0]);
    ::close(ends[1]);
    OutputDebugStringW(L"nobody reads this");
    sigset_t pending;
    ::sigpending(&pending);
    test::say(::sigismember(&pending, SIGPIPE) ? "pending" : "alive");
    return ::write(STDERR_FILENO, "x", 1) < 0 ? 2 : 3; // the program's own write raises it
}
const test::ChildMain speak_main("speak-into-broken-pipe", speak_into_broken_pipe);

TEST_F(LogLife, ABrokenPipeAtStandardErrorEndsNoProgramThatTraces)
{
    test::ChildProcess child("speak-into-broken-pipe", {}, {"PLINTH_DEBUG_OUTPUT=stderr"});
    EXPECT_EQ(child.line(), "alive");
    EXPECT_EQ(child.wait(), 128 + SIGPIPE);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // sanitizers have larger frames

// The bytes of a thread's stack that a function uses.
size_t stack_of(void (*act)())
{
    constexpr size_t size = 256 * 1024;
    constexpr unsigned char paint = 0xA5;
    std::vector<unsigned char> stack(size, paint);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.data(), size);
    pthread_t thread;
    const auto start = [](void* what) -> void*
    {
        (*static_cast<void (**)()>(what))();
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attributes, start, &act), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const auto used =
        std::find_if(stack.begin(), stack.end(), [](auto byte) { return byte != paint; });
    return static_cast<size_t>(stack.end() - used);
}

TEST_F(LogLife, OpeningItAndARecordTake12KiBOfStackAtMost)
{
    constexpr void (*acts[])() = {[] { QV_Log(L"opens and writes\r\n"); },
                                  []
                                  {
                                      CQvLogFile::CloseLog();
                                      DiagOutputExW_hlp("file", 1);
                                      DiagOutputExW(L"a record that opens the log");
                                  },
                                  [] { CQvLogFile::SetProperties(1, 10); },
                                  [] { CQvLogFile::ClearLog(); }};
    const size_t bare = stack_of([] {});
    for (const auto act : acts)
        EXPECT_LE(stack_of(act) - bare, 12u * 1024);
}

TEST_F(LogLife, WithoutMemoryForTheCopyAMessageThatSplitTheLogIsLostWithoutAnError)
{
    constexpr unsigned many = 1'000'000;
    const test::Wide text(std::string(5'000, 'x'));
    const test::Wide filling(std::string(2u << 20, 'y'));
    unsigned last = many; // the copy is allocated after the split's memory
    for (int round = 0; round < 2; ++round)
    {
        test::start_log();
        EXPECT_EQ(CQvLogFile::SetProperties(1, 10), QV_OK);
        EXPECT_EQ(QV_Log(filling), QV_OK);
        test::t_failing_allocation = last;
        EXPECT_EQ(QV_Log(text), QV_OK);
        last -= test::t_failing_allocation;
        EXPECT_EQ(log_content(), round == 0 ? std::string(5'000, 'x') : "");
        EXPECT_EQ(test::t_failing_allocation == 0, round == 1);
        test::t_failing_allocation = 0;
    }
}

#endif

} // namespace
