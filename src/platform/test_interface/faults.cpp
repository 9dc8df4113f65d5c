// The fault table behind the fault points.
//
// Everything here runs only once a test has armed it, so it takes a plain lock and allocates.
#include "system/faults.h"

#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <plinth_platform_test.h>

#include "reset.h"
#include "system/fork.h"

namespace platform
{

constinit std::atomic<bool> g_faults_armed{false};

namespace
{

struct Rule
{
    std::string operation; // empty: any Linux call
    unsigned first = 0;
    unsigned last = 0; // 0: no end
    Fault fault;
    void (*act)() = nullptr; // what is called in place of a fault
    unsigned seen = 0;
};

struct Table
{
    std::mutex lock; // guards all below; the last lock in every order
    std::vector<Rule> rules;
    std::map<std::string, unsigned> calls;
    unsigned linux_calls = 0;
    const char* met = nullptr; // the operation of the first fault; a literal, as all names are
};

// Never destroyed: operations come until the very end of the process.
Table& table()
{
    static Table& only = *new Table;
    return only;
}

std::mutex& table_lock()
{
    return table().lock;
}

const AtFork g_at_fork(ForkStep::faults, taken_at_fork<table_lock>());

void add_rule(const char* operation, unsigned nth, unsigned count, Fault fault,
              void (*act)() = nullptr)
{
    const std::lock_guard guard(table().lock);
    table().rules.push_back({operation, nth, count ? nth + count - 1 : 0, fault, act});
    g_faults_armed = true;
}

// The rule that meets this call, or one without fault and act.
Rule count_call(const char* operation, bool linux_call)
{
    const std::lock_guard guard(table().lock);
    ++table().calls[operation];
    table().linux_calls += linux_call;
    const Rule* met = nullptr;
    for (Rule& rule : table().rules)
    {
        if (rule.operation.empty() ? !linux_call : rule.operation != operation)
            continue;
        ++rule.seen;
        if (!met && rule.seen >= rule.first && (!rule.last || rule.seen <= rule.last))
            met = &rule;
    }
    if (met && !met->act && !table().met)
        table().met = operation;
    return met ? *met : Rule{};
}

} // namespace

bool take_fault(const char* operation, bool linux_call, Fault& fault)
{
    const Rule met = count_call(operation, linux_call);
    if (met.act)
        met.act(); // without the lock: it may call anything
    fault = met.fault;
    return !met.act && (fault.error != 0 || fault.limit != SIZE_MAX);
}

} // namespace platform

using namespace platform;

extern "C" void PlinthTestFail(const char* operation, unsigned nth, unsigned count, int error)
{
    add_rule(operation, nth, count, {error, SIZE_MAX});
}

extern "C" void PlinthTestShorten(const char* operation, unsigned nth, unsigned count, size_t bytes)
{
    add_rule(operation, nth, count, {0, bytes});
}

extern "C" void PlinthTestFailAny(unsigned nth, unsigned count, int error)
{
    add_rule("", nth, count, {error, SIZE_MAX});
}

extern "C" void PlinthTestBefore(const char* operation, unsigned nth, void (*act)(void))
{
    add_rule(operation, nth, 1, {}, act);
}

extern "C" void PlinthTestArm(void)
{
    g_faults_armed = true;
}

extern "C" unsigned PlinthTestCalls(const char* operation)
{
    const std::lock_guard guard(table().lock);
    if (!operation)
        return table().linux_calls;
    const auto found = table().calls.find(operation);
    return found == table().calls.end() ? 0 : found->second;
}

extern "C" const char* PlinthTestOperation(unsigned position)
{
    // Kept beyond PlinthTestReset, which empties the table.
    static std::set<std::string>& names = *new std::set<std::string>;
    const std::lock_guard guard(table().lock);
    if (position >= table().calls.size())
        return nullptr;
    return names.insert(std::next(table().calls.begin(), position)->first).first->c_str();
}

extern "C" const char* PlinthTestFaultMet(void)
{
    const std::lock_guard guard(table().lock);
    return table().met;
}

extern "C" void PlinthTestReset(void)
{
    const std::lock_guard guard(table().lock);
    g_faults_armed = false;
    table().rules.clear();
    table().calls.clear();
    table().linux_calls = 0;
    table().met = nullptr;
    reset_clock_shifts();
    reset_kernel_root();
}
