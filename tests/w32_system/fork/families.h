// Calls that a forked child must be able to make at once, and the forks of tests.
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace test
{

// A family of calls; several threads may run round at the same time. round returns true if all its
// calls succeeded.
struct Family
{
    const char* name;
    bool (*round)();
    bool starts_threads = false;
    bool alone = false; // one thread at a time: the sanitizer doesn't see the loader's own locks
};
extern const Family families[];
extern const size_t family_count;

// Runs one round. AddressSanitizer's allocator isn't prepared for forks: its locks would stay held
// in the child. In such a build a fork comes between the rounds of the threads, not within one.
void run_round(const Family& family);

// Like fork(), but between the rounds where that is needed.
pid_t fork_beside_rounds();

// Runs each family once. "" or the names of those that failed.
std::string try_all_families();

// Runs the function in a forked child, which then ends at once with the result as its exit code.
// Returns the exit code, or 128 and the number of the signal that killed it: SIGALRM if it hung.
int in_fork(const std::function<int()>& body);

// 0 if the child could make all calls; otherwise it names the failures on standard error.
int child_does_everything();
} // namespace test
