// Other processes of this program: how they are started, and the page that all of them share.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench
{

// Another process of this program, as main() starts it for --child and these words. The constructor
// returns when it has said that it is ready; it is killed with the scope.
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

// For the child.
void say_ready();

// Each word has one meaning for one benchmark; see there.
struct SharedWords
{
    std::atomic<uint32_t> ping;
    std::atomic<uint32_t> pong;
    std::atomic<uint32_t> round;
    std::atomic<uint32_t> ended;
    std::atomic<uint32_t> received;
    std::atomic<uint64_t> used; // nanoseconds of processor time
};

// A fresh page under a path of its own, gone with the scope.
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

// The page of another process, for the rest of this one; null if it isn't there.
SharedWords* map_words(const char* path);

void wait_for(std::atomic<uint32_t>& word, uint32_t value);
void wake(std::atomic<uint32_t>& word);
void set(std::atomic<uint32_t>& word, uint32_t value);

} // namespace bench
