// The names of processes. They are asked for when a record arrives, since its writer may end soon
// after.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include <windows.h>

namespace trace
{

// What the system reports of a process that runs, or has ended and is still known.
struct ProcessFacts
{
    uint64_t start; // distinguishes two processes that had the same id, one after the other
    std::string name;
};

// Nothing if there is no such process. One source file for each system.
std::optional<ProcessFacts> facts_of(DWORD process);

// Not for several threads at once.
class ProcessNames
{
public:
    using Clock = std::chrono::steady_clock;
    using Ask = std::optional<ProcessFacts> (*)(DWORD process);

    explicit ProcessNames(Ask ask = facts_of) : m_ask(ask) {}

    // The name of the process, null if unknown. The system is asked for a new process, and from
    // time to time whether the id still belongs to the same one.
    std::shared_ptr<const std::string> name_of(DWORD process, Clock::time_point now = Clock::now());

private:
    struct Known
    {
        std::shared_ptr<const std::string> name;
        uint64_t start = 0;
        std::optional<Clock::time_point> asked{};
    };

    Known& known_of(DWORD process);

    Ask m_ask;
    std::unordered_map<DWORD, Known> m_known;
    std::unordered_map<DWORD, Known> m_older; // the names known before m_known became full
};

} // namespace trace
