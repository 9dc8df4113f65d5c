#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "support/test.h"

#include "support/child_process.h"
#include "support/processes.h"

namespace fs = std::filesystem;

namespace
{

constexpr LONG ok = ERROR_SUCCESS;

std::string hive_file()
{
    return test::root() + "/registry/HKEY_LOCAL_MACHINE.reg";
}

LONG set_number(const wchar_t* path, const wchar_t* name, DWORD number)
{
    HKEY key = nullptr;
    if (const LONG error = RegCreateKeyW(HKEY_LOCAL_MACHINE, path, &key))
        return error;
    const LONG result =
        RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<BYTE*>(&number), sizeof number);
    RegCloseKey(key);
    return result;
}

// The number of a value, -1 if the key or the value is missing.
int64_t get_number(const wchar_t* path, const wchar_t* name)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ok)
        return -1;
    DWORD number = 0, size = sizeof number;
    const LONG result =
        RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
    RegCloseKey(key);
    return result == ok ? int64_t{number} : -1;
}

// The bytes of a text in UTF-16, with the byte order mark.
std::string utf16(const std::string& text)
{
    const test::Wide wide("\xEF\xBB\xBF" + text);
    std::string bytes;
    for (const wchar_t* at = wide; *at; ++at)
        bytes.append({static_cast<char>(*at), static_cast<char>(*at >> 8)});
    return bytes;
}

class Registry : public testing::Test
{
protected:
    ~Registry() override { PlinthTestReset(); }
};

TEST_F(Registry, AnswersSizesAndTypesAsCallersAsk)
{
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, L"K", &key), ok);
    const BYTE bytes[] = {1, 2, 3, 0xff, 0};
    ASSERT_EQ(RegSetValueExW(key, L"b", 0, REG_BINARY, bytes, sizeof bytes), ok);
    DWORD type = 0, size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"b", nullptr, &type, nullptr, &size), ok);
    EXPECT_EQ(std::pair(type, size), std::pair(DWORD{REG_BINARY}, DWORD{5}));
    BYTE got[8] = {};
    size = 4;
    EXPECT_EQ(RegQueryValueExW(key, L"b", nullptr, &type, got, &size),
              static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(RegQueryValueExW(key, L"b", nullptr, &type, got, &size), ok);
    EXPECT_EQ(got[3], 0xff);
    EXPECT_EQ(RegDeleteValueW(key, L"B"), ok);
    // A text without a terminator gets one in the room left in the buffer.
    wchar_t text[] = L"xxxx";
    const BYTE* const stored = reinterpret_cast<const BYTE*>(L"ab");
    ASSERT_EQ(RegSetValueExW(key, L"t", 0, REG_SZ, stored, 4), ok);
    for (const DWORD room : {4u, 8u})
    {
        size = room;
        EXPECT_EQ(
            RegQueryValueExW(key, L"t", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
            ok);
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(test::utf8(text), room == 4 ? "abxx" : "ab");
    }
    EXPECT_EQ(RegDeleteValueW(key, L"b"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(RegCloseKey(key), ok);
    EXPECT_EQ(RegCloseKey(key), static_cast<LONG>(ERROR_INVALID_HANDLE)) << "it is stale";
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"K", 0, KEY_READ, &key), ok);
    EXPECT_EQ(RegSetValueExW(key, L"b", 0, REG_BINARY, bytes, 1),
              static_cast<LONG>(ERROR_ACCESS_DENIED));
    RegCloseKey(key);
    ASSERT_EQ(RegOpenKeyW(HKEY_LOCAL_MACHINE, L"K", &key), ok);
    EXPECT_EQ(RegSetValueExW(key, L"b", 0, REG_BINARY, bytes, 1), ok) << "with all that is allowed";
    RegCloseKey(key);
    for (const wchar_t* const path : {L"\\K", L"none"})
    {
        const LONG refusal =
            static_cast<LONG>(*path == L'n' ? ERROR_FILE_NOT_FOUND : ERROR_BAD_PATHNAME);
        EXPECT_EQ(RegOpenKeyW(HKEY_LOCAL_MACHINE, path, &key), refusal);
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key), refusal);
        EXPECT_EQ(std::exchange(key, HKEY_LOCAL_MACHINE), nullptr);
    }
    EXPECT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, L"\\K", &key),
              static_cast<LONG>(ERROR_BAD_PATHNAME));
}

