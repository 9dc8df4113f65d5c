// How the stand-in's sockets differ from this system's: any number in a set, waits that end at a
// close, errors.
#include <csignal>
#include <future>

#include "support/test.h"

#include <sys/resource.h>
#include <sys/time.h>

#include <winsock.h>

#include "support/needs.h"
#include "support/soak.h"

namespace
{

SOCKADDR* generic(SOCKADDR_IN& address)
{
    return reinterpret_cast<SOCKADDR*>(&address);
}

// The error of a call, 0 if there is none.
int error_of(long long result)
{
    return result == SOCKET_ERROR ? WSAGetLastError() : 0;
}

class Wsock32 : public testing::Test
{
protected:
    Wsock32()
    {
        WSADATA data;
        EXPECT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    }
    ~Wsock32() override
    {
        PlinthTestReset();
        for (const SOCKET s : opened)
            closesocket(s);
        EXPECT_EQ(WSACleanup(), 0);
    }
    SOCKET bound(int type)
    {
        SOCKADDR_IN address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        opened.push_back(socket(AF_INET, type, 0));
        EXPECT_EQ(bind(opened.back(), generic(address), sizeof address), 0);
        return opened.back();
    }
    SOCKET listening()
    {
        const SOCKET s = bound(SOCK_STREAM);
        EXPECT_EQ(listen(s, SOMAXCONN), 0);
        return s;
    }
    static SOCKADDR_IN name_of(SOCKET s)
    {
        SOCKADDR_IN address = {};
        int length = sizeof address;
        EXPECT_EQ(getsockname(s, generic(address), &length), 0);
        return address;
    }
    SOCKET connected_to(SOCKET listener)
    {
        SOCKADDR_IN to = name_of(listener);
        opened.push_back(socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_EQ(connect(opened.back(), generic(to), sizeof to), 0);
        return opened.back();
    }
    // Two ends of a connection.
    std::pair<SOCKET, SOCKET> connect_pair()
    {
        const SOCKET listener = listening();
        const SOCKET one = connected_to(listener);
        opened.push_back(accept(listener, nullptr, nullptr));
        EXPECT_NE(opened.back(), INVALID_SOCKET);
        return {one, opened.back()};
    }
    std::vector<SOCKET> opened;
};

TEST(WSAStartup, GrantsOneDotOneUntilTheLastCleanupWhichClosesAll)
{
    WSADATA data;
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(data.wVersion, MAKEWORD(1, 1));
    EXPECT_STREQ(data.szDescription, "plinth sockets 1.1");
    EXPECT_EQ(WSAStartup(0, &data), WSAVERNOTSUPPORTED);
    const SOCKET s = socket(AF_INET, SOCK_DGRAM, 0);
    EXPECT_EQ(WSACleanup(), 0);
    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    EXPECT_EQ(error_of(closesocket(s)), WSAENOTSOCK) << "the last cleanup closes what is open";
    EXPECT_EQ(WSACleanup(), 0);
}

TEST_F(Wsock32, NamesAndAddressesFollowTheDocumentation)
{
    const SOCKET stream = bound(SOCK_STREAM);
    opened.push_back(socket(AF_INET, SOCK_DGRAM, 0));
    const SOCKET datagram = opened.back();
    SOCKADDR_IN name = {};
    int size = sizeof name, none = 0;
    char text[256];
    const auto error_of_name = [](const void* found) { return found ? 0 : WSAGetLastError(); };
    const char loopback[4] = {127, 0, 0, 1};
    IN_ADDR address = {};
    std::memcpy(&address, loopback, sizeof address);
    const struct
    {
        const char* call;
        int given, expected;
    } rows[] = {
        {"peer of none", error_of(getpeername(stream, generic(name), &size)), WSAENOTCONN},
        {"peer of no socket", error_of(getpeername(0x7FFF0, generic(name), &size)), WSAENOTSOCK},
        {"name without room", error_of(getsockname(stream, generic(name), &none)), WSAEFAULT},
        {"name of a new one", error_of(getsockname(datagram, generic(name), &size)), WSAEINVAL},
        {"received by it", error_of(recvfrom(datagram, text, 1, 0, nullptr, nullptr)), WSAEINVAL},
        {"host without room", error_of(gethostname(text, 0)), WSAEFAULT},
        {"host", error_of(gethostname(text, sizeof text)), 0},
        {"no protocol", error_of_name(getprotobyname("none of that name")), WSANO_DATA},
        {"a protocol", error_of_name(getprotobyname("tcp")), 0},
        {"by number", getprotobynumber(17) ? getprotobynumber(17)->p_proto : 0, 17},
        {"no service", error_of_name(getservbyport(htons(1), "none")), WSANO_DATA},
        {"half an address", error_of_name(gethostbyaddr(loopback, 2, AF_INET)), WSAEFAULT}};
    for (const auto& row : rows)
        EXPECT_EQ(row.given, row.expected) << row.call;
    EXPECT_STREQ(inet_ntoa(address), "127.0.0.1");
    for (const auto& [given, expected] : {std::pair{"127.0.0.1", htonl(INADDR_LOOPBACK)},
                                          {"127.1", htonl(INADDR_LOOPBACK)},
                                          {"0x7f.0.0.01", htonl(INADDR_LOOPBACK)},
                                          {"1.2.3.256", ULONG{INADDR_NONE}},
                                          {"", ULONG{INADDR_NONE}}})
        EXPECT_EQ(inet_addr(given), expected) << '"' << given << '"';
}

// Longer lists than the header's, and descriptors beyond what a set of bits would hold.
TEST_F(Wsock32, SelectTakesAnyNumberOfSockets)
{
    constexpr UINT wanted = 1500;
    rlimit former{};
    getrlimit(RLIMIT_NOFILE, &former);
    const rlimit higher = {former.rlim_max, former.rlim_max};
    setrlimit(RLIMIT_NOFILE, &higher);
    const UINT count = former.rlim_max >= wanted + 100 ? wanted : 500;
    struct LongSet
    {
        UINT fd_count;
        SOCKET fd_array[wanted];
    };
    LongSet all = {};
    for (; all.fd_count < count; ++all.fd_count)
    {
        all.fd_array[all.fd_count] = bound(SOCK_DGRAM);
        ASSERT_NE(all.fd_array[all.fd_count], INVALID_SOCKET) << WSAGetLastError();
    }
    LongSet writable = all, readable = all;
    const auto set = [](LongSet& list) { return reinterpret_cast<FD_SET*>(&list); };
    EXPECT_EQ(select(0, set(readable), set(writable), nullptr, nullptr), static_cast<int>(count));
    EXPECT_EQ(readable.fd_count, 0u);
    const SOCKET last = all.fd_array[count - 1];
    SOCKADDR_IN to = name_of(last);
    ASSERT_EQ(sendto(all.fd_array[0], "x", 1, 0, generic(to), sizeof to), 1);
    readable = all;
    EXPECT_EQ(select(0, set(readable), nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(readable.fd_array[0], last);
}

TEST_F(Wsock32, OnlyWhatIsWaitedForEndsASelect)
{
    const auto [one, two] = connect_pair();
    closesocket(two); // poll() reports it again and again, but no connect failed
    FD_SET failed;
    FD_ZERO(&failed);
    FD_SET(one, &failed);
    const TIMEVAL moment = {0, 20'000};
    shutdown(one, 2); // both directions
    PlinthTestArm();
    EXPECT_EQ(select(0, nullptr, nullptr, &failed, &moment), 0);
    EXPECT_LT(PlinthTestCalls("poll"), 5u) << "no busy waiting";
}

TEST_F(Wsock32, ConcurrentClosingWakesEveryKindOfWait)
{
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        const auto [one, two] = connect_pair();
        const SOCKET datagrams = bound(SOCK_DGRAM);
        const SOCKET listener = listening();
        const auto expect_woken = [](long long result)
        {
            const int error = error_of(result);
            EXPECT_TRUE(error == WSAEINTR || error == WSAENOTSOCK) << error;
        };
        char bytes[2];
        const std::jthread receiver([&, s = one] { expect_woken(recv(s, bytes, 1, 0)); });
        const std::jthread other([&] { expect_woken(recv(datagrams, bytes + 1, 1, 0)); });
        const std::jthread acceptor(
            [&] { expect_woken(static_cast<long long>(accept(listener, nullptr, nullptr))); });
        const std::jthread selector(
            [&]
            {
                FD_SET set;
                FD_ZERO(&set);
                FD_SET(datagrams, &set);
                expect_woken(select(0, &set, nullptr, nullptr, nullptr));
            });
        if (rounds % 2)
            std::this_thread::yield();
        for (const SOCKET s : std::exchange(opened, {}))
            EXPECT_EQ(closesocket(s), 0);
    } while (++rounds < 50 || soak.goes_on());
    soak.report("rounds of closing", rounds);
}

TEST_F(Wsock32, AcceptedSocketsWaitAsTheListenerDoes)
{
    const SOCKET listener = listening();
    u_long non_blocking = 1;
    ASSERT_EQ(ioctlsocket(listener, FIONBIO, &non_blocking), 0);
    EXPECT_EQ(accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    connected_to(listener);
    opened.push_back(accept(listener, nullptr, nullptr));
    char c = 0;
    EXPECT_EQ(error_of(recv(opened.back(), &c, 1, 0)), WSAEWOULDBLOCK);
}

TEST_F(Wsock32, ABlockingSendMovesAllBytesAndRaisesNoSignal)
{
    ASSERT_EQ(signal(SIGPIPE, SIG_DFL), SIG_DFL);
    const auto [one, two] = connect_pair();
    PlinthTestShorten("send", 1, 0, 3);
    ASSERT_EQ(send(one, "0123456789", 10, 0), 10);
    PlinthTestReset();
    char bytes[16];
    EXPECT_EQ(error_of(recv(two, bytes, sizeof bytes, MSG_PEEK | 0x40000)), WSAEOPNOTSUPP)
        << "a flag of this system only";
    EXPECT_EQ(recv(two, bytes, 4, 0), 4);
    EXPECT_EQ(recv(two, bytes + 4, sizeof bytes - 4, 0), 6);
    EXPECT_EQ(std::string(bytes, 10), "0123456789");
    EXPECT_EQ(error_of(send(one, "x", -1, 0)), WSAEFAULT);
    closesocket(two);
    int result = 0;
    for (int i = 0; i < 1000 && result != SOCKET_ERROR; ++i)
        result = send(one, "x", 1, 0);
    EXPECT_EQ(error_of(result), WSAECONNRESET);
}

TEST_F(Wsock32, AConnectThatASignalInterruptsGoesOn)
{
    // The kernel returns EINTR after it has begun the connection. Here none was begun, so the wait
    // finds a socket that never connects.
    PlinthTestFail("connect", 1, 1, EINTR);
    connected_to(listening());
    EXPECT_EQ(PlinthTestCalls("poll"), 1u);
}

// Sends a signal every 300 us by an interval timer, without SA_RESTART.
class PeriodicSignal
{
public:
    PeriodicSignal()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &m_before);
        constexpr itimerval interval = {{0, 300}, {0, 300}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }
    PeriodicSignal(const PeriodicSignal&) = delete;
    PeriodicSignal& operator=(const PeriodicSignal&) = delete;
    ~PeriodicSignal()
    {
        constexpr itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &m_before, nullptr);
    }

private:
    struct sigaction m_before = {};
};

TEST_F(Wsock32, TimeOutsRunOutUnderAPeriodicSignal)
{
    const auto [one, two] = connect_pair();
    constexpr DWORD patience = 100; // ms
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO})
        ASSERT_EQ(setsockopt(one, SOL_SOCKET, option, reinterpret_cast<const char*>(&patience),
                             sizeof patience),
                  0);
    // If nothing else ends the wait, closes the socket, so that the test fails.
    std::promise<void> done;
    std::thread guard(
        [&, one = one]
        {
            if (done.get_future().wait_for(std::chrono::seconds(20)) != std::future_status::ready)
                closesocket(one);
        });
    {
        const PeriodicSignal signal;
        const auto began = std::chrono::steady_clock::now();
        char byte = 0;
        EXPECT_EQ(error_of(recv(one, &byte, 1, 0)), WSAETIMEDOUT);
        EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(patience));
        const std::string much(size_t{64} << 20, 'x');
        int sent = 0; // the system may enlarge the peer's buffer a few times
        for (int each = 1; each > 0; sent += std::max(each, 0))
            each = send(one, much.data(), static_cast<int>(much.size()), 0);
        EXPECT_EQ(WSAGetLastError(), WSAETIMEDOUT);
        EXPECT_GT(sent, 0) << "what went before the time-out";
    }
    done.set_value();
    guard.join();
}

