// libuv: its file calls without a callback, and its loop for asynchronous operations.
#include "peers.h"

#include <vector>

#include <fcntl.h>
#include <uv.h>

namespace peers
{

namespace
{

class Loop
{
public:
    Loop() { require(uv_loop_init(&m_loop) == 0, "no loop"); }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop() { uv_loop_close(&m_loop); }

    uv_loop_t* get() { return &m_loop; }
    void run() { uv_run(&m_loop, UV_RUN_DEFAULT); }

private:
    uv_loop_t m_loop;
};

uv_file open_file(const std::string& path, int flags)
{
    uv_fs_t request;
    const uv_file file = uv_fs_open(nullptr, &request, path.c_str(), flags, 0644, nullptr);
    uv_fs_req_cleanup(&request);
    require(file >= 0, "uv_fs_open failed");
    return file;
}

void close_file(uv_file file)
{
    uv_fs_t request;
    uv_fs_close(nullptr, &request, file, nullptr);
    uv_fs_req_cleanup(&request);
}

constexpr int for_writing = O_WRONLY | O_CREAT | O_TRUNC;

} // namespace

double uv_read()
{
    const uv_file file = open_file(source_file(), O_RDONLY);
    std::vector<char> bytes(block_size);
    const uv_buf_t buffer = uv_buf_init(bytes.data(), block_size);
    const double time =
        timed(file_blocks,
              [&]
              {
                  uv_fs_t request;
                  require(uv_fs_read(nullptr, &request, file, &buffer, 1, 0, nullptr) == block_size,
                          "uv_fs_read failed");
                  uv_fs_req_cleanup(&request);
              });
    close_file(file);
    return time;
}

double uv_write()
{
    const uv_file file = open_file(path_of("uv-written"), for_writing);
    std::vector<char> bytes(block_size, 'x');
    const uv_buf_t buffer = uv_buf_init(bytes.data(), block_size);
    const double time = timed(
        file_blocks,
        [&]
        {
            uv_fs_t request;
            require(uv_fs_write(nullptr, &request, file, &buffer, 1, -1, nullptr) == block_size,
                    "uv_fs_write failed");
            uv_fs_req_cleanup(&request);
        });
    close_file(file);
    return time;
}

double uv_open()
{
    return timed(opens, [] { close_file(open_file(source_file(), O_RDONLY)); });
}

double uv_work()
{
    Loop loop;
    const auto call = [&]
    {
        uv_work_t request;
        require(uv_queue_work(
                    loop.get(), &request, [](uv_work_t*) {}, [](uv_work_t*, int) {}) == 0,
                "uv_queue_work failed");
        loop.run();
    };
    call(); // starts the threads
    return timed(calls, call);
}

double uv_transfer()
{
    Loop loop;
    const uv_file file = open_file(path_of("uv-transferred"), for_writing);
    std::vector<char> bytes(block_size, 'x');
    const uv_buf_t buffer = uv_buf_init(bytes.data(), block_size);
    const double time =
        timed(transfers,
              [&]
              {
                  uv_fs_t request;
                  uv_fs_write(loop.get(), &request, file, &buffer, 1, 0, [](uv_fs_t*) {});
                  loop.run();
                  require(request.result == block_size, "uv_fs_write failed");
                  uv_fs_req_cleanup(&request);
              });
    close_file(file);
    return time;
}

double uv_timer()
{
    Loop loop;
    Ticks seen;
    uv_timer_t timer;
    uv_timer_init(loop.get(), &timer);
    timer.data = &seen;
    uv_timer_start(
        &timer,
        [](uv_timer_t* self)
        {
            if (!static_cast<Ticks*>(self->data)->add())
                uv_close(reinterpret_cast<uv_handle_t*>(self), nullptr);
        },
        timer_interval, timer_interval);
    loop.run();
    return seen.error();
}

} // namespace peers
