// What the stand-in's sockets add to this system's: any number in a set, ends that wake, errors.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <windows.h>

#include <plinth_platform_test.h>

#include <winsock.h>

#include "support/needs.h"
#include "support/soak.h"

namespace
{

SOCKADDR_IN any_port()
{
    SOCKADDR_IN address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
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
        EXPECT_EQ(WSACleanup(), 0);
    }
    static SOCKET bound(int type)
    {
        const SOCKET s = socket(AF_INET, type, 0);
        const SOCKADDR_IN address = any_port();
        EXPECT_EQ(bind(s, reinterpret_cast<const SOCKADDR*>(&address), sizeof address), 0);
        return s;
    }
    static SOCKADDR_IN name_of(SOCKET s)
    {
        SOCKADDR_IN address = {};
        int length = sizeof address;
        EXPECT_EQ(getsockname(s, reinterpret_cast<SOCKADDR*>(&address), &length), 0);
        return address;
    }
    // Two ends of a connection.
    static void connect_pair(SOCKET& one, SOCKET& two)
    {
        const SOCKET listener = bound(SOCK_STREAM);
        ASSERT_EQ(listen(listener, SOMAXCONN), 0);
        one = socket(AF_INET, SOCK_STREAM, 0);
        const SOCKADDR_IN to = name_of(listener);
        ASSERT_EQ(connect(one, reinterpret_cast<const SOCKADDR*>(&to), sizeof to), 0);
        two = accept(listener, nullptr, nullptr);
        ASSERT_NE(two, INVALID_SOCKET);
        closesocket(listener);
    }
};

TEST(WSAStartup, GrantsOneDotOne)
{
    WSADATA data;
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(data.wVersion, MAKEWORD(1, 1));
    EXPECT_EQ(WSAStartup(MAKEWORD(1, 0), &data), 0);
    EXPECT_EQ(data.wVersion, MAKEWORD(1, 0));
    EXPECT_EQ(WSAStartup(0, &data), WSAVERNOTSUPPORTED);
    EXPECT_EQ(WSAStartup(MAKEWORD(1, 1), nullptr), WSAEFAULT);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), 0);
}

