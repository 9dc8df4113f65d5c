#include "workers.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

#include <plinth_w32_system.h>

namespace demo
{

namespace
{

constexpr uint64_t least_block = 1 << 10;
constexpr uint64_t most_blocks = 24; // few enough that a person can read the trace
constexpr size_t buffer_size = 256 << 10;

struct Block
{
    Statistics statistics;
    Words words;
    double record_time = 0; // milliseconds
};

struct Job
{
    const wchar_t* path;
    uint64_t size;
    uint64_t block;
    unsigned threads;
    std::atomic<int> status{QV_OK};
    std::vector<Block> blocks;
};

// One call of the pool.
struct Worker
{
    Job* job;
    unsigned number;
};

struct EndPool
{
    void operator()(CThreadPool* pool) const { CThreadPool::DestroyThreadPool(pool); }
};

// Each worker has its own handle, since the position in the file belongs to the handle.
int count_block(QvFile file, const Job& job, unsigned index, std::vector<unsigned char>& buffer,
                Block& result)
{
    const uint64_t start = index * job.block;
    uint64_t left = std::min(job.block, job.size - start);
    if (const int status = QV_SeekFile(file, static_cast<int64_t>(start), 0); status != QV_OK)
        return status;
    while (left > 0)
    {
        uint64_t done = 0;
        const int status = QV_ReadFile(file, buffer.data(), std::min<uint64_t>(left, buffer.size()),
                                       &done, nullptr);
        if (status != QV_OK)
            return status;
        if (done == 0)
            break; // the file has become shorter meanwhile
        result.statistics.add(buffer.data(), static_cast<size_t>(done));
        result.words.add(buffer.data(), static_cast<size_t>(done));
        left -= done;
    }
    return QV_OK;
}

void trace_block(const Job& job, unsigned worker, unsigned index, double spent)
{
    const Statistics& block = job.blocks[index].statistics;
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:%u| worker %u, thread |thrid|: block %u of %u, %I64u lines, "
                  L"%I64u words, %.2f ms; |adt%02u| ms since its last",
                  worker, worker, index + 1, static_cast<unsigned>(job.blocks.size()),
                  block.lines(), block.words(), spent, worker % 8);
}

void work(Job& job, unsigned worker)
{
    QvFile file = nullptr;
    int status = QV_OpenFile(job.path, QV_OPEN_READ, QV_SHARE_READ | QV_SHARE_WRITE,
                             QV_SECURITY_DEFAULT, &file);
    if (status != QV_OK)
    {
        job.status = status;
        return;
    }
    std::vector<unsigned char> buffer(buffer_size);
    const unsigned count = static_cast<unsigned>(job.blocks.size());
    // In turns, so that a short text has work for each thread, too.
    for (unsigned index = worker - 1; index < count && job.status == QV_OK; index += job.threads)
    {
        Block& block = job.blocks[index];
        const double start = QV_GetTimeCounter();
        status = count_block(file, job, index, buffer, block);
        const double end = QV_GetTimeCounter();
        if (status != QV_OK)
            job.status = status;
        trace_block(job, worker, index, end - start);
        block.record_time = QV_GetTimeCounter() - end;
    }
    QV_CloseFile(file);
}

void* work_on_pool(void* argument)
{
    const Worker& worker = *static_cast<const Worker*>(argument);
    work(*worker.job, worker.number);
    return nullptr;
}

} // namespace

Result count_file(const wchar_t* path, unsigned threads)
{
    Job job{};
    job.path = path;
    job.threads = threads;
    job.status = QV_GetFileSizeFromName(path, &job.size);
    if (job.status != QV_OK)
        return {job.status, {}, {}, 0, 0};
    job.block = std::max(least_block, (job.size + most_blocks - 1) / most_blocks);
    job.blocks.resize(static_cast<size_t>((job.size + job.block - 1) / job.block));

    std::vector<Worker> workers;
    for (unsigned number = 1; number <= threads; ++number)
        workers.push_back({&job, number});
    // This thread does the calls for which the pool has no thread. Destroying the pool waits for
    // its calls.
    {
        const std::unique_ptr<CThreadPool, EndPool> pool(CThreadPool::CreateThreadPool());
        for (Worker& worker : workers)
            if (!pool || pool->MakeCallFromThreadPool(work_on_pool, &worker) != QV_OK)
                work_on_pool(&worker);
    }

    Result result{job.status, {}, {}, static_cast<unsigned>(job.blocks.size()), 0};
    std::vector<double> times;
    for (const Block& block : job.blocks)
    {
        result.statistics.append(block.statistics);
        result.words.append(block.words);
        times.push_back(block.record_time);
    }
    std::sort(times.begin(), times.end());
    if (!times.empty())
        result.record_time = times[times.size() / 2];
    return result;
}

} // namespace demo
