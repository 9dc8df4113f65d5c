// Asynchronous reads at once, against as many threads that read with pread(2).
//
// The transfers share the same number of bytes, but each has enough of them for all to run at the
// same time. File and buffer are in memory, so that only the library's own work is measured.
#include "curve.h"

#include <algorithm>
#include <atomic>
#include <semaphore>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <plinth_w32_system.h>

#include "measure.h"
#include "paths.h"

namespace load
{

namespace
{

constexpr size_t block = 4096;
constexpr size_t all_bytes = size_t{64} << 20; // also the size of the file
constexpr size_t least_bytes = size_t{2} << 20;

// Addresses for a whole file. Few pages of memory are mapped there, again and again.
class Buffer
{
public:
    Buffer()
    {
        const int memory = memfd_create("buffer", MFD_CLOEXEC);
        require(memory >= 0 && ftruncate(memory, least_bytes) == 0, "no buffer");
        void* const all = mmap(nullptr, all_bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        require(all != MAP_FAILED, "no buffer");
        m_start = static_cast<char*>(all);
        for (size_t at = 0; at < all_bytes; at += least_bytes)
            require(mmap(m_start + at, least_bytes, PROT_READ | PROT_WRITE,
                         MAP_SHARED | MAP_FIXED | MAP_POPULATE, memory, 0) != MAP_FAILED,
                    "no buffer");
        close(memory);
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { munmap(m_start, all_bytes); }
    char* start() const { return m_start; }

private:
    char* m_start;
};

std::string make_source()
{
    std::string path = bench::folder() + "/transfers";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const std::string bytes(size_t{1} << 20, 'x');
    for (size_t at = 0; at < all_bytes; at += bytes.size())
        require(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "the source could not be written");
    close(file);
    return path;
}

struct Setting
{
    std::string path;
    char* buffer;
    size_t transfers;
    size_t bytes; // of each transfer
    size_t offset(size_t number) const { return number * bytes % (all_bytes - bytes + block); }
    double blocks() const { return static_cast<double>(transfers * bytes / block); }
};

struct Figures
{
    Series start;    // ns for each transfer
    Series total;    // ns for each block
    Series threads;  // besides the main one
    Series heap;     // bytes for each transfer
    Series resident; // likewise
};

// Gives this thread priority over those that it starts, as far as the system allows. Otherwise,
// with a hundred busy threads, the one that starts them would hardly run, and the first transfers
// would end before the last one is started. The column of the threads shows the result.
class Ahead
{
public:
    Ahead() { set(SCHED_FIFO | SCHED_RESET_ON_FORK, 1); }
    Ahead(const Ahead&) = delete;
    Ahead& operator=(const Ahead&) = delete;
    ~Ahead() { set(SCHED_OTHER | SCHED_RESET_ON_FORK, 0); }

private:
    static void set(int policy, int priority)
    {
        sched_param parameter{};
        parameter.sched_priority = priority;
        sched_setscheduler(0, policy, &parameter);
    }
};

struct Progress
{
    std::atomic<size_t> left;
    std::atomic<bool> failed{false};
    std::binary_semaphore ended{0};
};

void on_block(int status, uint64_t, void* context)
{
    if (status == QV_ERR_INPROGRESS)
        return;
    auto& progress = *static_cast<Progress*>(context);
    if (status != QV_OK)
        progress.failed = true;
    if (progress.left.fetch_sub(1) == 1)
        progress.ended.release();
}

std::vector<QvFile> open_all(const Setting& setting)
{
    std::vector<QvFile> files(setting.transfers);
    const bench::WidePath path(setting.path);
    for (QvFile& file : files)
        require(QV_OpenFile(path, QV_OPEN_READ, QV_SHARE_READ, QV_SECURITY_DEFAULT, &file) == QV_OK,
                "the source could not be opened");
    return files;
}

// Waits until the workers of the previous run have ended.
void wait_for_threads(size_t threads)
{
    while (threads_now() > threads)
        usleep(1000);
}

void read_by_library(const Setting& setting, Figures& figures)
{
    const std::vector<QvFile> files = open_all(setting);
    Progress progress{setting.transfers};
    const Ahead ahead;
    const size_t others = threads_now();
    const Memory before = memory_now();
    Memory during{};
    size_t threads = 0;
    double started = 0;
    const double took = timed(
        [&]
        {
            started = timed(
                [&]
                {
                    for (size_t i = 0; i < files.size(); ++i)
                    {
                        const QvAsyncIo async{setting.offset(i), &progress, on_block};
                        require(QV_ReadFile(files[i], setting.buffer, setting.bytes, nullptr,
                                            &async) == QV_OK,
                                "a transfer could not be started");
                    }
                });
            during = memory_now(); // takes some 10 us of some 10 ms
            threads = threads_now();
            progress.ended.acquire();
        });
    require(!progress.failed, "a transfer failed");
    for (const QvFile file : files)
        QV_CloseFile(file);
    wait_for_threads(others);
    const auto count = static_cast<double>(setting.transfers);
    figures.start.add(started / count);
    figures.total.add(took / setting.blocks());
    figures.threads.add(static_cast<double>(threads - others));
    figures.heap.add((during.heap - before.heap) / count);
    figures.resident.add((during.resident - before.resident) / count);
}

void read_by_threads(const Setting& setting, Figures& figures)
{
    std::vector<int> files;
    for (size_t i = 0; i < setting.transfers; ++i)
        files.push_back(open(setting.path.c_str(), O_RDONLY | O_CLOEXEC));
    const Ahead ahead;
    double started = 0;
    const double took = timed(
        [&]
        {
            std::vector<std::thread> threads;
            started = timed(
                [&]
                {
                    for (size_t i = 0; i < files.size(); ++i)
                        threads.emplace_back(
                            [&, i]
                            {
                                for (size_t at = 0; at < setting.bytes; at += block)
                                    require(pread(files[i], setting.buffer + at, block,
                                                  static_cast<off_t>(setting.offset(i) + at)) > 0,
                                            "pread");
                            });
                });
            for (std::thread& thread : threads)
                thread.join();
        });
    for (const int file : files)
        close(file);
    figures.start.add(started / static_cast<double>(setting.transfers));
    figures.total.add(took / setting.blocks());
}

} // namespace

std::vector<Curve> measure_transfers(bool quick)
{
    Curve curve("transfers", "Asynchronous reads in flight",
                {{"transfers", "in flight", 0},
                 {"start_us", "starting one, us", 1},
                 {"thread_us", "a thread, us", 1},
                 {"start_per_thread", "ratio", 2},
                 {"block_ns", "block, ns", 0},
                 {"pread_ns", "pread(2), ns", 0},
                 {"block_per_pread", "ratio", 2},
                 {"ms_per_mib", "ms for each MiB", 2},
                 {"threads", "threads", 0},
                 {"heap_bytes", "heap bytes each", 0},
                 {"resident_kib", "resident KiB each", 1}});
    const Buffer buffer;
    const std::string path = make_source();
    for (size_t transfers = 1; transfers <= (quick ? 10 : 1'000); transfers *= 10)
    {
        const size_t bytes = std::max(all_bytes / transfers / block * block, least_bytes);
        const Setting setting{path, buffer.start(), transfers, bytes};
        Figures ours;
        Figures peer;
        for (int i = 0; i < (quick ? 1 : 7); ++i)
        {
            read_by_library(setting, ours);
            read_by_threads(setting, peer);
        }
        const double ns = ours.total.median();
        curve.add({static_cast<double>(transfers), ours.start.median() / 1e3,
                   peer.start.median() / 1e3, ours.start.median() / peer.start.median(), ns,
                   peer.total.median(), ns / peer.total.median(), ns * 256 / 1e6,
                   ours.threads.median(), ours.heap.median(), ours.resident.median() / 1024});
    }
    unlink(path.c_str());
    return {curve};
}

} // namespace load