TEST(WSAStartup, TheLastCleanupClosesWhatIsOpen)
{
    WSADATA data;
    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    const SOCKET s = socket(AF_INET, SOCK_DGRAM, 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(closesocket(s), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    EXPECT_EQ(closesocket(s), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
    EXPECT_EQ(WSACleanup(), 0);
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
    LongSet writable = all;
    LongSet readable = all;
    LongSet failed = all;
    const auto set = [](LongSet& list) { return reinterpret_cast<FD_SET*>(&list); };
    EXPECT_EQ(select(0, set(readable), set(writable), set(failed), nullptr),
              static_cast<int>(count));
    EXPECT_EQ(readable.fd_count, 0u);
    EXPECT_EQ(failed.fd_count, 0u);
    const SOCKET last = all.fd_array[count - 1];
    const SOCKADDR_IN to = name_of(last);
    ASSERT_EQ(sendto(all.fd_array[0], "x", 1, 0, reinterpret_cast<const SOCKADDR*>(&to), sizeof to),
              1);
    readable = all;
    EXPECT_EQ(select(0, set(readable), nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(readable.fd_array[0], last);
    for (UINT i = 0; i < count; ++i)
        EXPECT_EQ(closesocket(all.fd_array[i]), 0);
    setrlimit(RLIMIT_NOFILE, &former);
}

TEST_F(Wsock32, OnlyWhatIsWaitedForEndsASelect)
{
    SOCKET one = INVALID_SOCKET;
    SOCKET two = INVALID_SOCKET;
    connect_pair(one, two);
    closesocket(two); // told by poll() again and again, and no failure of a connect
    FD_SET failed;
    FD_ZERO(&failed);
    FD_SET(one, &failed);
    const TIMEVAL moment = {0, 20'000};
    shutdown(one, 2); // both ways
    PlinthTestArm();
    EXPECT_EQ(select(0, nullptr, nullptr, &failed, &moment), 0);
    EXPECT_LT(PlinthTestCalls("poll"), 5u) << "no busy waiting";
    closesocket(one);
}

TEST_F(Wsock32, ConcurrentClosingWakesEveryKindOfWait)
{
    const test::SoakTime soak;
    uint64_t rounds = 0;
    do
    {
        SOCKET one = INVALID_SOCKET;
        SOCKET two = INVALID_SOCKET;
        connect_pair(one, two);
        const SOCKET datagrams = bound(SOCK_DGRAM);
        const SOCKET listener = bound(SOCK_STREAM);
        listen(listener, 1);
        const auto expect_woken = [](long long result)
        {
            const int error = WSAGetLastError();
            EXPECT_EQ(result, -1);
            EXPECT_TRUE(error == WSAEINTR || error == WSAENOTSOCK) << error;
        };
        char bytes[2];
        std::thread receiver([&] { expect_woken(recv(one, bytes, 1, 0)); });
        std::thread datagram_receiver([&] { expect_woken(recv(datagrams, bytes + 1, 1, 0)); });
        std::thread acceptor(
            [&] { expect_woken(static_cast<long long>(accept(listener, nullptr, nullptr))); });
        std::thread selector(
            [&]
            {
                FD_SET set;
                FD_ZERO(&set);
                FD_SET(datagrams, &set);
                expect_woken(select(0, &set, nullptr, nullptr, nullptr));
            });
        if (rounds % 2)
            std::this_thread::yield();
        for (const SOCKET s : {one, datagrams, listener, two})
            EXPECT_EQ(closesocket(s), 0);
        for (std::thread* const each : {&receiver, &datagram_receiver, &acceptor, &selector})
            each->join();
        ++rounds;
    } while (rounds < 50 || soak.goes_on());
    soak.report("rounds of closing", rounds);
}

TEST_F(Wsock32, SendingToAGoneEndRaisesNoSignal)
{
    ASSERT_EQ(signal(SIGPIPE, SIG_DFL), SIG_DFL);
    SOCKET one = INVALID_SOCKET;
    SOCKET two = INVALID_SOCKET;
    connect_pair(one, two);
    closesocket(two);
    int result = 0;
    for (int i = 0; i < 1000 && result != SOCKET_ERROR; ++i)
        result = send(one, "x", 1, 0);
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
    closesocket(one);
}

TEST_F(Wsock32, AcceptedSocketsWaitAsTheListenerDoes)
{
    const SOCKET listener = bound(SOCK_STREAM);
    listen(listener, 1);
    u_long non_blocking = 1;
    ASSERT_EQ(ioctlsocket(listener, FIONBIO, &non_blocking), 0);
    EXPECT_EQ(accept(listener, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    const SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
    const SOCKADDR_IN to = name_of(listener);
    ASSERT_EQ(connect(client, reinterpret_cast<const SOCKADDR*>(&to), sizeof to), 0);
    const SOCKET server = accept(listener, nullptr, nullptr);
    char c = 0;
    EXPECT_EQ(recv(server, &c, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
    for (const SOCKET s : {listener, client, server})
        closesocket(s);
}

TEST_F(Wsock32, ABlockingSendMovesAllBytes)
{
    SOCKET one = INVALID_SOCKET;
    SOCKET two = INVALID_SOCKET;
    connect_pair(one, two);
    PlinthTestShorten("send", 1, 0, 3);
    EXPECT_EQ(send(one, "0123456789", 10, 0), 10);
    PlinthTestReset();
    char bytes[16];
    EXPECT_EQ(recv(two, bytes, sizeof bytes, MSG_PEEK | 0x40000), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEOPNOTSUPP) << "a flag of this system only";
    EXPECT_EQ(send(one, "x", -1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEFAULT);
    closesocket(one);
    closesocket(two);
}

TEST_F(Wsock32, AConnectThatASignalInterruptsGoesOn)
{
    const SOCKET listener = bound(SOCK_STREAM);
    listen(listener, 1);
    const SOCKADDR_IN to = name_of(listener);
    const SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
    // The kernel has begun the connection when it tells EINTR; here nothing was begun, and the
    // socket that never connects is what the wait finds.
    PlinthTestFail("connect", 1, 1, EINTR);
    EXPECT_EQ(connect(client, reinterpret_cast<const SOCKADDR*>(&to), sizeof to), 0);
    EXPECT_EQ(PlinthTestCalls("poll"), 1u);
    closesocket(client);
    closesocket(listener);
}

TEST_F(Wsock32, LookUpsTellWhyTheyFailed)
{
    PlinthTestFail("gethostbyname", 1, 1, ENOENT);
    EXPECT_EQ(gethostbyname("somewhere"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSAHOST_NOT_FOUND);
    PlinthTestFail("gethostbyname", 1, 1, ERANGE); // a buffer that was too small is tried anew
    const hostent* const local = gethostbyname("localhost");
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(local->h_length, 4);
    PlinthTestFail("getservbyname", 1, 0, ERANGE); // for ever
    EXPECT_EQ(getservbyname("http", "tcp"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSANO_DATA);
    EXPECT_LT(PlinthTestCalls("getservbyname"), 10u);
}

TEST_F(Wsock32, ThreadsHaveRecordsOfTheirOwn)
{
    test::needs(std::filesystem::exists("/etc/services"), "names of services", "netbase");
    const servent* const here = getservbyname("http", "tcp");
    ASSERT_NE(here, nullptr);
    std::thread([] { EXPECT_NE(getservbyname("ftp", "tcp"), nullptr); }).join();
    EXPECT_STREQ(here->s_name, "http");
    EXPECT_EQ(ntohs(static_cast<u_short>(here->s_port)), 80);
}

} // namespace
