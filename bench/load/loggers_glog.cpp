// glog as a peer: flushed at each record, and buffered. It has one set of files for each process,
// so only one glog logger can be in use at a time.
#include <iomanip>

#include <glog/logging.h>

#include "loggers.h"

namespace load
{

namespace
{

class Glog : public Logger
{
public:
    Glog(const std::string& file, bool flushed)
    {
        static const bool once = []
        {
            google::InitGoogleLogging("plinth_load");
            return true;
        }();
        static_cast<void>(once);
        FLAGS_timestamp_in_logfile_name = false;
        FLAGS_logbuflevel = flushed ? -1 : 0;
        for (const auto severity : {google::GLOG_WARNING, google::GLOG_ERROR, google::GLOG_FATAL})
            google::SetLogDestination(severity, "");
        google::SetLogDestination(google::GLOG_INFO, file.c_str());
    }
    void log(const Record& record) override
    {
        LOG(INFO) << std::fixed << std::setprecision(2) << record.first << ' ' << record.second
                  << " opened document " << record.number << " of " << record.of
                  << " in the viewer";
    }
    void finish() override { google::FlushLogFiles(google::GLOG_INFO); }
};

} // namespace

std::unique_ptr<Logger> make_glog_flushed(const std::string& file)
{
    return std::make_unique<Glog>(file, true);
}

std::unique_ptr<Logger> make_glog_buffered(const std::string& file)
{
    return std::make_unique<Glog>(file, false);
}

} // namespace load
