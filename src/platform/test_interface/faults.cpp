// The table of faults, used by the fault points.
//
// Everything here runs only once a test has armed it, so it may take a plain lock and allocate.
#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <plinth_platform_test.h>

#include "reset.h"
#include "system/fork.h"
#include "system/immortal.h"
#include "system/test_interface.h"

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
    void (*act)() = nullptr; // called instead of a fault
    unsigned seen = 0;
};

struct Count
{
    std::string_view operation; // a literal
    unsigned calls = 0;
};

struct Table
{
    std::mutex lock; // guards all below; last in every order of locks
    std::vector<Rule> rules;
    std::array<Count, 512> calls{}; // uses no heap memory, whose calls are counted too
    size_t call_names = 0;
    unsigned linux_calls = 0;
    const char* met = nullptr; // operation that met the first fault; a literal, as all names are
};

// Never destroyed: operations are called until the very end of the process.
Table& table()
{
    static Immortal<Table> only;
    return *only;
}

std::mutex& table_lock()
{
    return table().lock;
}

const AtFork g_at_fork(ForkStep::faults, taken_at_fork<table_lock>());

// Null for an operation that was not called.
Count* count_of(std::string_view operation)
{
    const auto end = table().calls.begin() + table().call_names;
    const auto found =
        std::find_if(table().calls.begin(), end,
                     [operation](const Count& each) { return each.operation == operation; });
    return found == end ? nullptr : &*found;
}

void add_rule(const char* operation, unsigned nth, unsigned count, Fault fault,
              void (*act)() = nullptr)
{
    const std::lock_guard guard(table().lock);
    table().rules.push_back({operation, nth, count ? nth + count - 1 : 0, fault, act});
    g_faults_armed = true;
}

struct Met
{
    Fault fault;
    void (*act)() = nullptr;
};

// Applies the rules to this call.
Met count_call(const char* operation, bool linux_call)
{
    const std::lock_guard guard(table().lock);
    Count* count = count_of(operation);
    if (!count && table().call_names < table().calls.size())
    {
        count = &table().calls[table().call_names++];
        *count = {operation};
    }
    if (count)
        ++count->calls;
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
    return met ? Met{met->fault, met->act} : Met{};
}

} // namespace

bool take_fault(const char* operation, bool linux_call, Fault& fault)
{
    const Met met = count_call(operation, linux_call);
    if (met.act)
        met.act(); // without the lock, as it may call anything
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
    const Count* const found = count_of(operation);
    return found ? found->calls : 0;
}

extern "C" const char* PlinthTestOperation(unsigned position)
{
    const std::lock_guard guard(table().lock);
    if (position >= table().call_names)
        return nullptr;
    std::vector<const char*> names;
    for (size_t at = 0; at < table().call_names; ++at)
        names.push_back(table().calls[at].operation.data());
    std::sort(names.begin(), names.end(),
              [](const char* one, const char* other) { return std::strcmp(one, other) < 0; });
    return names[position];
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
    table().call_names = 0;
    table().linux_calls = 0;
    table().met = nullptr;
    reset_clock_shifts();
    reset_kernel_root();
}
