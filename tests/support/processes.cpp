#include "support/processes.h"

#ifndef _WIN32

#include "support/child_process.h"

struct test::Process::Running : ChildProcess
{
    using ChildProcess::ChildProcess;
    void kill() { finish(SIGKILL); }
};

#else

#include <process.h>
#include <stdexcept>

#include <windows.h>

struct test::Process::Running
{
    Running(const std::string& name, const std::vector<std::string>& arguments)
    {
        std::vector<const char*> argv{program().c_str(), "--child", name.c_str()};
        for (const std::string& each : arguments)
            argv.push_back(each.c_str());
        argv.push_back(nullptr);
        m_id = _spawnv(_P_NOWAIT, argv[0], argv.data());
        if (m_id == -1)
            throw std::runtime_error("_spawnv");
    }
    ~Running() { kill(); }
    int wait()
    {
        int status = -1;
        if (m_id != -1)
            _cwait(&status, m_id, 0);
        m_id = -1;
        return status;
    }
    void kill()
    {
        if (m_id != -1)
            TerminateProcess(reinterpret_cast<HANDLE>(m_id), 1);
        wait();
    }
    std::string line() { return ""; }

private:
    intptr_t m_id;
};

#endif

namespace test
{

Process Process::child(const std::string& name, const std::vector<std::string>& arguments)
{
    Process process;
    process.m_running = std::make_shared<Running>(name, arguments);
    return process;
}

int Process::wait()
{
    return m_running->wait();
}

void Process::kill()
{
    m_running->kill();
}

std::string Process::read_line()
{
    return m_running->line();
}

} // namespace test
