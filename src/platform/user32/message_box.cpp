// Message boxes: PLINTH_MESSAGEBOX answers for unattended runs, else the display shows them, else
// the question is written to the controlling terminal. Without any of these the box fails.
#include <cerrno>
#include <cstring>
#include <string>

#include <pthread.h>

#include "desktop.h"
#include "message_buttons.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/exception_guard.h"
#include "system/faults.h"
#include "system/fork.h"
#include "system/last_error.h"
#include "system/report.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

bool is_button(const char* name)
{
    for (const UINT type :
         {MB_OK, MB_OKCANCEL, MB_ABORTRETRYIGNORE, MB_YESNOCANCEL, MB_YESNO, MB_RETRYCANCEL})
    {
        const MessageButtons buttons = message_buttons(type);
        for (size_t i = 0; i < buttons.count; ++i)
            if (std::strcmp(name, buttons.first[i].name) == 0)
                return true;
    }
    return false;
}

// The answer of PLINTH_MESSAGEBOX; the name of a button that this box doesn't have counts as its
// first button.
int prepared_answer(const char* name, const MessageButtons& buttons)
{
    if (std::strcmp(name, "fail") == 0)
        return fail_with(ERROR_NOT_SUPPORTED);
    for (size_t i = 0; i < buttons.count; ++i)
        if (std::strcmp(name, buttons.first[i].name) == 0)
            return buttons.first[i].id;
    if (!is_button(name))
    {
        report("PLINTH_MESSAGEBOX: no button has the name " + std::string(name) + "; taken as " +
               buttons.first[0].name);
    }
    return buttons.first[0].id;
}

// One box at a time uses the terminal. The lock is robust: a thread may be terminated while it
// waits for an answer, and the next box must not wait for it.
class TerminalTurn
{
public:
    TerminalTurn()
    {
        m_lock = &the_lock().mutex;
        if (pthread_mutex_lock(m_lock) == EOWNERDEAD)
            pthread_mutex_consistent(m_lock);
    }
    TerminalTurn(const TerminalTurn&) = delete;
    TerminalTurn& operator=(const TerminalTurn&) = delete;
    ~TerminalTurn() { pthread_mutex_unlock(m_lock); }

    // A child doesn't have the box of another thread.
    static void renew() { m_shared.renew(); }

private:
    struct Lock
    {
        pthread_mutex_t mutex;
        Lock()
        {
            pthread_mutexattr_t attributes;
            pthread_mutexattr_init(&attributes);
            pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
            pthread_mutex_init(&mutex, &attributes);
            pthread_mutexattr_destroy(&attributes);
        }
    };
    static Lock& the_lock() { return m_shared.get(); }

    static inline constinit OfProcess<Lock> m_shared;
    pthread_mutex_t* m_lock;
};

const AtFork g_at_fork(ForkStep::message_box, {nullptr, nullptr, TerminalTurn::renew});

// The controlling terminal. It is used as a descriptor, since a stream can't freely alternate
// between writing and reading.
class Terminal
{
public:
    Terminal() : m_fd(sys::open("/dev/tty", O_RDWR | O_NOCTTY)) {}
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal()
    {
        if (m_fd >= 0)
            sys::close(m_fd);
    }
    explicit operator bool() const { return m_fd >= 0; }
    // Text typed before the question appeared is not an answer to it.
    void forget_input() { sys::tcflush(m_fd, TCIFLUSH); }
    bool write(const std::string& text)
    {
        for (size_t done = 0; done < text.size();)
        {
            const ssize_t count = sys::write(m_fd, text.data() + done, text.size() - done);
            if (count <= 0)
                return false;
            done += static_cast<size_t>(count);
        }
        return true;
    }
    // Reads a line and keeps only its first characters. False at the end of the input.
    bool read_line(std::string& line)
    {
        line.clear();
        for (char c = 0; c != '\n';)
        {
            if (sys::read(m_fd, &c, 1) != 1)
                return false;
            if (line.size() < 64)
                line += c;
        }
        return true;
    }

private:
    const int m_fd;
};

// 0 if the terminal is lost.
int ask_on_terminal(Terminal& terminal, const std::string& text, const std::string& caption,
                    const MessageButtons& buttons)
{
    std::string question = "\n" + harmless(caption) + "\n" + harmless(text, "\n\t") + "\n";
    for (size_t i = 0; i < buttons.count; ++i)
        question += std::string(i ? ", " : "") + "[" + buttons.first[i].name[0] + "]" +
                    (buttons.first[i].name + 1);
    question += "? ";
    terminal.forget_input();
    for (std::string line; terminal.write(question) && terminal.read_line(line);)
        for (size_t i = 0; i < buttons.count; ++i)
            if ((line[0] | 0x20) == buttons.first[i].name[0] ||
                (buttons.count == 1 && line[0] == '\n'))
                return buttons.first[i].id;
    return fail_with(ERROR_NOT_SUPPORTED);
}

} // namespace

extern "C" int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type)
{
    int error = 0;
    if (api_fault("MessageBoxW", error))
        return fail_with(static_cast<DWORD>(error));
    const MessageButtons buttons = message_buttons(type);
    if (const char* const prepared = environment("PLINTH_MESSAGEBOX"))
        return prepared_answer(prepared, buttons);
    load_desktop();
    if (const PlinthDesktop* const display = desktop(); display && display->message_box)
        if (const int answer =
                display->message_box(owner, text ? text : L"", caption ? caption : L"", type))
            return answer;
    try
    {
        const TerminalTurn turn;
        Terminal terminal;
        if (!terminal)
            return fail_with(ERROR_NOT_SUPPORTED);
        return ask_on_terminal(terminal, text ? to_utf8(text) : "", caption ? to_utf8(caption) : "",
                               buttons);
    }
    catch (const std::exception& exception)
    {
        return failed_by(exception, FALSE);
    }
}
