// Sections and resources of module files, against the bare system calls that move the same bytes.
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

#include "rows.h"

namespace
{

constexpr uint32_t data_offset = 1024;

template <class Number> void put(std::string& file, size_t offset, Number number)
{
    std::memcpy(file.data() + offset, &number, sizeof number);
}

// A 64-bit module with one section ".data" of this many bytes, as far as needed here.
std::string made_module(const char* name, uint32_t size)
{
    std::string file(data_offset + size, 'x');
    std::memset(file.data(), 0, data_offset);
    put<uint16_t>(file, 0, 0x5A4D);
    put<uint32_t>(file, 60, 64);
    put<uint32_t>(file, 64, 0x4550);
    put<uint16_t>(file, 68, 0x8664);
    put<uint16_t>(file, 70, 1);   // sections
    put<uint16_t>(file, 84, 240); // size of the optional header, which begins at 88
    put<uint16_t>(file, 88, 0x20B);
    put<uint32_t>(file, 88 + 32, 4096); // alignments
    put<uint32_t>(file, 88 + 36, 512);
    put<uint32_t>(file, 88 + 60, data_offset);
    put<uint32_t>(file, 88 + 108, 16); // data directories
    std::memcpy(file.data() + 328, ".data", 5);
    put<uint32_t>(file, 328 + 8, size);
    put<uint32_t>(file, 328 + 12, 4096);
    put<uint32_t>(file, 328 + 16, size);
    put<uint32_t>(file, 328 + 20, data_offset);
    const std::string path = bench::folder() + "/" + name;
    const int out = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (write(out, file.data(), file.size()) != static_cast<ssize_t>(file.size()))
        throw std::runtime_error("could not write " + path);
    close(out);
    return path;
}

constexpr uint32_t section_size = 1 << 20;

void qv_get_data_seg(benchmark::State& state)
{
    const bench::WidePath path(made_module("section.dll", section_size));
    for (auto _ : state)
    {
        void* data = nullptr;
        uint32_t size = 0;
        if (QV_GetDataSeg(path, ".data", &data, &size) != QV_OK || size != section_size)
            state.SkipWithError("no section");
        benchmark::DoNotOptimize(data);
        QV_FreeDataSeg(&data);
    }
}

// The same result by system calls: a block of its own with the bytes of a named file.
void pread_section(benchmark::State& state)
{
    const std::string path = made_module("section-peer.dll", section_size);
    for (auto _ : state)
    {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        void* const data = std::malloc(section_size);
        if (pread(file, data, section_size, data_offset) != section_size)
            state.SkipWithError("could not read");
        benchmark::DoNotOptimize(data);
        close(file);
        std::free(data);
    }
}

constexpr uint32_t module_size = 64u << 20;

void add_resource(benchmark::State& state)
{
    const bench::WidePath module(made_module("large.dll", module_size));
    const std::string bytes(4096, 'r');
    for (auto _ : state)
    {
        const HANDLE update = BeginUpdateResourceW(module, FALSE);
        UpdateResourceW(update, MAKEINTRESOURCEW(10), MAKEINTRESOURCEW(1), 0,
                        const_cast<char*>(bytes.data()), static_cast<DWORD>(bytes.size()));
        if (!EndUpdateResourceW(update, FALSE))
            state.SkipWithError("the update failed");
    }
}

// A copy in the same way: read and write, flushed to the disk, renamed.
void copy_module(benchmark::State& state)
{
    const std::string path = made_module("large-peer.dll", module_size);
    const std::string copy = path + ".copy";
    std::string buffer(1 << 20, '\0');
    for (auto _ : state)
    {
        const int from = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const int to = open(copy.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        ssize_t count = 0;
        while ((count = read(from, buffer.data(), buffer.size())) > 0)
            if (write(to, buffer.data(), static_cast<size_t>(count)) != count)
                state.SkipWithError("could not write");
        fsync(to);
        close(from);
        close(to);
        rename(copy.c_str(), path.c_str());
    }
}

BENCHMARK(qv_get_data_seg)->Name("module/QV_GetDataSeg");
BENCHMARK(pread_section)->Name("module/pread");
BENCHMARK(add_resource)->Name("module/add");
BENCHMARK(copy_module)->Name("module/copy");

} // namespace
