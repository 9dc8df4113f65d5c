// This library's log, and the bare system call.
#include "loggers.h"

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <plinth_w32_system.h>

#include "measure.h"

namespace load
{

namespace
{

class Plinth : public Logger
{
public:
    Plinth()
    {
        CQvLogFile::CloseLog();
        require(QV_Log(L"next\r\n") == QV_OK, "no log");
        m_former = QV_SetTraceOptions(QV_DIAG_LOGFILE | QV_DIAG_DEBUGGER);
    }
    ~Plinth() override { QV_SetTraceOptions(m_former); }
    void log(const Record& record) override
    {
        DiagOutputExW_hlp("bench\\load\\loggers", __LINE__);
        DiagOutputExW(L"|thrid| %.2f %.2f opened document %u of %u in the viewer", record.first,
                      record.second, record.number, record.of);
    }

private:
    unsigned m_former = 0;
};

// Appends a text that is ready: no logger that writes each record can be faster.
class BareWrite : public Logger
{
public:
    explicit BareWrite(const std::string& file)
        : m_file(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644))
    {
        require(m_file >= 0, "open");
    }
    ~BareWrite() override { close(m_file); }
    void log(const Record& record) override
    {
        char bytes[length];
        std::memcpy(bytes, m_template.data(), length);
        if (record.of != 0) // by which count_lost finds the record
            bytes[std::snprintf(bytes, length, "document %u of %u ", record.number, record.of)] =
                'm';
        require(write(m_file, bytes, length) == static_cast<ssize_t>(length), "write");
    }

private:
    static constexpr size_t length = 101; // of a record above, stamp and CR LF included
    const std::string m_template = std::string(length - 2, 'm') + "\r\n";
    const int m_file;
};

} // namespace

std::unique_ptr<Logger> make_plinth(const std::string&)
{
    return std::make_unique<Plinth>();
}

std::unique_ptr<Logger> make_bare_write(const std::string& file)
{
    return std::make_unique<BareWrite>(file);
}

const std::vector<LoggerKind>& logger_kinds()
{
    static const std::vector<LoggerKind> all = {
        {"plinth", make_plinth},
        {"write(2)", make_bare_write},
        {"spdlog, flushed", make_spdlog_flushed},
        {"spdlog, buffered", make_spdlog_buffered},
        {"spdlog, asynchronous", make_spdlog_asynchronous},
        {"glog, flushed", make_glog_flushed},
        {"glog, buffered", make_glog_buffered},
    };
    return all;
}

} // namespace load