TEST_F(Wsock32, AConnectAfterANonBlockingOneHasEndedFindsItConnected)
{
    const SOCKET listener = listening();
    SOCKADDR_IN to = name_of(listener);
    opened.push_back(socket(AF_INET, SOCK_STREAM, 0));
    u_long non_blocking = 1;
    ASSERT_EQ(ioctlsocket(opened.back(), FIONBIO, &non_blocking), 0);
    ASSERT_EQ(error_of(connect(opened.back(), generic(to), sizeof to)), WSAEWOULDBLOCK);
    FD_SET writable = {1, {opened.back()}};
    ASSERT_EQ(select(0, nullptr, &writable, nullptr, nullptr), 1);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(error_of(connect(opened.back(), generic(to), sizeof to)), WSAEISCONN);
}

TEST_F(Wsock32, AfterARefusedConnectASocketIsAsOneThatWasNeverConnected)
{
    const SOCKADDR_IN nobody = name_of(bound(SOCK_STREAM)); // bound, but not listening
    const SOCKADDR_IN somebody = name_of(listening());
    char c = 0;
    const auto start = [](SOCKET s, SOCKADDR_IN to)
    { return error_of(connect(s, generic(to), sizeof to)); };
    for (const bool asks : {false, true}) // whether it reads the error
    {
        const SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
        opened.push_back(s);
        u_long non_blocking = 1;
        ASSERT_EQ(ioctlsocket(s, FIONBIO, &non_blocking), 0);
        ASSERT_EQ(start(s, nobody), WSAEWOULDBLOCK);
        FD_SET failed = {1, {s}};
        ASSERT_EQ(select(0, nullptr, nullptr, &failed, nullptr), 1);
        int error = 0;
        int length = sizeof error;
        char* const value = reinterpret_cast<char*>(&error);
        EXPECT_TRUE(!asks || getsockopt(s, SOL_SOCKET, SO_ERROR, value, &length) == 0);
        EXPECT_EQ(error, asks ? WSAECONNREFUSED : 0);
        EXPECT_EQ(error_of(recv(s, &c, 1, 0)), WSAENOTCONN);
        EXPECT_EQ(error_of(send(s, &c, 1, 0)), WSAENOTCONN);
        SOCKADDR_IN any = {};
        any.sin_family = AF_INET;
        EXPECT_EQ(error_of(bind(s, generic(any), sizeof any)), WSAEINVAL) << "it has a name";
        ASSERT_EQ(start(s, somebody), WSAEWOULDBLOCK);
        FD_SET writable = {1, {s}};
        ASSERT_EQ(select(0, nullptr, &writable, nullptr, nullptr), 1);
        EXPECT_EQ(send(s, &c, 1, 0), 1);
    }
}

