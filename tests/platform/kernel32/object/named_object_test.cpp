// Named events and mappings between processes, and what remains of killed holders.

#include <fstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test.h"

#include "support/child_process.h"
#include "support/environment.h"
#include "support/handles.h"

using test::ChildProcess;
using test::Handle;

namespace
{

Handle event(const char* name, bool initial = false, bool manual_reset = false)
{
    SetLastError(12345);
    return Handle(CreateEventA(nullptr, manual_reset, initial, name));
}

Handle mapping(const char* name, DWORD size)
{
    return Handle(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name));
}

DWORD open_error(const char* name)
{
    return test::error_of(HANDLE{Handle(OpenEventA(EVENT_ALL_ACCESS, FALSE, name))});
}

bool is_signalled(HANDLE event)
{
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

// The result of making an event: "new" or "joined" and whether it is signalled, or the error.
std::string made(const Handle& event)
{
    if (!event)
        return "error " + std::to_string(event.error());
    return std::string(event.error() == ERROR_ALREADY_EXISTS ? "joined" : "new") +
           (event.error() == ERROR_ALREADY_EXISTS || event.error() == ERROR_SUCCESS ? "" : "?") +
           (is_signalled(event) ? ", signalled" : "");
}

// Makes a signalled event "door", reports the result, and answers "ping" with "pong" until killed.
int hold_events(int, char**)
{
    const Handle held = event("door", true);
    const Handle ping = event("ping");
    const Handle pong = event("pong");
    test::say(held ? std::to_string(held.error()) : "none");
    while (WaitForSingleObject(ping, INFINITE) == WAIT_OBJECT_0)
        SetEvent(pong);
    return 1;
}
const test::ChildMain g_hold_events("hold_events", hold_events);

} // namespace

