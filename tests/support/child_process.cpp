#include "support/child_process.h"

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/environment.h"

extern char** environ;

namespace test
{

namespace
{

std::string read_line(int fd)
{
    std::string line;
    char c = 0;
    while (::read(fd, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

void write_line(int fd, const std::string& line)
{
    const std::string bytes = line + "\n";
    if (::write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("write to a pipe");
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ChildProcess::ChildProcess(const std::string& name, std::vector<std::string> arguments,
                           const std::vector<std::string>& environment)
{
    arguments.insert(arguments.begin(), {program(), "--child", name});
    std::vector<std::string> settings(environment);
    for (char** setting = environ; *setting; ++setting)
        settings.emplace_back(*setting);
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    const int error = posix_spawn(&m_id, program().c_str(), &actions, nullptr,
                                  pointers(arguments).data(), pointers(settings).data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    m_in = in[1];
    m_out = out[0];
    if (error)
        throw std::runtime_error("posix_spawn");
}

ChildProcess::~ChildProcess()
{
    finish(SIGKILL);
    ::close(m_in);
    ::close(m_out);
}

std::string ChildProcess::line()
{
    return read_line(m_out);
}

void ChildProcess::tell(const std::string& line)
{
    write_line(m_in, line);
}

void ChildProcess::finish(int signal)
{
    send(signal);
    if (signal == SIGSTOP)
        wait_until_stopped();
    else
        wait();
}

void ChildProcess::wait_until_stopped()
{
    int status = 0;
    while (waitpid(m_id, &status, WUNTRACED) < 0 && errno == EINTR)
    {
    }
    if (!WIFSTOPPED(status))
        throw std::runtime_error("the child ended instead of stopping");
}

int ChildProcess::wait()
{
    while (m_status < 0)
    {
        int status = 0;
        if (waitpid(m_id, &status, 0) == m_id)
            m_status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        else if (errno != EINTR)
            throw std::runtime_error("waitpid");
    }
    return m_status;
}

void say(const std::string& line)
{
    write_line(STDOUT_FILENO, line);
}

std::string hear()
{
    return read_line(STDIN_FILENO);
}

} // namespace test