TEST_F(Wsock32, RefusalsHaveTheInterfacesNumbers)
{
    char bytes[8] = {};
    const auto get = [&](SOCKET s, int level, int name)
    {
        int length = sizeof bytes;
        return error_of(getsockopt(s, level, name, bytes, &length));
    };
    const auto set = [&](SOCKET s, int level, int name)
    { return error_of(setsockopt(s, level, name, bytes, sizeof bytes)); };
    const SOCKET stream = bound(SOCK_STREAM);
    const SOCKET datagrams = bound(SOCK_DGRAM);
    EXPECT_EQ(error_of(shutdown(datagrams, 2)), 0) << "of datagrams, without another end";
    const SOCKET fresh = bound(SOCK_DGRAM);
    u_long at_mark = 0;
    const struct
    {
        const char* call;
        int error, expected;
    } rows[] = {
        {"send after it", error_of(send(datagrams, bytes, 1, 0)), WSAESHUTDOWN},
        {"recv after it", error_of(recv(datagrams, bytes, 1, 0)), WSAESHUTDOWN},
        {"shutdown of a lone stream", error_of(shutdown(stream, 1)), WSAENOTCONN},
        {"SO_LINGER of datagrams", get(fresh, SOL_SOCKET, SO_LINGER), WSAENOPROTOOPT},
        {"set it", set(fresh, SOL_SOCKET, SO_LINGER), WSAENOPROTOOPT},
        {"SO_DONTLINGER", set(fresh, SOL_SOCKET, SO_DONTLINGER), WSAENOPROTOOPT},
        {"unknown option", get(stream, SOL_SOCKET, 0x7000), WSAENOPROTOOPT},
        {"unknown level", get(stream, 0x7000, SO_LINGER), WSAEINVAL},
        {"set at it", set(stream, 0x7000, SO_LINGER), WSAEINVAL},
        {"mark of datagrams", error_of(ioctlsocket(fresh, SIOCATMARK, &at_mark)), WSAEINVAL},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.error, row.expected) << row.call;
}

