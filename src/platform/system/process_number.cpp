#include "process_number.h"

#include <pthread.h>

namespace platform
{

constinit std::atomic<unsigned> g_process_number{1};

namespace
{

[[maybe_unused]] const int g_fork_watched =
    pthread_atfork(nullptr, nullptr, [] { ++g_process_number; });

} // namespace

} // namespace platform
