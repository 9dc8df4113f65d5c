#include "process_names.h"

#include <utility>

namespace trace
{

namespace
{

// An id is not reused faster than this: the system uses all others first.
constexpr std::chrono::milliseconds trusted{200};

// Machines may start thousands of short programs. A name that was not asked for while this many
// others were is forgotten.
constexpr size_t most_known = 2048;

} // namespace

ProcessNames::Known& ProcessNames::known_of(DWORD process)
{
    if (const auto found = m_known.find(process); found != m_known.end())
        return found->second;
    if (m_known.size() >= most_known)
        m_older = std::exchange(m_known, {});
    const auto older = m_older.find(process);
    return m_known[process] = older == m_older.end() ? Known() : std::move(older->second);
}

std::shared_ptr<const std::string> ProcessNames::name_of(DWORD process, Clock::time_point now)
{
    Known& known = known_of(process);
    if (known.asked && now - *known.asked < trusted)
        return known.name;
    known.asked = now;
    std::optional<ProcessFacts> facts = m_ask(process);
    // A process that has ended keeps its name, since records that it wrote at its end may still
    // come. A name may also change: a process that has just been forked has its parent's name until
    // it runs its own image.
    if (facts && (!known.name || known.start != facts->start || *known.name != facts->name))
    {
        known.start = facts->start;
        known.name = std::make_shared<const std::string>(std::move(facts->name));
    }
    return known.name;
}

} // namespace trace
