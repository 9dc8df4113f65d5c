#include "standard_error.h"

#include "calls.h"

namespace platform
{

namespace
{

// A write to a broken pipe sends SIGPIPE to the writing thread. The signal is blocked in this
// thread and removed afterwards. If one was pending before, it is the program's own and stays.
class BrokenPipeSignal
{
public:
    BrokenPipeSignal()
    {
        sigset_t pending;
        sigemptyset(&pending);
        sigemptyset(&m_signal);
        sigaddset(&m_signal, SIGPIPE);
        sigpending(&pending);
        m_was_pending = sigismember(&pending, SIGPIPE) == 1;
        m_kept_back = pthread_sigmask(SIG_BLOCK, &m_signal, &m_former) == 0;
    }
    BrokenPipeSignal(const BrokenPipeSignal&) = delete;
    BrokenPipeSignal& operator=(const BrokenPipeSignal&) = delete;
    ~BrokenPipeSignal()
    {
        if (!m_kept_back)
            return;
        constexpr timespec at_once{0, 0};
        if (m_has_come && !m_was_pending)
            while (sigtimedwait(&m_signal, nullptr, &at_once) < 0 && errno == EINTR)
                ;
        pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
    }
    void has_come() { m_has_come = true; }

private:
    sigset_t m_signal;
    sigset_t m_former;
    bool m_was_pending = false;
    bool m_kept_back = false;
    bool m_has_come = false;
};

} // namespace

void write_standard_error(std::string_view text)
{
    BrokenPipeSignal signal;
    while (!text.empty())
    {
        const ssize_t count = sys::write(STDERR_FILENO, text.data(), text.size());
        if (count < 0 && errno == EPIPE)
            signal.has_come();
        if (count <= 0)
            return;
        text.remove_prefix(static_cast<size_t>(count));
    }
}

} // namespace platform
