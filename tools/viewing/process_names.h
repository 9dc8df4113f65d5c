// The names of processes, which are asked for when a record arrives: its writer may end soon after.
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

// What the system tells of a process that runs, or has ended and is not forgotten yet.
struct ProcessFacts
{
    uint64_t start; // tells two processes apart that had the same id, one after the other
    std::string name;
};

// Nothing if there is no such process. One source file for each system.
std::optional<ProcessFacts> facts_of(DWORD process);

// Not for several threads.
class ProcessNames
{
public:
    using Clock = std::chrono::steady_clock;
    using Ask = std::optional<ProcessFacts> (*)(DWORD process);

    explicit ProcessNames(Ask ask = facts_of) : m_ask(ask) {}

    // The name of the process, null if it can't be found out. The system is asked for a process
    // that is new, and from time to time whether the id still belongs to the same one.
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
    std::unordered_map<DWORD, Known> m_older; // those before the newer ones were too many
};

} // namespace trace
