// The signal that TerminateThread sends, and how it is delivered.
#pragma once

#include <sys/types.h>

namespace platform
{

// Makes the handler run on each thread that is sent the signal. False with errno set.
bool install_termination_handler(void (*handler)(int));

// Unblocks the signal for the calling thread, even if its creator had blocked it.
void allow_termination_signal();

// False with errno set. The signal is ignored where it can't be handled: send it again every
// termination_resend nanoseconds until the thread has ended.
bool send_termination_signal(pid_t thread);
#if defined(__SANITIZE_THREAD__)
inline constexpr long long termination_resend = 1'000'000;
#else
inline constexpr long long termination_resend = 10'000'000'000; // it is never ignored
#endif

} // namespace platform