TEST(NamedObject, TheSecondCreatorJoinsTheObjectAsItIsUntilTheLastHandleIsClosed)
{
    Handle first = event("door", true, true);
    Handle second = event("door", false, false);
    EXPECT_EQ(made(first), "new, signalled");
    EXPECT_EQ(made(second), "joined, signalled") << "still a manual-reset event";
    ResetEvent(second);
    EXPECT_FALSE(is_signalled(first));
    first.close();
    EXPECT_EQ(open_error("door"), 0u);
    EXPECT_EQ(open_error("Local\\door"), 0u);
    EXPECT_EQ(open_error("a\\door"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(event("a\\door").error(), ERROR_PATH_NOT_FOUND);
    second.close();
    EXPECT_EQ(open_error("door"), ERROR_FILE_NOT_FOUND);
    for (const auto& entry : std::filesystem::directory_iterator(PlinthTestSharedFolder()))
        EXPECT_FALSE(entry.path().filename().string().starts_with("e-")) << entry;
}

TEST(NamedObject, NamesAreToldApartByEachCharacter)
{
    const std::string longest(260, 'x');
    const Handle plain = event("door");
    for (const std::string& name :
         {std::string("Door"), std::string("../door"), longest, std::string(259, 'x')})
    {
        const Handle apart = event(name.c_str());
        EXPECT_EQ(made(apart), "new") << name;
        EXPECT_EQ(open_error(name.c_str()), 0u) << name;
    }
    EXPECT_EQ(event((longest + "x").c_str()).error(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(open_error("Local\\door"), 0u) << "session prefixes name the same object";
    const Handle wide(CreateEventW(nullptr, FALSE, FALSE, L"T\u00fcr \U0001F600"));
    EXPECT_EQ(open_error("T\xc3\xbcr \xf0\x9f\x98\x80"), 0u) << "narrow and wide are the same";
}

TEST(NamedObject, ANameOfAnotherKindIsRefused)
{
    const Handle door = event("door");
    EXPECT_EQ(made(mapping("door", 4096)), "error 6");
    const Handle page = mapping("page", 4096);
    EXPECT_EQ(open_error("page"), ERROR_INVALID_HANDLE);
}

TEST(NamedObject, SignalsPassBetweenProcessesAndAKilledHolderHoldsNothing)
{
    ChildProcess other("hold_events");
    EXPECT_EQ(other.line(), "0");
    const Handle ping = event("ping");
    const Handle pong = event("pong");
    EXPECT_EQ(ping.error(), ERROR_ALREADY_EXISTS);
    for (int i = 0; i < 1000; ++i)
    {
        SetEvent(ping);
        ASSERT_EQ(WaitForSingleObject(pong, 60'000), WAIT_OBJECT_0);
    }
    EXPECT_FALSE(is_signalled(pong));
    EXPECT_EQ(open_error("door"), 0u);
    other.finish(SIGKILL);
    EXPECT_EQ(made(event("ping")), "joined") << "outlives its creator with its other holder";
    EXPECT_EQ(open_error("door"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(made(event("door")), "new") << "the dead one's was signalled";
}

// Another process may have mapped a dead holder's memory: truncating it would kill that process.
TEST(NamedObject, AViewOfADeadObjectStaysUsableWhenTheNameIsTakenAnew)
{
    Handle first = mapping("page", 8192);
    auto* const view = static_cast<char*>(MapViewOfFile(first, FILE_MAP_WRITE, 0, 0, 8192));
    ASSERT_NE(view, nullptr);
    view[0] = 'a';
    first.close(); // the view alone doesn't hold the name
    const Handle second = mapping("page", 4096);
    EXPECT_EQ(second.error(), ERROR_SUCCESS);
    view[8191] = 'z';
    auto* const fresh = static_cast<char*>(MapViewOfFile(second, FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh[0], '\0');
    UnmapViewOfFile(fresh);
    UnmapViewOfFile(view);
}

// The third word of an event's file shows other programs its kind.
TEST(NamedObject, AnEventStaysOfItsKindWhenAStrangerChangesTheWordForIt)
{
    for (const bool manual_reset : {false, true})
        for (const uint32_t word : {0u, 1u, 2u, ~0u})
        {
            SCOPED_TRACE(std::to_string(manual_reset) + " " + std::to_string(word));
            const Handle made = event("door", true, manual_reset);
            const Handle joined(OpenEventA(EVENT_ALL_ACCESS, FALSE, "door"));
            std::fstream file(PlinthTestSharedFolder() + std::string("/e-door"));
            file.seekp(2 * sizeof word).write(reinterpret_cast<const char*>(&word), sizeof word);
            file.close();
            EXPECT_TRUE(is_signalled(joined));
            EXPECT_EQ(is_signalled(joined), manual_reset);
            SetEvent(made);
            const HANDLE both[] = {joined, made};
            EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0);
            EXPECT_EQ(is_signalled(made), manual_reset);
            EXPECT_EQ(open_error("door"), word > 1 ? ERROR_INVALID_HANDLE : 0u);
        }
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
        const Handle anew = event(name, true);
        EXPECT_EQ(made(anew), "new, signalled") << name;
        EXPECT_FALSE(is_signalled(anew)) << name;
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
                event("busy");
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
    EXPECT_TRUE(event("free"));
    for (const pid_t child : children)
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

TEST(NamedObject, AFolderThatCanNotBeHadForAMomentIsNotMissingForGood)
{
    PlinthTestFail("fstat", 1, 0, EIO); // fstat checks the owner of the folder
    EXPECT_FALSE(event("door"));
    PlinthTestReset();
    EXPECT_TRUE(event("door"));
}

TEST(NamedObject, AnEventWhoseDescriptorTheProgramHasClosedClosesNoneOfItsFilesAndGoes)
{
    Handle door = event("door");
    ASSERT_EQ(close_range(3, ~0U, 0), 0);
    std::vector<int> own;
    for (int fd = 0; fd < 900 && (fd = open("/dev/null", O_RDONLY)) >= 0;)
        own.push_back(fd);
    EXPECT_EQ(made(event("door")), "joined");
    door.close();
    for (const int fd : own)
        EXPECT_EQ(close(fd), 0) << fd;
    EXPECT_EQ(made(event("door")), "new");
}

TEST(NamedObject, EachFailingLinuxCallIsReportedAndLeavesNothingBehind)
{
    const auto semaphore = [](const char* name)
    {
        SetLastError(12345);
        return Handle(CreateSemaphoreA(nullptr, 0, 1, name));
    };
    for (const bool counts : {false, true})
    {
        const auto make = [&](const char* name) { return counts ? semaphore(name) : event(name); };
        unsigned failures = 0;
        for (unsigned nth = 1, calls = 1; nth <= calls + 1; ++nth)
        {
            SCOPED_TRACE(nth);
            PlinthTestFailAny(nth, 1, EIO);
            Handle door = make("door");
            calls = PlinthTestCalls(nullptr);
            PlinthTestReset();
            failures += !door;
            EXPECT_TRUE(door || (door.error() != ERROR_SUCCESS && door.error() != 12345));
            door.close();
            EXPECT_EQ(made(make("door")), "new");
        }
        EXPECT_GE(failures, 5u);
    }
}
