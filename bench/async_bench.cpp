// A copy of 64 MiB with a callback, against a loop of read(2) and write(2) over the same file, and
// against a loop that also asks for the file's size at each block, since the callback reports it.
//
// Each iteration makes its target again, outside the measured time: overwriting a file and
// extending one have different costs in the kernel.
#include <chrono>
#include <semaphore>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr size_t block = 4096;
constexpr size_t blocks = (size_t{64} << 20) / block;

std::string path_of(const char* name)
{
    return bench::folder() + "/" + name;
}

const std::string& source()
{
    static const std::string made = []
    {
        const std::string path = path_of("copy-source");
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        const std::string bytes(block, 'x');
        for (size_t i = 0; i < blocks; ++i)
            if (write(file, bytes.data(), block) != static_cast<ssize_t>(block))
                throw std::runtime_error("could not write " + path);
        close(file);
        return path;
    }();
    return made;
}

// Measures only the copies.
template <class Copy> void copies(benchmark::State& state, const char* name, Copy copy)
{
    const std::string target = path_of(name);
    for (auto _ : state)
    {
        unlink(target.c_str());
        const auto start = Clock::now();
        if (!copy(source(), target))
            state.SkipWithError("the copy failed");
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    unlink(target.c_str());
}

struct Progress
{
    uint64_t copied = 0;
    int status = QV_ERR_INPROGRESS;
    std::binary_semaphore ended{0};
};

void on_copy(int status, uint64_t, uint64_t copied, void* context)
{
    auto& progress = *static_cast<Progress*>(context);
    progress.copied = copied;
    if (status == QV_ERR_INPROGRESS)
        return;
    progress.status = status;
    progress.ended.release();
}

void qv_copy(benchmark::State& state)
{
    copies(state, "copy-target",
           [](const std::string& from, const std::string& to)
           {
               Progress progress;
               if (QV_CopyFile(bench::WidePath(from), bench::WidePath(to), 0, nullptr, on_copy,
                               &progress) != QV_OK)
                   return false;
               progress.ended.acquire();
               QV_CancelAsyncIO(nullptr); // waits until the files are closed, as in the other loop
               return progress.status == QV_OK && progress.copied == blocks * block;
           });
}
BENCHMARK(qv_copy)->Name("file/async copy")->UseManualTime();

template <bool asks_size> void bare_copy(benchmark::State& state)
{
    copies(state, "copy-peer",
           [](const std::string& from, const std::string& to)
           {
               const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
               const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
               char buffer[block];
               ssize_t count = 0;
               size_t copied = 0;
               struct stat found;
               while ((!asks_size || fstat(in, &found) == 0) &&
                      (count = read(in, buffer, block)) > 0 && write(out, buffer, block) == count)
                   copied += static_cast<size_t>(count);
               close(in);
               close(out);
               return copied == blocks * block;
           });
}
BENCHMARK(bare_copy<false>)->Name("file/copy")->UseManualTime();
BENCHMARK(bare_copy<true>)->Name("file/copy, size asked")->UseManualTime();

} // namespace
