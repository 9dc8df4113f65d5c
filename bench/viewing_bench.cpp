// Texts of another process to programs for users: to plinth-trace watch, which writes them to
// /dev/null, and to plinth-trace window without a display, against a capture that counts and drops
// them.
//
// Each turn ends when the program has received the last text, and counts only if it received all.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "processes.h"

using bench::Child;
using bench::SharedPage;
using bench::SharedWords;

extern char** environ;

namespace
{

constexpr uint32_t rounds = 200;
constexpr uint32_t texts = rounds * bench::texts_of_a_round;

// A viewer that ends when it has received this many texts. It is ready when it has written a line.
class Viewer
{
public:
    explicit Viewer(std::vector<std::string> words)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        if (posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        m_messages = ends[0];
        char byte = 0;
        while (m_pid > 0 && byte != '\n' && read(m_messages, &byte, 1) == 1)
        {
        }
        m_ready = byte == '\n';
    }
    ~Viewer()
    {
        close(m_messages);
        if (m_pid > 0)
        {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    bool ready() const { return m_ready; }
    // True if the viewer received all texts.
    bool had_all()
    {
        int status = 0;
        const bool is_over = m_pid > 0 && waitpid(m_pid, &status, 0) == m_pid;
        m_pid = -1;
        return is_over && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    pid_t m_pid = -1;
    int m_messages = -1;
    bool m_ready = false;
};

// Lets a process write the texts, and waits until they are written.
void write_all(SharedWords* words)
{
    for (uint32_t round = 1; round <= rounds; ++round)
    {
        bench::set(words->round, round);
        bench::wait_for(words->ended, round);
    }
}

template <class Reader, class HadAll>
void measure(benchmark::State& state, const SharedPage& page, Reader&& start, HadAll&& had_all)
{
    SharedWords* const words = page.words();
    const Child writer({"writer", page.path(), "1"});
    const auto reader = start();
    if (!words || !writer.ready() || !reader->ready())
    {
        state.SkipWithError("the processes did not start");
        return;
    }
    const uint32_t before = words->received;
    for (auto _ : state)
    {
        const auto begin = std::chrono::steady_clock::now();
        write_all(words);
        if (!had_all(*reader, before + texts))
        {
            state.SkipWithError("texts were lost");
            return;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(took.count());
        state.counters["ns"] = took.count() * 1e9 / texts;
    }
}

void to_counter(benchmark::State& state, bool is_capture)
{
    const SharedPage page("viewing");
    measure(
        state, page,
        [&]
        {
            return std::make_unique<Child>(
                is_capture ? std::vector<std::string>{"capture", page.path()}
                           : std::vector<std::string>{"viewer", page.path(), "counts"});
        },
        [&](const Child&, uint32_t expected)
        {
            for (int i = 0; page.words()->received != expected && i < 50'000; ++i)
                usleep(100);
            return page.words()->received == expected;
        });
}
BENCHMARK_CAPTURE(to_counter, capture, true)
    ->Name("viewing/capture")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(to_counter, listener, false)
    ->Name("viewing/listener")
    ->UseManualTime()
    ->Iterations(1);

void to_viewer(benchmark::State& state, const std::vector<std::string>& words)
{
    const SharedPage page("viewing");
    measure(
        state, page, [&] { return std::make_unique<Viewer>(words); },
        [](Viewer& viewer, uint32_t) { return viewer.had_all(); });
}

void to_watch(benchmark::State& state)
{
    to_viewer(state, {BENCH_PLINTH_TRACE, "watch", "--keep", "256M", "--timeout", "60", "--count",
                      std::to_string(texts)});
}
BENCHMARK(to_watch)->Name("viewing/watch")->UseManualTime()->Iterations(1);

} // namespace
