// The loggers that are compared: this library and its peers, each with a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace load
{

// One record: the same text and the same four arguments for each logger.
struct Record
{
    double first; // shown with two decimals
    double second;
    unsigned number;
    unsigned of;
};

class Logger
{
public:
    Logger() = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;
    virtual ~Logger() = default;
    // Called by several threads at once.
    virtual void log(const Record& record) = 0;
    // Returns when all records are in the file. Nothing is logged after that.
    virtual void finish() {}
};

struct LoggerKind
{
    const char* name;
    std::unique_ptr<Logger> (*make)(const std::string& file); // appends to this file
};

// In the order of the tables; the first is this library. It writes its log under PLINTH_ROOT, and
// ignores `file`.
const std::vector<LoggerKind>& logger_kinds();

std::unique_ptr<Logger> make_plinth(const std::string& file);
std::unique_ptr<Logger> make_bare_write(const std::string& file);
std::unique_ptr<Logger> make_spdlog_flushed(const std::string& file);
std::unique_ptr<Logger> make_spdlog_buffered(const std::string& file);
std::unique_ptr<Logger> make_spdlog_asynchronous(const std::string& file);
std::unique_ptr<Logger> make_glog_flushed(const std::string& file);
std::unique_ptr<Logger> make_glog_buffered(const std::string& file);

} // namespace load
