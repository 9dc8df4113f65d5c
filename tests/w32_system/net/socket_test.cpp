// Every socket function over real sockets on the loopback interface.
#include <tuple>

#include "support/test.h"

#include <plinth_w32_system.h>

#include "support/loopback.h"

using namespace test;

namespace
{

constexpr int no_more_sends = 1; // the second argument of shutdown()
constexpr TIMEVAL at_once = {0, 0};
constexpr TIMEVAL long_enough = {60, 0}; // for events that must come; no test waits until its end

// The last error of a call that failed, 0 if it succeeded.
template <class Result> int error_of(Result result)
{
    const int error = WSAGetLastError();
    WSASetLastError(0);
    return result == static_cast<Result>(SOCKET_ERROR) ? error : 0;
}

template <class Value> int set_option(SOCKET s, int level, int name, const Value& value)
{
    return QV_SetSockOpt(s, level, name, reinterpret_cast<const char*>(&value), sizeof value);
}

template <class Value>
int get_option(SOCKET s, int level, int name, Value& value, int length = sizeof(Value))
{
    return QV_GetSockOpt(s, level, name, reinterpret_cast<char*>(&value), &length);
}

class SocketTest : public testing::Test
{
    Sockets m_sockets; // initialised before the test's own sockets
};

TEST(Socket, UseIsCounted)
{
    EXPECT_EQ(error_of(QV_DoneSocket()), WSANOTINITIALISED);
    EXPECT_EQ(error_of(QV_Socket(AF_INET, SOCK_STREAM, 0)), WSANOTINITIALISED);
    ASSERT_EQ(QV_InitSocket(), QV_OK);
    ASSERT_EQ(QV_InitSocket(), QV_OK);
    EXPECT_EQ(QV_DoneSocket(), QV_OK);
    const SOCKET s = QV_Socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_NE(s, INVALID_SOCKET) << "in use still";
    EXPECT_EQ(QV_CloseSocket(s), QV_OK);
    EXPECT_EQ(QV_DoneSocket(), QV_OK);
    EXPECT_EQ(QV_DoneSocket(), QV_ERR_FAILED);
}

TEST_F(SocketTest, StreamsCarryBytesBothWays)
{
    Connection pair;
    ASSERT_NE(pair.server, INVALID_SOCKET);
    char buffer[16] = {};
    EXPECT_EQ(QV_Send(pair.client, "question", 8, 0), 8);
    EXPECT_EQ(QV_Recv(pair.server, buffer, sizeof buffer, MSG_PEEK), 8);
    EXPECT_EQ(QV_Recv(pair.server, buffer, sizeof buffer, 0), 8);
    EXPECT_STREQ(buffer, "question");
    EXPECT_EQ(QV_Send(pair.server, "answer", 6, 0), 6);
    ULONG waiting = 0;
    FD_SET readable = set_of(pair.client);
    ASSERT_EQ(QV_Select(0, &readable, nullptr, nullptr, &long_enough), 1);
    EXPECT_EQ(QV_IoctlSocket(pair.client, FIONREAD, &waiting), QV_OK);
    EXPECT_EQ(waiting, 6u);
    EXPECT_EQ(QV_Recv(pair.client, buffer, 3, 0), 3);
    EXPECT_EQ(QV_Recv(pair.client, buffer + 3, 13, 0), 3);
    EXPECT_EQ(std::string(buffer, 6), "answer");
    EXPECT_EQ(QV_Shutdown(pair.client, no_more_sends), QV_OK);
    EXPECT_EQ(QV_Recv(pair.server, buffer, sizeof buffer, 0), 0) << "an orderly end";
    EXPECT_EQ(error_of(QV_Send(pair.client, "x", 1, 0)), WSAESHUTDOWN);
}

TEST_F(SocketTest, BothEndsKnowTheirNames)
{
    Connection pair;
    SOCKADDR_IN peer = {}, own = {};
    int length = sizeof peer;
    EXPECT_EQ(QV_GetPeerName(pair.server, generic(peer), &length), QV_OK);
    EXPECT_EQ(length, 16);
    EXPECT_EQ(QV_GetSockName(pair.client, generic(own), &length), QV_OK);
    EXPECT_EQ(std::memcmp(&peer, &own, 8), 0) << "family, port, address";
    EXPECT_EQ(QV_NtoHl(peer.sin_addr.s_addr), INADDR_LOOPBACK);
    Socket lone(SOCK_STREAM);
    EXPECT_EQ(error_of(QV_GetPeerName(lone, generic(peer), &length)), WSAENOTCONN);
}

TEST_F(SocketTest, DatagramsCarryTheirSender)
{
    Socket one(SOCK_DGRAM), two(SOCK_DGRAM);
    one.bind_anywhere();
    two.bind_anywhere();
    const SOCKADDR_IN to = loopback(two.port());
    EXPECT_EQ(QV_SendTo(one, "12345", 5, 0, generic(to), sizeof to), 5);
    EXPECT_EQ(QV_SendTo(one, "67890", 5, 0, generic(to), sizeof to), 5);
    SOCKADDR_IN from = {};
    int length = sizeof from;
    char buffer[8] = {};
    EXPECT_EQ(QV_RecvFrom(two, buffer, sizeof buffer, 0, generic(from), &length), 5);
    EXPECT_EQ(QV_NtoHs(from.sin_port), one.port());
    EXPECT_EQ(error_of(QV_Recv(two, buffer, 3, 0)), WSAEMSGSIZE) << "longer than the buffer";
    EXPECT_EQ(std::string(buffer, 3), "678");
    ASSERT_EQ(set_option(two, SOL_SOCKET, SO_RCVTIMEO, 20), QV_OK);
    const double before = QV_GetTimeCounter();
    EXPECT_EQ(error_of(QV_Recv(two, buffer, 1, 0)), WSAETIMEDOUT);
    EXPECT_GE(QV_GetTimeCounter() - before, 19.0) << "a time in milliseconds";
}

TEST_F(SocketTest, ANonBlockingConnectCountsAsSuccessAndItsRefusalShowsAmongTheFailures)
{
    Socket taken(SOCK_STREAM); // bound, but not listening
    taken.bind_anywhere();
    const SOCKADDR_IN to = loopback(taken.port());
    Socket client(SOCK_STREAM), waiting(SOCK_STREAM);
    client.block(false);
    ASSERT_EQ(QV_Connect(client, generic(to), sizeof to), QV_OK) << WSAGetLastError();
    FD_SET writable = set_of(client), failed = set_of(client), readable = set_of(client);
    EXPECT_EQ(QV_Select(0, &readable, &writable, &failed, &long_enough), 1);
    EXPECT_TRUE(FD_ISSET(client, &failed));
    EXPECT_FALSE(FD_ISSET(client, &writable));
    int error = 0;
    EXPECT_EQ(get_option(client, SOL_SOCKET, SO_ERROR, error), QV_OK);
    EXPECT_EQ(error, WSAECONNREFUSED);
    EXPECT_EQ(error_of(QV_Connect(waiting, generic(to), sizeof to)), WSAECONNREFUSED);
    Connection pair;
    char c = 0;
    pair.client.block(false);
    EXPECT_EQ(error_of(QV_Recv(pair.client, &c, 1, 0)), WSAEWOULDBLOCK);
}

TEST_F(SocketTest, SelectTellsWhatIsReadyAndWhatIsNot)
{
    Connection pair;
    FD_SET readable = set_of(pair.server);
    EXPECT_EQ(QV_Select(0, &readable, nullptr, nullptr, &at_once), 0);
    EXPECT_EQ(readable.fd_count, 0u);
    readable = set_of(pair.listener);
    FD_SET(pair.server, &readable);
    FD_SET writable = set_of(pair.server);
    QV_Send(pair.client, "x", 1, 0);
    // Sockets are writable at once, so first wait for the data to arrive.
    ASSERT_EQ(QV_Select(0, &readable, nullptr, nullptr, &long_enough), 1);
    EXPECT_EQ(QV_Select(0, &readable, &writable, nullptr, nullptr), 2);
    EXPECT_TRUE(FD_ISSET(pair.server, &readable));
    EXPECT_FALSE(FD_ISSET(pair.listener, &readable));
    EXPECT_EQ(error_of(QV_Select(0, nullptr, nullptr, nullptr, &at_once)), WSAEINVAL);
}

TEST_F(SocketTest, OptionsKeepWhatTheyAreGiven)
{
    Socket s(SOCK_STREAM);
    const std::tuple<int, int, int> rows[] = {{SOL_SOCKET, SO_REUSEADDR, 1},
                                              {SOL_SOCKET, SO_SNDTIMEO, 60'000},
                                              {SOL_SOCKET, SO_RCVBUF, 65'536},
                                              {IPPROTO_TCP, TCP_NODELAY, 1}};
    for (const auto& [level, name, wanted] : rows)
    {
        int value = 0;
        EXPECT_EQ(set_option(s, level, name, wanted), QV_OK) << name;
        EXPECT_EQ(get_option(s, level, name, value), QV_OK) << name;
        EXPECT_EQ(value != 0 && wanted == 1 ? 1 : value, wanted) << name;
    }
    int type = 0;
    EXPECT_EQ(get_option(s, SOL_SOCKET, SO_TYPE, type), QV_OK);
    EXPECT_EQ(type, SOCK_STREAM);
    EXPECT_EQ(error_of(get_option(s, SOL_SOCKET, SO_TYPE, type, 3)), WSAEFAULT);
    EXPECT_EQ(error_of(set_option(s, SOL_SOCKET, 0x7777, type)), WSAENOPROTOOPT);
}

TEST_F(SocketTest, AddressesAsTextAndTheHostsNameNeedRoomForTheirEnd)
{
    IN_ADDR address = {};
    address.s_addr = QV_Inet_Addr("127.0.0.1");
    EXPECT_EQ(QV_NtoHl(address.s_addr), 0x7F000001u);
    EXPECT_EQ(QV_Inet_Addr("no address"), INADDR_NONE);
    char text[10] = "untouched";
    EXPECT_EQ(QV_Inet_NtoA(text, 9, address), QV_ERR_FAILED);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(QV_Inet_NtoA(text, 10, address), QV_OK);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(QV_HtoNs(0x1234), 0x3412);
    EXPECT_EQ(QV_HtoNl(0x12345678), 0x78563412u);

    char name[300] = {}, exact[300] = {};
    ASSERT_EQ(QV_GetHostName(name, sizeof name), QV_OK);
    const int length = static_cast<int>(std::strlen(name));
    EXPECT_EQ(QV_GetHostName(exact, length + 1), QV_OK);
    EXPECT_STREQ(exact, name);
    EXPECT_EQ(error_of(QV_GetHostName(exact, length)), WSAEFAULT);
}

TEST_F(SocketTest, LookUpsFillTheirRecordsFieldByField)
{
    QV_HOSTENT host = {};
    ASSERT_EQ(QV_GetHostByName(&host, "localhost"), QV_OK);
    EXPECT_EQ(host.h_addrtype, AF_INET);
    EXPECT_EQ(host.h_length, 4);
    ULONG address = 0;
    std::memcpy(&address, host.h_addr_list[0], sizeof address);
    EXPECT_EQ(QV_NtoHl(address), INADDR_LOOPBACK);
    ASSERT_EQ(QV_GetHostByAddr(&host, reinterpret_cast<const char*>(&address), 4, AF_INET), QV_OK);
    EXPECT_NE(host.h_name[0], '\0');

    QV_SERVENT service = {};
    ASSERT_EQ(QV_GetServByName(&service, "http", "tcp"), QV_OK);
    EXPECT_STREQ(service.s_name, "http");
    EXPECT_EQ(QV_NtoHs(static_cast<USHORT>(service.s_port)), 80);
    // 32,768 and above: the port is negative as a short.
    const auto high = static_cast<short>(QV_HtoNs(443));
    ASSERT_LT(high, 0);
    ASSERT_EQ(QV_GetServByPort(&service, high, "tcp"), QV_OK);
    EXPECT_STREQ(service.s_name, "https");

    QV_PROTOENT protocol = {};
    ASSERT_EQ(QV_GetProtoByName(&protocol, "udp"), QV_OK);
    EXPECT_EQ(protocol.p_proto, 17);
    ASSERT_EQ(QV_GetProtoByNumber(&protocol, 6), QV_OK);
    EXPECT_STREQ(protocol.p_name, "tcp");

    // If nothing is found, the record stays unchanged.
    EXPECT_EQ(QV_GetServByName(&service, "no such service", nullptr), QV_ERR_FAILED);
    EXPECT_EQ(service.s_port, high);
    EXPECT_EQ(QV_GetProtoByName(&protocol, "no such protocol"), QV_ERR_FAILED);
    EXPECT_EQ(protocol.p_proto, 6);
}

// Closed sockets, other handles, and values that never were one.
TEST_F(SocketTest, WhatIsNoSocketIsRefused)
{
    Socket closed(SOCK_STREAM);
    const SOCKET former = closed;
    closed.close();
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const SOCKET foreign = reinterpret_cast<SOCKET>(event);
    for (const SOCKET s : {former, foreign, INVALID_SOCKET, SOCKET{3}})
    {
        SCOPED_TRACE(s);
        const SOCKADDR_IN at = loopback(1);
        char byte = 0;
        FD_SET set = set_of(s);
        EXPECT_EQ(error_of(QV_CloseSocket(s)), WSAENOTSOCK);
        EXPECT_EQ(error_of(QV_Bind(s, generic(at), sizeof at)), WSAENOTSOCK);
        EXPECT_EQ(error_of(QV_Connect(s, generic(at), sizeof at)), WSAENOTSOCK);
        EXPECT_EQ(error_of(QV_Send(s, &byte, 1, 0)), WSAENOTSOCK);
        EXPECT_EQ(error_of(QV_Recv(s, &byte, 1, 0)), WSAENOTSOCK);
        EXPECT_EQ(error_of(QV_Select(0, &set, nullptr, nullptr, &at_once)), WSAENOTSOCK);
    }
    CloseHandle(event);
}

TEST_F(SocketTest, WhatCannotBeMadeIsRefused)
{
    EXPECT_EQ(error_of(QV_Socket(99, SOCK_STREAM, 0)), WSAEAFNOSUPPORT);
    Listener listener;
    Socket second(SOCK_STREAM);
    const SOCKADDR_IN taken = loopback(listener.port());
    EXPECT_EQ(error_of(QV_Bind(second, generic(taken), sizeof taken)), WSAEADDRINUSE);
    EXPECT_EQ(error_of(QV_Listen(second, 1)), WSAEINVAL) << "not bound";
    char c = 0;
    EXPECT_EQ(error_of(QV_Recv(second, &c, 1, 0)), WSAENOTCONN);
}

} // namespace
