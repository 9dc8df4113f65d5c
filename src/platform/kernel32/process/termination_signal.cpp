// Under ThreadSanitizer the signal needs another path. The sanitizer delays a signal until the
// thread calls a function that it watches, which a thread in a futex wait or in a loop never does.
// So the handler is installed by a call that the sanitizer doesn't intercept. The handler must not
// end a thread within the sanitizer's own code, whose locks the rest of the process still needs:
// there it ignores the signal, which is sent again.
#include "termination_signal.h"

#include <csignal>
#include <cstdint>

#include "system/calls.h"

namespace platform
{

namespace
{

int termination_signal()
{
    return SIGRTMAX - 3;
}

} // namespace

#if defined(__SANITIZE_THREAD__)

extern "C" void __tsan_init();

namespace
{

void (*g_handler)(int) = nullptr;
// The addresses of the sanitizer's code.
uintptr_t g_begin = 0;
uintptr_t g_end = 0;

int find_sanitizer(dl_phdr_info* module, size_t, void*)
{
    const auto inside = reinterpret_cast<uintptr_t>(&__tsan_init);
    for (int i = 0; i < module->dlpi_phnum; ++i)
    {
        const auto& part = module->dlpi_phdr[i];
        const uintptr_t begin = module->dlpi_addr + part.p_vaddr;
        if (part.p_type != PT_LOAD || inside < begin || inside - begin >= part.p_memsz)
            continue;
        g_begin = begin;
        g_end = begin + part.p_memsz;
        return 1;
    }
    return 0;
}

// Not instrumented: the signal may interrupt the sanitizer's own work.
__attribute__((no_sanitize("thread"))) void on_signal(int signal, siginfo_t*, void* context)
{
    const auto& registers = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    const auto at = static_cast<uintptr_t>(registers.gregs[REG_RIP]);
#else
    const auto at = static_cast<uintptr_t>(registers.pc);
#endif
    if (at < g_begin || at >= g_end)
        g_handler(signal);
}

} // namespace

bool install_termination_handler(void (*handler)(int))
{
    sys::dl_iterate_phdr(find_sanitizer, nullptr);
    g_handler = handler;
    struct sigaction action = {};
    action.sa_sigaction = on_signal;
    action.sa_flags = SA_RESTART | SA_SIGINFO;
    return sys::sigaction_unwatched(termination_signal(), &action) == 0;
}

#else

bool install_termination_handler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    return sys::sigaction(termination_signal(), &action) == 0;
}

#endif

void allow_termination_signal()
{
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, termination_signal());
    pthread_sigmask(SIG_UNBLOCK, &terminate, nullptr);
}

bool send_termination_signal(pid_t thread)
{
    return sys::send_signal(thread, termination_signal()) == 0;
}

} // namespace platform
