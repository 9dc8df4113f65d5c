// Named events and mappings between processes, and what remains of holders that were killed.
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include "support/child_process.h"
#include "support/environment.h"

using test::ChildProcess;

namespace
{

// A named object with what GetLastError told when it was made.
class Named
{
public:
    explicit Named(HANDLE handle) : m_error(GetLastError()), m_handle(handle) {}
    Named(const Named&) = delete;
    Named& operator=(const Named&) = delete;
    ~Named() { close(); }
    void close()
    {
        if (m_handle)
            CloseHandle(std::exchange(m_handle, nullptr));
    }
    HANDLE get() const { return m_handle; }
    DWORD error() const { return m_error; }

private:
    DWORD m_error;
    HANDLE m_handle;
};

HANDLE event(const char* name, bool initial = false, bool manual_reset = false)
{
    SetLastError(12345);
    return CreateEventA(nullptr, manual_reset, initial, name);
}

HANDLE mapping(const char* name, DWORD size)
{
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
}

DWORD open_error(const char* name)
{
    const Named opened(OpenEventA(EVENT_ALL_ACCESS, FALSE, name));
    return opened.get() ? 0 : opened.error();
}

bool is_signalled(HANDLE event)
{
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

// Makes a signalled event, says what came of it, and answers "ping" with "pong" until killed.
int hold_events(int, char** names)
{
    const HANDLE held = event(names[0], true);
    const DWORD error = GetLastError();
    const HANDLE ping = event("ping");
    const HANDLE pong = event("pong");
    test::say(held ? std::to_string(error) : "none");
    while (WaitForSingleObject(ping, INFINITE) == WAIT_OBJECT_0)
        SetEvent(pong);
    return 1;
}
const test::ChildMain g_hold_events("hold_events", hold_events);

size_t shared_objects()
{
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(PlinthTestSharedFolder()))
    {
        const std::string name = entry.path().filename();
        count += name.starts_with("e-") || name.starts_with("m-");
    }
    return count;
}

} // namespace