TEST_F(Wsock32, TheMarkTellsWhetherUrgentDataIsToCome)
{
    const auto [one, two] = connect_pair();
    u_long at_mark = 0;
    EXPECT_EQ(error_of(ioctlsocket(two, SIOCATMARK, &at_mark)), 0);
    EXPECT_EQ(at_mark, 1u) << "none";
    ASSERT_EQ(send(one, "ab!", 3, MSG_OOB), 3);
    FD_SET urgent = {1, {two}};
    ASSERT_EQ(select(0, nullptr, nullptr, &urgent, nullptr), 1);
    EXPECT_EQ(error_of(ioctlsocket(two, SIOCATMARK, &at_mark)), 0);
    EXPECT_EQ(at_mark, 0u) << "behind what can be read";
    char bytes[8];
    EXPECT_EQ(recv(two, bytes, 8, 0), 2);
    EXPECT_EQ(recv(two, bytes, 1, MSG_OOB), 1);
    EXPECT_EQ(error_of(ioctlsocket(two, SIOCATMARK, &at_mark)), 0);
    EXPECT_EQ(at_mark, 1u);
}

TEST_F(Wsock32, AStreamThatWasNeverConnectedIsNeitherReadableNorWritable)
{
    const SOCKET lone = bound(SOCK_STREAM);
    const SOCKET other = bound(SOCK_DGRAM);
    FD_SET readable = {1, {lone}};
    FD_SET writable = {2, {lone, other}};
    EXPECT_EQ(select(0, &readable, &writable, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(other, &writable));
    // The wait looks at it again, as another thread may have connected it.
    static SOCKET raced;
    static SOCKADDR_IN target;
    raced = lone;
    target = name_of(listening());
    PlinthTestBefore("poll", 2, [] { connect(raced, generic(target), sizeof target); });
    writable = {1, {lone}};
    EXPECT_EQ(select(0, nullptr, &writable, nullptr, nullptr), 1);
}

TEST_F(Wsock32, LookUpsTellWhyTheyFailedAndGiveEachThreadItsRecord)
{
    PlinthTestFail("gethostbyname", 1, 1, ENOENT);
    EXPECT_EQ(gethostbyname("somewhere"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSAHOST_NOT_FOUND);
    PlinthTestFail("getservbyname", 1, 0, ERANGE); // every buffer is too small
    EXPECT_EQ(getservbyname("http", "tcp"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSANO_DATA);
    PlinthTestReset();
    test::needs(std::filesystem::exists("/etc/services"), "names of services", "netbase");
    const servent* const here = getservbyname("http", "tcp");
    ASSERT_NE(here, nullptr);
    std::thread([] { EXPECT_NE(getservbyname("ftp", "tcp"), nullptr); }).join();
    EXPECT_STREQ(here->s_name, "http");
}

} // namespace
