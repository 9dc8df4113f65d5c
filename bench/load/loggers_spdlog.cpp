// spdlog as a peer: flushed at each record, buffered by the C library, and with its own thread.
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "loggers.h"

namespace load
{

namespace
{

std::shared_ptr<spdlog::sinks::sink> sink_of(const std::string& file)
{
    return std::make_shared<spdlog::sinks::basic_file_sink_mt>(file);
}

class Spdlog : public Logger
{
public:
    Spdlog(std::shared_ptr<spdlog::logger> logger, bool flushed) : m_logger(std::move(logger))
    {
        m_logger->set_pattern("%Y-%m-%d %H:%M:%S.%e *vtq* %t %v");
        if (flushed)
            m_logger->flush_on(spdlog::level::trace);
    }
    void log(const Record& record) override
    {
        m_logger->info("{:.2f} {:.2f} opened document {} of {} in the viewer", record.first,
                       record.second, record.number, record.of);
    }
    void finish() override { m_logger->flush(); }

private:
    std::shared_ptr<spdlog::logger> m_logger;
};

// Its queue has the usual length; a caller waits while the queue is full.
class SpdlogAsynchronous : public Logger
{
public:
    explicit SpdlogAsynchronous(const std::string& file)
        : m_pool(std::make_shared<spdlog::details::thread_pool>(queue, 1)),
          m_inner(std::make_unique<Spdlog>(
              std::make_shared<spdlog::async_logger>("peer", sink_of(file), m_pool,
                                                     spdlog::async_overflow_policy::block),
              false))
    {
    }
    void log(const Record& record) override { m_inner->log(record); }
    // The destructor of the pool waits until its queue is empty; that of the file writes its
    // buffer.
    void finish() override
    {
        m_inner.reset();
        m_pool.reset();
    }

private:
    static constexpr size_t queue = 8192; // records
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::unique_ptr<Spdlog> m_inner;
};

} // namespace

std::unique_ptr<Logger> make_spdlog_flushed(const std::string& file)
{
    return std::make_unique<Spdlog>(std::make_shared<spdlog::logger>("peer", sink_of(file)), true);
}

std::unique_ptr<Logger> make_spdlog_buffered(const std::string& file)
{
    return std::make_unique<Spdlog>(std::make_shared<spdlog::logger>("peer", sink_of(file)), false);
}

std::unique_ptr<Logger> make_spdlog_asynchronous(const std::string& file)
{
    return std::make_unique<SpdlogAsynchronous>(file);
}

} // namespace load
