// The signal that TerminateThread sends, and how it gets through.
#pragma once

#include <sys/types.h>

namespace platform
{

// Has the handler run on each thread that is sent the signal. False with errno set.
bool install_termination_handler(void (*handler)(int));

// Lets the calling thread be reached, whatever its creator had blocked.
void allow_termination_signal();

// False with errno set. The signal may come in vain where it can't be handled: send it anew every
// termination_resend nanoseconds until the thread has ended.
bool send_termination_signal(pid_t thread);
#if defined(__SANITIZE_THREAD__)
inline constexpr long long termination_resend = 1'000'000;
#else
inline constexpr long long termination_resend = 10'000'000'000; // it never comes in vain
#endif

} // namespace platform
