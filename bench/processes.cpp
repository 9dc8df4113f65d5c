#include "processes.h"

#include <climits>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <linux/futex.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench
{

namespace
{

constexpr size_t page_size = 4096;

} // namespace

Child::Child(std::vector<std::string> words)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    words.insert(words.begin(), {"/proc/self/exe", "--child"});
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char byte;
    m_ready = m_pid > 0 && read(ends[0], &byte, 1) == 1;
    close(ends[0]);
}

Child::~Child()
{
    if (m_pid > 0)
    {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
}

void say_ready()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (write(STDOUT_FILENO, "r", 1) != 1)
        _exit(1);
}

SharedPage::SharedPage(const char* name)
    : m_path(std::string("/dev/shm/plinth-bench-") + name + "-" + std::to_string(getpid())),
      m_words(nullptr)
{
    const int file = open(m_path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file >= 0 && ftruncate(file, page_size) == 0)
        m_words = map_words(m_path.c_str());
    if (file >= 0)
        close(file);
}

SharedPage::~SharedPage()
{
    unlink(m_path.c_str());
    if (m_words)
        munmap(m_words, page_size);
}

SharedWords* map_words(const char* path)
{
    const int file = open(path, O_RDWR | O_CLOEXEC);
    if (file < 0)
        return nullptr;
    void* const view = mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return view == MAP_FAILED ? nullptr : static_cast<SharedWords*>(view);
}

void wait_for(std::atomic<uint32_t>& word, uint32_t value)
{
    uint32_t now;
    while ((now = word.load(std::memory_order_acquire)) != value)
        syscall(SYS_futex, &word, FUTEX_WAIT, now, nullptr, nullptr, 0);
}

void wake(std::atomic<uint32_t>& word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void set(std::atomic<uint32_t>& word, uint32_t value)
{
    word.store(value, std::memory_order_release);
    wake(word);
}

} // namespace bench
