// A trace record to a capture in another process, beside a futex ping-pong between two processes.
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/futex.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "rows.h"

extern char** environ;

namespace
{

// Another process of this program, with a pipe on which it says when it is ready; killed with the
// scope.
class Child
{
public:
    explicit Child(std::vector<std::string> words)
    {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("pipe");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        words.insert(words.begin(), {"/proc/self/exe", "--child"});
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        if (posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        char byte;
        m_ready = m_pid > 0 && read(ends[0], &byte, 1) == 1;
        close(ends[0]);
    }
    ~Child()
    {
        if (m_pid > 0)
        {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    bool ready() const { return m_ready; }

private:
    pid_t m_pid = -1;
    bool m_ready = false;
};

void say_ready()
{
    if (write(STDOUT_FILENO, "r", 1) != 1)
        _exit(1);
}

struct Words
{
    std::atomic<uint32_t> ping;
    std::atomic<uint32_t> pong;
};

void wait_for(std::atomic<uint32_t>& word, uint32_t value)
{
    uint32_t now;
    while ((now = word.load(std::memory_order_acquire)) != value)
        syscall(SYS_futex, &word, FUTEX_WAIT, now, nullptr, nullptr, 0);
}

void set(std::atomic<uint32_t>& word, uint32_t value)
{
    word.store(value, std::memory_order_release);
    syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

Words* map_words(const char* path)
{
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, 4096) != 0)
        return nullptr;
    void* const view = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return view == MAP_FAILED ? nullptr : static_cast<Words*>(view);
}

void to_capture(benchmark::State& state)
{
    const Child listener({"capture"});
    if (!listener.ready())
    {
        state.SkipWithError("the listener did not start");
        return;
    }
    const unsigned former = QV_SetTraceOptions(QV_DIAG_DEBUGGER);
    int number = 0;
    for (auto _ : state)
    {
        DiagOutputExW_hlp("bench\\channel_bench", __LINE__);
        DiagOutputExW(L"|thrid| |adt00| |absdt| opened document %d of %d", ++number, 1000);
    }
    QV_SetTraceOptions(former);
}
BENCHMARK(to_capture)->Name("channel/record");

void pingpong(benchmark::State& state)
{
    const std::string path = "/dev/shm/plinth-bench-" + std::to_string(getpid());
    Words* const words = map_words(path.c_str());
    const Child echo({"pingpong", path});
    unlink(path.c_str());
    if (!words || !echo.ready())
    {
        state.SkipWithError("the echo did not start");
        return;
    }
    uint32_t number = 0;
    for (auto _ : state)
    {
        ++number;
        set(words->ping, number);
        wait_for(words->pong, number);
    }
    munmap(words, 4096);
}
BENCHMARK(pingpong)->Name("channel/pingpong");

std::atomic<uint64_t> g_received;

} // namespace

int bench::capture_child()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const CQvDebugOutputCapture capture([](const wchar_t*) { ++g_received; });
    // The listener is there once a text of this very process has come through.
    while (g_received == 0)
    {
        OutputDebugStringA("ready?");
        Sleep(1);
    }
    say_ready();
    for (;;)
        pause();
}

int bench::pingpong_child(const char* shared)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Words* const words = map_words(shared);
    if (!words)
        return 1;
    say_ready();
    for (uint32_t number = 1;; ++number)
    {
        wait_for(words->ping, number);
        set(words->pong, number);
    }
}
