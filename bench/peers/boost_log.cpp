// Boost.Log: a text file with the same stamp as the library's records.
#include "peers.h"

#include <boost/log/attributes/clock.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/make_shared.hpp>

namespace peers
{

namespace
{

namespace log = boost::log;

constexpr const char* text_100 =
    "A text of one hundred characters with its line end, as programs write them to their logs, "
    "again.!";

// The log's core sends each record to all its sinks: to this one while the object exists.
template <class Sink> class Logging
{
public:
    Logging(const char* name, bool flush)
    {
        auto backend = boost::make_shared<log::sinks::text_file_backend>(log::keywords::file_name =
                                                                             path_of(name));
        backend->auto_flush(flush);
        m_sink = boost::make_shared<Sink>(backend);
        m_sink->set_formatter(log::expressions::stream
                              << log::expressions::format_date_time<boost::posix_time::ptime>(
                                     "TimeStamp", "%Y-%m-%d %H:%M:%S.%f")
                              << " " << log::expressions::smessage);
        log::core::get()->add_global_attribute("TimeStamp", log::attributes::local_clock());
        log::core::get()->add_sink(m_sink);
    }
    Logging(const Logging&) = delete;
    Logging& operator=(const Logging&) = delete;
    ~Logging()
    {
        log::core::get()->remove_sink(m_sink);
        if constexpr (requires { m_sink->stop(); })
            m_sink->stop();
        m_sink->flush();
    }

    double measure()
    {
        return timed(records, [this] { BOOST_LOG(m_logger) << text_100; });
    }

private:
    boost::shared_ptr<Sink> m_sink;
    log::sources::logger_mt m_logger;
};

using Direct = log::sinks::synchronous_sink<log::sinks::text_file_backend>;
using Queued = log::sinks::asynchronous_sink<log::sinks::text_file_backend>;

} // namespace

double boost_flushed()
{
    return Logging<Direct>("boost-flushed", true).measure();
}

double boost_buffered()
{
    return Logging<Direct>("boost-buffered", false).measure();
}

double boost_asynchronous()
{
    return Logging<Queued>("boost-asynchronous", false).measure();
}

} // namespace peers
