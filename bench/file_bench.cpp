// Transfers of 4 KiB and opening, against the bare system calls.
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

using bench::WidePath;

constexpr size_t block = 4096;
constexpr int64_t blocks = 256; // a file of 1 MiB, read and written again and again

std::string made_file(const char* name)
{
    const std::string path = bench::folder() + "/" + name;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const std::string bytes(block * blocks, 'x');
    if (write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("could not write " + path);
    close(file);
    return path;
}

char g_buffer[block];

template <class Transfer, class Rewind>
void move_blocks(benchmark::State& state, Transfer transfer, Rewind rewind)
{
    int64_t at = 0;
    for (auto _ : state)
    {
        if (!transfer())
            state.SkipWithError("the transfer failed");
        if (++at == blocks)
        {
            state.PauseTiming();
            rewind();
            at = 0;
            state.ResumeTiming();
        }
    }
}

void qv_transfer(benchmark::State& state, bool writing)
{
    QvFile file = nullptr;
    QV_OpenFile(bench::WidePath(made_file("file")), QV_OPEN_READ | QV_OPEN_WRITE, QV_SHARE_READ,
                QV_SECURITY_DEFAULT, &file);
    const auto rewind = [&] { QV_SeekFile(file, 0, 0); };
    uint64_t done = 0;
    if (writing)
        move_blocks(
            state,
            [&] {
                return QV_WriteFile(file, g_buffer, block, &done, nullptr) == QV_OK &&
                       done == block;
            },
            rewind);
    else
        move_blocks(
            state,
            [&] {
                return QV_ReadFile(file, g_buffer, block, &done, nullptr) == QV_OK && done == block;
            },
            rewind);
    QV_CloseFile(file);
}

void bare_transfer(benchmark::State& state, bool writing)
{
    const int file = open(made_file("file-peer").c_str(), O_RDWR | O_CLOEXEC);
    const auto rewind = [&] { lseek(file, 0, SEEK_SET); };
    if (writing)
        move_blocks(
            state, [&] { return write(file, g_buffer, block) == static_cast<ssize_t>(block); },
            rewind);
    else
        move_blocks(
            state, [&] { return read(file, g_buffer, block) == static_cast<ssize_t>(block); },
            rewind);
    close(file);
}

BENCHMARK_CAPTURE(qv_transfer, read, false)->Name("file/QV_ReadFile");
BENCHMARK_CAPTURE(bare_transfer, read, false)->Name("file/read");
BENCHMARK_CAPTURE(qv_transfer, write, true)->Name("file/QV_WriteFile");
BENCHMARK_CAPTURE(bare_transfer, write, true)->Name("file/write");

void qv_open(benchmark::State& state)
{
    const bench::WidePath path(made_file("open"));
    for (auto _ : state)
    {
        QvFile file = nullptr;
        if (QV_OpenFile(path, QV_OPEN_READ, QV_SHARE_READ | QV_SHARE_WRITE, QV_SECURITY_DEFAULT,
                        &file) != QV_OK)
            state.SkipWithError("QV_OpenFile failed");
        QV_CloseFile(file);
    }
}
BENCHMARK(qv_open)->Name("file/QV_OpenFile");

void bare_open(benchmark::State& state)
{
    const std::string path = made_file("open-peer");
    for (auto _ : state)
        close(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}
BENCHMARK(bare_open)->Name("file/open");

} // namespace
