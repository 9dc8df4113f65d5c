// Message boxes: with prepared answers, on a terminal, and without either.
#include <csignal>

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "support/test.h"

#include "support/environment.h"
#include "support/refusal.h"

namespace
{

// Assertion reports use the type 0x12012.
int ask()
{
    return MessageBoxW(nullptr, L"one\r\n\u00fcber", L"CAPTION", 0x12012);
}

int ask_main(int, char**)
{
    return ask();
}
const test::ChildMain ask_child("ask", ask_main);

DWORD WINAPI ask_on_thread(void*)
{
    return static_cast<DWORD>(ask());
}

// One box whose thread is terminated while the box waits, and then another.
int ask_twice_main(int, char**)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    DWORD id = 0;
    const HANDLE thread = CreateThread(nullptr, 0, ask_on_thread, nullptr, 0, &id);
    int signal = 0;
    if (!thread || sigwait(&signals, &signal) != 0)
        return 98;
    TerminateThread(thread, 7);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    _exit(ask()); // no leak check: the terminated thread's memory is lost
}
const test::ChildMain ask_twice_child("ask_twice", ask_twice_main);

// A child whose only terminal is the one made here.
class AskingChild
{
public:
    explicit AskingChild(const char* main = "ask")
        : m_id(forkpty(&m_terminal, nullptr, nullptr, nullptr))
    {
        if (m_id != 0)
            return;
        unsetenv("PLINTH_MESSAGEBOX");
        execl(test::program().c_str(), test::program().c_str(), "--child", main, nullptr);
        _exit(99);
    }
    AskingChild(const AskingChild&) = delete;
    AskingChild& operator=(const AskingChild&) = delete;
    ~AskingChild() { close(m_terminal); }
    // What the terminal shows, up to and including the text.
    std::string shown_until(const std::string& text)
    {
        std::string shown;
        for (char c = 0; !shown.ends_with(text) && ::read(m_terminal, &c, 1) == 1;)
            shown += c;
        return shown;
    }
    void type(const std::string& text)
    {
        ASSERT_EQ(::write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void signal(int number) { ASSERT_EQ(kill(m_id, number), 0); }
    int answer()
    {
        int status = 0;
        TEMP_FAILURE_RETRY(waitpid(m_id, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    int m_terminal = -1;
    const pid_t m_id;
};

TEST(MessageBox, AnswersAsTheEnvironmentSays)
{
    for (const auto& [name, id] : {std::pair{"fail", 0}, {"retry", IDRETRY}})
    {
        setenv("PLINTH_MESSAGEBOX", name, 1);
        EXPECT_EQ(ask(), id) << name;
    }
    EXPECT_EQ(MessageBoxW(nullptr, L"x", L"y", MB_OK), IDOK) << "it has no such button";

    setenv("PLINTH_MESSAGEBOX", "ingore", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ask(), IDABORT);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("ingore"), std::string::npos);
}

TEST(MessageBox, AsksOnTheTerminalUntilItIsAnswered)
{
    AskingChild child;
    const std::string question = child.shown_until("? ");
    EXPECT_NE(question.find("CAPTION\r\none"), std::string::npos) << question;
    EXPECT_NE(question.find("\u00fcber\r\n[a]bort, [r]etry, [i]gnore? "), std::string::npos)
        << question;
    child.type("no\n");
    child.shown_until("[i]gnore? ");
    child.type("Retry\n");
    EXPECT_EQ(child.answer(), IDRETRY);
    AskingChild left_alone;
    left_alone.shown_until("[i]gnore? ");
    left_alone.type("\x04");
    EXPECT_EQ(left_alone.answer(), 0);
}

TEST(MessageBox, AsksAfterTheThreadOfAnotherBoxWasTerminated)
{
    AskingChild child("ask_twice");
    child.shown_until("[i]gnore? ");
    child.signal(SIGUSR1);
    child.shown_until("[i]gnore? ");
    child.type("r\n");
    EXPECT_EQ(child.answer(), IDRETRY);
}

TEST(MessageBox, FailsWithoutATerminal)
{
    unsetenv("PLINTH_MESSAGEBOX");
    PlinthTestFail("open", 1, 1, ENXIO);
    EXPECT_EQ(test::refusal(ask()), ERROR_NOT_SUPPORTED);
    PlinthTestReset();
}

} // namespace
