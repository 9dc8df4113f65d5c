// Other processes of this program: how they are started, and the memory page that all share.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench
{

// Another process of this program; main() is called with --child and these words. The constructor
// returns when the process has reported that it is ready; the destructor kills it.
class Child
{
public:
    explicit Child(std::vector<std::string> words);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    bool ready() const { return m_ready; }

private:
    pid_t m_pid = -1;
    bool m_ready = false;
};

// What each process that writes to the channel does in a round.
inline constexpr uint32_t texts_of_a_round = 5000;

// Called in the child.
void say_ready();

// The meaning of each word depends on the benchmark.
struct SharedWords
{
    std::atomic<uint32_t> ping;
    std::atomic<uint32_t> pong;
    std::atomic<uint32_t> round;
    std::atomic<uint32_t> ended;
    std::atomic<uint32_t> received;
    std::atomic<uint64_t> used; // nanoseconds of processor time
};

// A new page under a path of its own, removed by the destructor.
class SharedPage
{
public:
    explicit SharedPage(const char* name);
    ~SharedPage();
    SharedPage(const SharedPage&) = delete;
    SharedPage& operator=(const SharedPage&) = delete;
    const std::string& path() const { return m_path; }
    SharedWords* words() const { return m_words; } // null if it could not be made

private:
    std::string m_path;
    SharedWords* m_words;
};

// Maps the page of another process until this process ends; null if there is no such page.
SharedWords* map_words(const char* path);

void wait_for(std::atomic<uint32_t>& word, uint32_t value);
void wake(std::atomic<uint32_t>& word);
void set(std::atomic<uint32_t>& word, uint32_t value);

} // namespace bench
