// What a forked child must be able to do at once, and the forks of tests.
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace test
{

// One round of one family of calls. May be run by several threads at once. True if all went well.
struct Family
{
    const char* name;
    bool (*round)();
    bool starts_threads = false;
    bool alone = false; // one thread at a time: the sanitizer doesn't see the loader's own locks
};
extern const Family families[];
extern const size_t family_count;

// Goes through a round. The allocator of AddressSanitizer knows nothing of forks: its locks would
// be held in the child. In such a build a fork comes between the rounds of the threads, not within
// one.
void run_round(const Family& family);

// As fork(), with regard to the rounds.
pid_t fork_beside_rounds();

// "" or the names of the families that failed. Runs each once.
std::string try_all_families();

// Runs the function in a forked child, which ends at once afterwards: what it returned is its exit
// code. 128 and the signal's number if it was killed: by SIGALRM if it hung.
int in_fork(const std::function<int()>& body);

// 0 if the child could do everything; says on standard error what it couldn't.
int child_does_everything();
} // namespace test