TEST_F(Registry, CreatingTellsWhetherTheKeyWasThereAndGivesTheAccessAskedFor)
{
    HKEY key = nullptr;
    DWORD disposition = 0;
    const auto create = [&](const wchar_t* path, REGSAM access, DWORD options = 0)
    {
        return RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, options, access, nullptr, &key,
                               &disposition);
    };
    ASSERT_EQ(create(L"K\\below", KEY_WRITE), ok);
    EXPECT_EQ(disposition, DWORD{REG_CREATED_NEW_KEY});
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"n", nullptr, nullptr, nullptr, &size),
              static_cast<LONG>(ERROR_ACCESS_DENIED));
    RegCloseKey(key);
    ASSERT_EQ(create(L"k", KEY_READ), ok);
    EXPECT_EQ(disposition, DWORD{REG_OPENED_EXISTING_KEY});
    EXPECT_EQ(RegSetValueExW(key, L"n", 0, REG_SZ, nullptr, 0),
              static_cast<LONG>(ERROR_ACCESS_DENIED));
    RegCloseKey(key);
    EXPECT_EQ(create(nullptr, KEY_READ), static_cast<LONG>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(create(L"gone", KEY_READ, REG_OPTION_VOLATILE),
              static_cast<LONG>(ERROR_NOT_SUPPORTED));
}

