// Walks of the calling thread's stack.
#include <csignal>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <windows.h>

#include <dbghelp.h>

#include "support/refusal.h"

namespace
{

class Walk
{
public:
    // The context is the caller's of this constructor's, or nearer.
    Walk()
    {
        m_context.ContextFlags = CONTEXT_FULL;
        m_good = GetThreadContext(GetCurrentThread(), &m_context) != FALSE;
        m_frame.AddrPC = {m_context.Rip, 0, AddrModeFlat};
        m_frame.AddrStack = {m_context.Rsp, 0, AddrModeFlat};
        m_frame.AddrFrame = {m_context.Rbp, 0, AddrModeFlat};
    }
    bool next(PGET_MODULE_BASE_ROUTINE64 module_base = nullptr)
    {
        return m_good &&
               StackWalk64(IMAGE_FILE_MACHINE_AMD64, GetCurrentProcess(), GetCurrentThread(),
                           &m_frame, &m_context, nullptr,
                           module_base ? nullptr : SymFunctionTableAccess64, module_base, nullptr);
    }
    const STACKFRAME64& frame() const { return m_frame; }

private:
    CONTEXT m_context{};
    STACKFRAME64 m_frame{};
    bool m_good = false;
};

// Where the calls of a recursion go on: each frame notes its own return address.
std::vector<uintptr_t> g_returns;
std::vector<STACKFRAME64> g_frames;

__attribute__((noinline)) void note_frames()
{
    g_frames.clear();
    Walk walk;
    while (walk.next())
        g_frames.push_back(walk.frame());
}

__attribute__((noinline)) int recurse(int depth)
{
    g_returns.push_back(reinterpret_cast<uintptr_t>(__builtin_return_address(0)));
    if (depth == 0)
        note_frames();
    else
        recurse(depth - 1);
    const int again = depth; // after the call: it must not become a jump
    return again + static_cast<int>(g_returns.size());
}

// Checks that the noted return addresses are among the frames, in their order without a gap.
void expect_recursion_in_frames()
{
    size_t at = 0;
    while (at < g_frames.size() && g_frames[at].AddrReturn.Offset != g_returns.back())
        ++at;
    ASSERT_LE(at + g_returns.size(), g_frames.size());
    for (size_t i = 0; i < g_returns.size(); ++i)
    {
        const STACKFRAME64& frame = g_frames[at + i];
        const uintptr_t expected = g_returns[g_returns.size() - 1 - i];
        ASSERT_EQ(frame.AddrReturn.Offset, expected) << "frame " << i;
        ASSERT_EQ(g_frames[at + i + 1].AddrPC.Offset, expected - 1) << "within the call";
        ASSERT_GT(g_frames[at + i + 1].AddrStack.Offset, frame.AddrStack.Offset);
        ASSERT_NE(frame.FuncTableEntry, nullptr);
        ASSERT_EQ(frame.AddrPC.Mode, AddrModeFlat);
    }
}

TEST(StackWalk, ReturnsEachFrameOnceFromThatOfTheContextOnAndEnds)
{
    for (const int depth : {0, 5, 29, 30, 31, 32, 33, 64, 700})
    {
        g_returns.clear();
        recurse(depth);
        expect_recursion_in_frames();
    }
    note_frames();
    ASSERT_GT(g_frames.size(), 2u);
    // The context's own address is exact: nothing is called there any more.
    EXPECT_EQ(SymFunctionTableAccess64(GetCurrentProcess(), g_frames[0].AddrPC.Offset),
              g_frames[0].FuncTableEntry);
    EXPECT_GT(g_frames[1].AddrStack.Offset, g_frames[0].AddrStack.Offset);
}

TEST(StackWalk, OfTwoWalksInTurnEachGoesOnAndAsksForTheModuleOfEachFrame)
{
    static std::vector<DWORD64> asked;
    const auto ask = [](HANDLE process, DWORD64 address) -> DWORD64
    {
        EXPECT_EQ(process, GetCurrentProcess());
        asked.push_back(address);
        return 0;
    };
    Walk one, other;
    std::vector<DWORD64> of_one, of_other;
    while (one.next(ask))
    {
        of_one.push_back(one.frame().AddrPC.Offset);
        if (other.next())
            of_other.push_back(other.frame().AddrPC.Offset);
    }
    EXPECT_EQ(asked, of_one);
    EXPECT_FALSE(other.next());
    ASSERT_GT(of_one.size(), 3u);
    of_one.erase(of_one.begin(), of_one.begin() + 2); // the constructors' own places
    of_other.erase(of_other.begin(), of_other.begin() + 2);
    EXPECT_EQ(of_one, of_other);
}

void on_signal(int)
{
    note_frames();
}

TEST(StackWalk, GoesThroughASignalHandlerOnAStackOfItsOwn)
{
    static char stack[65'536];
    stack_t other{};
    other.ss_sp = stack;
    other.ss_size = sizeof stack;
    ASSERT_EQ(sigaltstack(&other, nullptr), 0);
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_ONSTACK;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    note_frames();
    const size_t without = g_frames.size();
    raise(SIGUSR1);
    EXPECT_GT(g_frames.size(), without);
    action.sa_handler = SIG_DFL;
    sigaction(SIGUSR1, &action, nullptr);
}

TEST(StackWalk, RefusesOtherProcessesThreadsAndMachines)
{
    CONTEXT context{};
    STACKFRAME64 frame{};
    EXPECT_EQ(test::refusal(GetThreadContext(nullptr, &context)), ERROR_NOT_SUPPORTED);
    ASSERT_TRUE(GetThreadContext(GetCurrentThread(), &context));
    frame.AddrStack.Offset = context.Rsp;
    const auto walk = [&](DWORD machine, HANDLE process)
    {
        return test::refusal(StackWalk64(machine, process, GetCurrentThread(), &frame, &context,
                                         nullptr, nullptr, nullptr, nullptr));
    };
    EXPECT_EQ(walk(0x14C, GetCurrentProcess()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(walk(IMAGE_FILE_MACHINE_AMD64, nullptr), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(SymFunctionTableAccess64(nullptr, context.Rip), nullptr);
    EXPECT_EQ(SymFunctionTableAccess64(GetCurrentProcess(), 0x10), nullptr);
}

TEST(StackWalk, ServesManyThreadsConcurrently)
{
    std::vector<std::jthread> all;
    for (int i = 0; i < 4; ++i)
        all.emplace_back(
            []
            {
                for (int round = 0; round < 200; ++round)
                {
                    Walk walk;
                    size_t count = 0;
                    while (walk.next())
                        ++count;
                    EXPECT_GT(count, 2u);
                }
            });
}

} // namespace
