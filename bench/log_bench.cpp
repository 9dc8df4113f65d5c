// Writing to the log, against the bare system call.
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

constexpr size_t message_length = 100;

void qv_log(benchmark::State& state)
{
    wchar_t message[message_length + 1];
    for (wchar_t& c : message)
        c = L'm';
    message[message_length - 2] = L'\r';
    message[message_length - 1] = L'\n';
    message[message_length] = L'\0';
    for (auto _ : state)
        if (QV_Log(message) != QV_OK)
            state.SkipWithError("QV_Log failed");
}
BENCHMARK(qv_log)->Name("log/QV_Log");

void bare_write(benchmark::State& state)
{
    const int file = open((bench::folder() + "/log-peer").c_str(),
                          O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const std::string message(message_length, 'm');
    for (auto _ : state)
        if (write(file, message.data(), message.size()) != static_cast<ssize_t>(message_length))
            state.SkipWithError("write failed");
    close(file);
}
BENCHMARK(bare_write)->Name("log/write");

} // namespace