TEST_F(Registry, KeysAndValuesAreCountedThroughAndBuffersThatAreTooSmallSayMore)
{
    for (const wchar_t* const path : {L"R\\b", L"R\\B\\deep", L"R\\a", L"R b", L"R\\a b\\c"})
        ASSERT_EQ(set_number(path, L"n", 1), ok);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"R", 0, KEY_READ | KEY_WRITE, &key), ok);
    wchar_t name[4];
    DWORD size = 0;
    const auto child = [&](DWORD index, DWORD room)
    {
        size = room;
        return RegEnumKeyExW(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
    };
    std::string all;
    for (DWORD i = 0; child(i, 4) == ok; ++i)
        all += test::utf8(name) + "=" + std::to_string(size) + " ";
    EXPECT_EQ(all, "a=1 a b=3 b=1 ");
    EXPECT_EQ(child(3, 4), static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(child(1, 3), static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(RegEnumKeyExW(key, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
              static_cast<LONG>(ERROR_INVALID_PARAMETER));

    const BYTE bytes[] = {1, 2, 3};
    ASSERT_EQ(RegSetValueExW(key, L"xyz", 0, REG_BINARY, bytes, 3), ok);
    ASSERT_EQ(RegSetValueExW(key, nullptr, 0, REG_NONE, bytes, 0), ok);
    DWORD type = 0, room = 0;
    BYTE data[3] = {};
    const auto value = [&](DWORD index, DWORD characters, DWORD bytes_there)
    {
        size = characters;
        room = bytes_there;
        return RegEnumValueW(key, index, name, &size, nullptr, &type, data, &room);
    };
    EXPECT_EQ(value(0, 1, 0), ok) << "the value without a name";
    EXPECT_EQ(std::pair(size, type), std::pair(DWORD{0}, DWORD{REG_NONE}));
    EXPECT_EQ(value(1, 4, 2), static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(room, 3u);
    EXPECT_EQ(value(1, 3, 3), static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(value(1, 4, 3), ok);
    EXPECT_EQ(test::utf8(name), "xyz");
    EXPECT_EQ(data[2], 3);
    EXPECT_EQ(value(2, 4, 3), static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    RegCloseKey(key);
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"R", 0, KEY_WRITE, &key), ok);
    EXPECT_EQ(child(0, 4), static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(value(0, 4, 3), static_cast<LONG>(ERROR_ACCESS_DENIED));
    RegCloseKey(key);
}

TEST_F(Registry, AFileEditedByHandIsReadAgain)
{
    fs::create_directories(test::root() + "/registry");
    const std::string head = "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A\\B]\n";
    test::write_file(hive_file(), head + "; a comment\n\"n\"=dword:0000002a\n");
    EXPECT_EQ(get_number(L"a\\b", L"N"), 42);
    test::write_file(hive_file(),
                     "\xEF\xBB\xBF" + head + "\"n\"=dword:0000002b\r\n\"longer\"=\"x\"");
    EXPECT_EQ(get_number(L"a\\b", L"n"), 43);
    // As the system's registry editor writes it: UTF-16 with the byte order mark.
    test::write_file(hive_file(), utf16(head + "\"n\"=dword:0000002c\r\n\"\u00e4\"=dword:1\r\n"));
    EXPECT_EQ(get_number(L"a\\b", L"n"), 44);
    EXPECT_EQ(get_number(L"a\\b", L"\u00c4"), 1);
    EXPECT_EQ(set_number(L"a\\B\\", L"N", 44), ok);
    EXPECT_EQ(get_number(L"A\\B", L"n"), 44) << "the one value, whatever the case";
}

TEST_F(Registry, ADamagedFileIsKeptAsideAndNeverOverwritten)
{
    const std::string cut = utf16("Windows Registry Editor Version 5.00\n") + "[";
    const std::string half_pair = utf16("Windows Registry Editor Version 5.00\n;") +
                                  std::string({0, static_cast<char>(0xd8)});
    for (const std::string& damaged : std::initializer_list<std::string>{
             cut, half_pair, "no heading", "Windows Registry Editor Version 5.00\n[HKEY_USERS\\x]",
             "Windows Registry Editor Version 5.00\n\"orphan\"=dword:1\n",
             "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\A]\n"
             "\"cut\"=dword:00"
             "zz\n",
             "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\A]\n"
             "\"long\"=dword:123456789\n"})
    {
        fs::remove_all(test::root() + "/registry");
        fs::create_directories(test::root() + "/registry");
        test::write_file(hive_file(), damaged);
        EXPECT_EQ(get_number(L"A", L"x"), -1);
        EXPECT_EQ(set_number(L"A", L"x", 5), ok);
        EXPECT_EQ(get_number(L"A", L"x"), 5);
        EXPECT_EQ(test::read_file(hive_file() + ".damaged-1"), damaged);
    }
}

TEST_F(Registry, AWriteThatFailsTellsWhyAndLeavesTheOldFileWhole)
{
    ASSERT_EQ(set_number(L"A", L"x", 1), ok);
    const std::string before = test::read_file(hive_file());
    const std::tuple<const char*, int, LONG> faults[] = {{"write", ENOSPC, ERROR_DISK_FULL},
                                                         {"fsync", EIO, ERROR_IO_DEVICE},
                                                         {"rename", EROFS, ERROR_WRITE_PROTECT},
                                                         {"fcntl", ENOLCK, ERROR_GEN_FAILURE}};
    for (const auto& [call, error, expected] : faults)
    {
        PlinthTestFail(call, 1, 1, error);
        EXPECT_EQ(set_number(L"A", L"x", 2), expected) << call;
        PlinthTestReset();
        EXPECT_EQ(test::read_file(hive_file()), before) << call;
        EXPECT_EQ(get_number(L"A", L"x"), 1) << call;
    }
    EXPECT_FALSE(fs::exists(hive_file() + ".new"));
    // If its folder can't be made, the error is that of making it.
    fs::remove_all(fs::path(hive_file()).parent_path());
    PlinthTestFail("mkdir", 1, 0, EROFS);
    EXPECT_EQ(set_number(L"A", L"x", 1), static_cast<LONG>(ERROR_WRITE_PROTECT));
    PlinthTestReset();
    EXPECT_EQ(set_number(L"A", L"x", 1), ok);
}

// Is stopped while it holds the writers' lock. With an argument it writes again as soon as it
// continues.
int set_and_stop(int count, char**)
{
    PlinthTestBefore("rename", 1, [] { raise(SIGSTOP); });
    return set_number(L"A", L"x", 2) != ok || (count == 1 && set_number(L"A", L"x", 4) != ok);
}
const test::ChildMain set_and_stop_main("set-and-stop", set_and_stop);

int set_and_tell(int, char**)
{
    PlinthTestBefore("fcntl", 8, [] { test::say("waits"); }); // tries for the lock again
    return set_number(L"A", L"x", 3) != ok;
}
const test::ChildMain set_and_tell_main("set-and-tell", set_and_tell);

TEST_F(Registry, AReaderWaitsForNoWriterThoughAnotherThreadDoes)
{
    ASSERT_EQ(set_number(L"A", L"x", 1), ok);
    test::ChildProcess other("set-and-stop");
    other.wait_until_stopped();
    PlinthTestArm();
    std::atomic<bool> waits{true};
    std::thread writer(
        [&waits]
        {
            EXPECT_EQ(set_number(L"A", L"x", 3), static_cast<LONG>(ERROR_TIMEOUT));
            waits = false;
        });
    while (PlinthTestCalls("fcntl") == 0)
        std::this_thread::yield();
    EXPECT_EQ(get_number(L"A", L"x"), 1);
    EXPECT_TRUE(waits);
    PlinthTestShiftPatience(3'600'000);
    writer.join();
    other.send(SIGCONT);
    EXPECT_EQ(other.wait(), 0);
    EXPECT_EQ(get_number(L"A", L"x"), 2);
}

TEST_F(Registry, AWriterWhoseTurnAndLockAreBothHeldWaitsFiveSecondsInAll)
{
    ASSERT_EQ(set_number(L"A", L"x", 1), ok);
    const int holder = open((hive_file() + ".lock").c_str(), O_RDWR | O_CLOEXEC);
    struct flock both = {};
    both.l_type = F_WRLCK;
    both.l_len = 2;
    ASSERT_EQ(fcntl(holder, F_OFD_SETLK, &both), 0);
    // Two attempts for the turn, two for the lock; before a fifth one the time is over anyway.
    PlinthTestBefore("fcntl", 2, [] { PlinthTestShiftPatience(1'000); });
    PlinthTestBefore("fcntl", 4, [] { PlinthTestShiftPatience(5'000); });
    PlinthTestBefore("fcntl", 5, [] { PlinthTestShiftPatience(3'600'000); });
    EXPECT_EQ(set_number(L"A", L"x", 2), static_cast<LONG>(ERROR_TIMEOUT));
    EXPECT_EQ(PlinthTestCalls("fcntl"), 5u) << "with the release; else it waited for longer";
    close(holder);
    PlinthTestReset();
    EXPECT_EQ(set_number(L"A", L"x", 2), ok);
}

TEST_F(Registry, AWriterThatWaitsComesBeforeOneThatComesBack)
{
    test::ChildProcess first("set-and-stop", {"again"});
    first.wait_until_stopped();
    test::ChildProcess second("set-and-tell");
    EXPECT_EQ(second.line(), "waits");
    first.send(SIGCONT);
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(get_number(L"A", L"x"), 4);
}

pid_t g_forked;

TEST_F(Registry, AChildThatIsStartedInTheMiddleOfAWriteKeepsNoLock)
{
    PlinthTestBefore("rename", 1,
                     []
                     {
                         g_forked = _Fork(); // without handlers, as posix_spawn does
                         while (g_forked == 0)
                             pause();
                     });
    EXPECT_EQ(set_number(L"A", L"x", 1), ok);
    EXPECT_EQ(set_number(L"A", L"x", 2), ok);
    kill(g_forked, SIGKILL);
    waitpid(g_forked, nullptr, 0);
}

// Is killed while it holds the writers' lock. Leaves a child, whose number it reports.
int set_and_die(int, char**)
{
    PlinthTestBefore("rename", 1,
                     []
                     {
                         const pid_t child = fork();
                         while (child == 0)
                             pause();
                         test::say(std::to_string(child));
                         raise(SIGKILL);
                     });
    return set_number(L"A", L"x", 1) != ok;
}
const test::ChildMain set_and_die_main("set-and-die", set_and_die);

TEST_F(Registry, AChildOfAWriterThatWasKilledKeepsNoLock)
{
    test::ChildProcess writer("set-and-die");
    const pid_t child = std::stoi(writer.line());
    writer.wait();
    EXPECT_EQ(set_number(L"A", L"x", 2), ok);
    kill(child, SIGKILL);
}

int set_many(int, char** argv)
{
    for (int i = 0; i < 20; ++i)
    {
        const test::Wide name = argv[0] + std::to_string(i);
        if (set_number(L"Shared", name, static_cast<DWORD>(i)) != ok)
            return 1;
    }
    return 0;
}
const test::ChildMain set_many_main("set-many", set_many);

TEST_F(Registry, ConcurrentProcessesLoseNoValue)
{
    std::vector<test::Process> all;
    for (const char* name : {"a", "b", "c"})
        all.push_back(test::Process::child("set-many", {name}));
    for (test::Process& each : all)
        EXPECT_EQ(each.wait(), 0);
    for (const char* name : {"a", "b", "c"})
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(get_number(L"Shared", test::Wide(name + std::to_string(i))), i);
}

// Each change drops what was read before, so every value here is read back from the file.
TEST_F(Registry, ValuesOfEveryTypeComeBackFromTheFileAsTheyWere)
{
    const struct
    {
        const wchar_t* name;
        DWORD type;
        std::vector<BYTE> data;
    } values[] = {{L"", REG_SZ, {'d', 0, 0, 0}},
                  {L"quote\"back\\slash]", REG_SZ, {'"', 0, '\\', 0, 0, 0}},
                  {L"short number", REG_DWORD, {1, 2}},
                  {L"none", REG_BINARY, {}},
                  {L"two lines", REG_SZ, {'x', 0, '\n', 0, 0, 0}},
                  {L"bytes", REG_BINARY, std::vector<BYTE>(200, 0xAB)},
                  {L"unterminated", REG_SZ, {'x', 0}},
                  {L"surrogate", REG_SZ, {0x00, 0xd8, 0, 0}},
                  {L"\u00e4\u20ac", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}}};
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, L"A [b]\\c", &key), ok);
    for (const auto& value : values)
        ASSERT_EQ(RegSetValueExW(key, value.name, 0, value.type, value.data.data(),
                                 static_cast<DWORD>(value.data.size())),
                  ok);
    for (const auto& value : values)
    {
        SCOPED_TRACE(test::utf8(value.name));
        DWORD type = 0, size = 256;
        std::vector<BYTE> data(size);
        EXPECT_EQ(RegQueryValueExW(key, value.name, nullptr, &type, data.data(), &size), ok);
        data.resize(size);
        EXPECT_EQ(type, value.type);
        EXPECT_EQ(data, value.data);
    }
    RegCloseKey(key);
}

} // namespace
