#include "support/processes.h"

#ifndef _WIN32

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace test
{

Process Process::child(const std::string& name, const std::vector<std::string>& arguments)
{
    int out[2], in[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(in, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    std::vector<std::string> words{program(), "--child", name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    Process process;
    pid_t id = -1;
    const int error = posix_spawn(&id, program().c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(in[0]);
    process.m_out = out[0];
    process.m_in = in[1];
    if (error)
        throw std::runtime_error("posix_spawn");
    process.m_id = id;
    return process;
}

Process::Process(Process&& other) noexcept
    : m_id(std::exchange(other.m_id, -1)), m_out(std::exchange(other.m_out, -1)),
      m_in(std::exchange(other.m_in, -1))
{
}

Process::~Process()
{
    kill();
    if (m_out >= 0)
        close(m_out);
    if (m_in >= 0)
        close(m_in);
}

int Process::wait()
{
    if (m_id < 0)
        return -1;
    int status = 0;
    while (waitpid(m_id, &status, 0) < 0 && errno == EINTR)
    {
    }
    m_id = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Process::kill()
{
    if (m_id < 0)
        return;
    ::kill(m_id, SIGKILL);
    wait();
}

std::string Process::read_line()
{
    std::string line;
    char c;
    while (::read(m_out, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

void Process::write(const std::string& text)
{
    if (::write(m_in, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("write to a child");
}

} // namespace test

#else

#include <process.h>
#include <stdexcept>
#include <utility>

namespace test
{

Process Process::child(const std::string& name, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words{program(), "--child", name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<const char*> argv;
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    argv.push_back(nullptr);
    const intptr_t id = _spawnv(_P_NOWAIT, program().c_str(), argv.data());
    if (id == -1)
        throw std::runtime_error("_spawnv");
    Process process;
    process.m_id = static_cast<int>(id);
    return process;
}

Process::Process(Process&& other) noexcept : m_id(std::exchange(other.m_id, -1)) {}

Process::~Process()
{
    kill();
}

int Process::wait()
{
    int status = -1;
    _cwait(&status, m_id, 0);
    m_id = -1;
    return status;
}

void Process::kill()
{
    if (m_id < 0)
        return;
    TerminateProcess(reinterpret_cast<HANDLE>(static_cast<intptr_t>(m_id)), 1);
    wait();
}

// Tests that talk with their children belong to the other system.
std::string Process::read_line()
{
    return "";
}

void Process::write(const std::string&) {}

} // namespace test

#endif
