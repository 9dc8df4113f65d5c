// Control events of the console, and the environment in texts.
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"
#include "support/wide_text.h"

using test::ChildProcess;
using test::error_of;

namespace
{

DWORD g_main_thread = 0;

// Each handler reports its name and the event; "taker" handles Ctrl+C.
BOOL tell(const char* name, DWORD event)
{
    const bool own_thread = GetCurrentThreadId() != g_main_thread;
    test::say(name + std::string(" ") + std::to_string(event) + (own_thread ? "" : " on main"));
    return FALSE;
}
BOOL first(DWORD event)
{
    return tell("first", event);
}
BOOL taker(DWORD event)
{
    return tell("taker", event) || event == CTRL_C_EVENT;
}
BOOL last(DWORD event)
{
    return tell("last", event);
}

// Carries out commands, one word a line, until its input ends.
int obey(int, char**)
{
    for (const int signal : {SIGINT, SIGQUIT}) // whatever the parent has set
        ::signal(signal, SIG_DFL);
    test::say("ready");
    for (std::string word = test::hear(); !word.empty(); word = test::hear())
    {
        if (word == "fork" && fork() != 0)
        {
            int status = 0;
            wait(&status);
            _exit(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status));
        }
        g_main_thread = GetCurrentThreadId(); // a forked child has another one
        if (word == "add")
            for (const PHANDLER_ROUTINE each : {first, taker, last})
                SetConsoleCtrlHandler(each, TRUE);
        if (word == "remove")
            for (const PHANDLER_ROUTINE each : {first, taker, last})
                SetConsoleCtrlHandler(each, FALSE);
        if (word == "ignore" || word == "heed")
            SetConsoleCtrlHandler(nullptr, word == "ignore");
        test::say(word == "fork" ? std::to_string(getpid()) : word);
    }
    return 7;
}
const test::ChildMain g_obey("obey", obey);

void order(ChildProcess& child, std::initializer_list<const char*> words)
{
    EXPECT_EQ(child.line(), "ready");
    for (const char* const word : words)
    {
        child.tell(word);
        EXPECT_EQ(child.line(), word);
    }
}

} // namespace

TEST(ConsoleControl, HandlersAreAskedLastFirstOnAThreadOfTheirOwnUntilOneDealsWithTheEvent)
{
    ChildProcess child("obey");
    order(child, {"add"});
    for (int i = 0; i < 2; ++i)
    {
        child.send(SIGINT);
        EXPECT_EQ(child.line(), "last 0");
        EXPECT_EQ(child.line(), "taker 0");
    }
    child.send(SIGQUIT);
    for (const char* const line : {"last 1", "taker 1", "first 1"})
        EXPECT_EQ(child.line(), line);
    EXPECT_EQ(child.wait(), 128 + SIGQUIT) << "nobody has dealt with it";
}

TEST(ConsoleControl, AForkedChildHearsItsOwnEvents)
{
    ChildProcess child("obey");
    order(child, {"add"});
    child.tell("fork");
    const auto grandchild = static_cast<pid_t>(std::stoi(child.line()));
    kill(grandchild, SIGINT);
    EXPECT_EQ(child.line(), "last 0");
    EXPECT_EQ(child.line(), "taker 0");
    kill(grandchild, SIGQUIT);
    for (const char* const line : {"last 1", "taker 1", "first 1"})
        EXPECT_EQ(child.line(), line);
    EXPECT_EQ(child.wait(), 128 + SIGQUIT);
}

TEST(ConsoleControl, CtrlCIsIgnoredOnRequestAndWithoutHandlersItEndsTheProcess)
{
    const struct
    {
        std::initializer_list<const char*> words;
        bool ends;
    } rows[] = {{{"add", "remove"}, true},
                {{"ignore"}, false},
                {{"add", "ignore", "remove"}, false},
                {{"ignore", "heed"}, true}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        ChildProcess child("obey");
        order(child, row.words);
        child.send(SIGINT);
        if (!row.ends)
            child.tell("still here");
        EXPECT_EQ(child.line(), row.ends ? "" : "still here");
        if (!row.ends)
            child.tell("");
        EXPECT_EQ(child.wait(), row.ends ? 128 + SIGINT : 7);
    }
}

TEST(ConsoleControl, WhatTheProgramWasStartedWithOrTheSystemRefusesStays)
{
    ::signal(SIGINT, SIG_DFL);
    EXPECT_EQ(error_of(SetConsoleCtrlHandler(first, FALSE)), ERROR_INVALID_PARAMETER);
    for (const char* const call : {"sigaction", "pthread_create"})
    {
        PlinthTestFail(call, 1, 0, EAGAIN);
        EXPECT_NE(error_of(SetConsoleCtrlHandler(first, TRUE)), 0u) << call;
        PlinthTestReset();
        EXPECT_EQ(error_of(SetConsoleCtrlHandler(first, FALSE)), ERROR_INVALID_PARAMETER) << call;
    }
    struct sigaction action = {};
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    ::signal(SIGINT, SIG_IGN); // as in a background job
    EXPECT_TRUE(SetConsoleCtrlHandler(first, TRUE));
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    EXPECT_TRUE(SetConsoleCtrlHandler(first, FALSE));
    EXPECT_TRUE(SetConsoleCtrlHandler(nullptr, FALSE));
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST(ExpandEnvironment, VariablesAreReplacedAndTheSizeCountsTheTerminator)
{
    setenv("PLACE", "Z\xc3\xbcrich", 1);
    setenv("NOTHING", "", 1);
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"", ""},
        {L"to %PLACE%%place%!", "to Z\xc3\xbcrichZ\xc3\xbcrich!"},
        {L"%NOTHING%|%NO_SUCH%PLACE%|100%", "|%NO_SUCHZ\xc3\xbcrich|100%"},
        {L"%%PLACE%", "%Z\xc3\xbcrich"}};
    wchar_t text[64];
    for (const auto& [from, to] : rows)
    {
        const DWORD count = ExpandEnvironmentStringsW(from, nullptr, 0);
        EXPECT_EQ(ExpandEnvironmentStringsW(from, text, count), count) << to;
        EXPECT_EQ(test::utf8(text), to);
        EXPECT_EQ(test::Wide(text).size() + 1, count) << to;
        std::fill_n(text, 64, L'#');
        EXPECT_EQ(ExpandEnvironmentStringsW(from, text, count - 1), count) << to;
        EXPECT_EQ(text[count - 1], L'#') << to;
    }
    EXPECT_EQ(error_of(ExpandEnvironmentStringsW(nullptr, text, 64)), ERROR_INVALID_PARAMETER);
}