TEST(NamedObject, TheSecondCreatorJoinsTheObjectAsItIs)
{
    const Named first(event("door", true, true));
    const Named second(event("door", false, false));
    EXPECT_EQ(first.error(), ERROR_SUCCESS);
    ASSERT_NE(second.get(), nullptr);
    EXPECT_EQ(second.error(), ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(is_signalled(second.get()));
    EXPECT_TRUE(is_signalled(second.get())) << "still a manual-reset event";
    ResetEvent(second.get());
    EXPECT_FALSE(is_signalled(first.get()));
}

TEST(NamedObject, AnObjectLivesUntilItsLastHandleIsClosed)
{
    const Named other(event("other"));
    const size_t before = shared_objects();
    Named first(event("door"));
    Named second(OpenEventA(EVENT_ALL_ACCESS, FALSE, "door"));
    ASSERT_NE(second.get(), nullptr);
    first.close();
    EXPECT_EQ(open_error("door"), 0u);
    second.close();
    EXPECT_EQ(open_error("door"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(shared_objects(), before) << "nothing is left in shared memory";
}

TEST(NamedObject, NamesAreToldApartByEachCharacter)
{
    const std::string longest(260, 'x');
    const std::string wide = "T\xc3\xbcr/../\\%2F \x01\xe2\x82\xac";
    const Named plain(event("door"));
    for (const std::string& name : {std::string("Door"), std::string("door "), wide, longest,
                                    std::string(259, 'x'), std::string("../door")})
    {
        const Named made(event(name.c_str()));
        EXPECT_NE(made.get(), nullptr) << name;
        EXPECT_EQ(made.error(), ERROR_SUCCESS) << name;
        EXPECT_EQ(open_error(name.c_str()), 0u) << name;
    }
    EXPECT_EQ(Named(event((longest + "x").c_str())).error(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(open_error("Local\\door"), 0u) << "session prefixes name the same object";
    EXPECT_EQ(open_error("Global\\door"), 0u);
}

TEST(NamedObject, NarrowAndWideNamesAreTheSame)
{
    const Named wide(CreateEventW(nullptr, FALSE, FALSE, L"T\u00fcr \U0001F600"));
    ASSERT_NE(wide.get(), nullptr);
    EXPECT_EQ(open_error("T\xc3\xbcr \xf0\x9f\x98\x80"), 0u);
}

TEST(NamedObject, ANameOfAnotherKindIsRefused)
{
    const Named made(event("door"));
    const Named clash(mapping("door", 4096));
    EXPECT_EQ(clash.get(), nullptr);
    EXPECT_EQ(clash.error(), ERROR_INVALID_HANDLE);
    const Named page(mapping("page", 4096));
    EXPECT_EQ(open_error("page"), ERROR_INVALID_HANDLE);
}

TEST(NamedObject, SignalsPassBetweenProcesses)
{
    ChildProcess other("hold_events", {"door"});
    ASSERT_EQ(other.line(), "0");
    const Named ping(event("ping"));
    const Named pong(event("pong"));
    EXPECT_EQ(ping.error(), ERROR_ALREADY_EXISTS);
    for (int i = 0; i < 1000; ++i)
    {
        SetEvent(ping.get());
        ASSERT_EQ(WaitForSingleObject(pong.get(), 60'000), WAIT_OBJECT_0);
    }
    EXPECT_FALSE(is_signalled(pong.get()));
}

TEST(NamedObject, WhatAKilledHolderLeftIsMadeAnew)
{
    ChildProcess other("hold_events", {"door"});
    ASSERT_EQ(other.line(), "0");
    EXPECT_EQ(open_error("door"), 0u);
    other.finish(SIGKILL);
    EXPECT_EQ(open_error("door"), ERROR_FILE_NOT_FOUND);
    const Named anew(event("door"));
    EXPECT_EQ(anew.error(), ERROR_SUCCESS);
    EXPECT_FALSE(is_signalled(anew.get())) << "the dead one's was signalled";
}

TEST(NamedObject, AnObjectOutlivesItsKilledCreatorWithItsOtherHolder)
{
    ChildProcess other("hold_events", {"door"});
    ASSERT_EQ(other.line(), "0");
    const Named joined(event("door"));
    other.finish(SIGKILL);
    const Named third(event("door"));
    EXPECT_EQ(third.error(), ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(is_signalled(third.get()));
}

// A dead holder's memory may be mapped elsewhere: emptying it would kill those who touch it.
TEST(NamedObject, AViewOfADeadObjectStaysUsableWhenTheNameIsTakenAnew)
{
    Named first(mapping("page", 8192));
    auto* const view = static_cast<char*>(MapViewOfFile(first.get(), FILE_MAP_WRITE, 0, 0, 8192));
    ASSERT_NE(view, nullptr);
    view[0] = 'a';
    first.close(); // the view alone doesn't hold the name
    const Named second(mapping("page", 4096));
    EXPECT_EQ(second.error(), ERROR_SUCCESS);
    view[8191] = 'z';
    auto* const fresh = static_cast<char*>(MapViewOfFile(second.get(), FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh[0], '\0');
    UnmapViewOfFile(fresh);
    UnmapViewOfFile(view);
}

TEST(NamedObject, AStrangersFileUnderTheNameIsNotTakenOver)
{
    const std::string folder = PlinthTestSharedFolder();
    const std::string victim = test::root() + "/victim";
    test::write_file(victim, "untouched");
    test::write_file(folder + "/e-bytes", std::string(100'000, '\xff'));
    test::write_file(folder + "/e-short", "x");
    ASSERT_EQ(symlink(victim.c_str(), (folder + "/e-link").c_str()), 0);
    for (const char* const name : {"bytes", "short", "link"})
    {
        const Named made(event(name, true));
        ASSERT_NE(made.get(), nullptr) << name;
        EXPECT_EQ(made.error(), ERROR_SUCCESS) << name;
        EXPECT_TRUE(is_signalled(made.get())) << name;
        EXPECT_FALSE(is_signalled(made.get())) << name;
    }
    EXPECT_EQ(test::read_file(victim), "untouched");
}

// A process forked while another thread was inside the gate has a copy of the gate's open file.
TEST(NamedObject, AForkDuringAConcurrentCreationHoldsUpNobody)
{
    std::atomic<bool> stop = false;
    std::thread creator(
        [&]
        {
            while (!stop)
                const Named made(event("busy"));
        });
    pid_t children[40];
    for (pid_t& child : children)
    {
        child = fork();
        if (child == 0)
            for (;;)
                pause();
    }
    stop = true;
    creator.join(); // would wait for ever
    EXPECT_NE(Named(event("free")).get(), nullptr);
    for (const pid_t child : children)
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

TEST(NamedObject, AFolderThatCanNotBeHadForAMomentIsNotMissingForGood)
{
    PlinthTestFail("lstat", 1, 0, EIO); // by which the folder is found to be one's own
    EXPECT_EQ(Named(event("door")).get(), nullptr);
    PlinthTestReset();
    EXPECT_NE(Named(event("door")).get(), nullptr);
}

TEST(NamedObject, EachFailingLinuxCallIsReportedAndLeavesNothingBehind)
{
    PlinthTestArm();
    Named(event("door")).close();
    const unsigned calls = PlinthTestCalls(nullptr);
    PlinthTestReset();
    unsigned failures = 0;
    for (unsigned nth = 1; nth <= calls; ++nth)
    {
        PlinthTestFailAny(nth, 1, EIO);
        Named made(event("door"));
        PlinthTestReset();
        if (!made.get())
        {
            ++failures;
            EXPECT_NE(made.error(), ERROR_SUCCESS) << "call " << nth;
            EXPECT_NE(made.error(), 12345u) << "call " << nth;
        }
        made.close();
        EXPECT_EQ(Named(event("door")).error(), ERROR_SUCCESS) << "call " << nth;
    }
    EXPECT_GE(failures, 5u);
}
