// The library's header brings the socket records without touching the C library's names: what a
// program uses of this system keeps its meaning, before that header and after it.
#include <sys/select.h>
#include <sys/time.h>

#include <windows.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <functional>

#include <gtest/gtest.h>

namespace
{

static_assert(sizeof(timeval) == 16 && sizeof(TIMEVAL) == 8);
static_assert(sizeof(fd_set) == 128 && sizeof(FD_SET) == 520);
static_assert(sizeof(hostent::h_length) == 4 && sizeof(HOSTENT::h_length) == 2);
static_assert(sizeof(u_long) == 8 && sizeof(ULONG) == 4);
static_assert(SOL_SOCKET == 1 && FD_SETSIZE == 1024);

TEST(SocketNames, StayTheSystemsOwnBesideTheRecords)
{
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(pair[0], &readable);
    EXPECT_EQ(send(pair[1], "x", 1, 0), 1);
    timeval time = {60, 0};
    EXPECT_EQ(select(pair[0] + 1, &readable, nullptr, nullptr, &time), 1);
    close(pair[0]);
    close(pair[1]);
    EXPECT_EQ(std::bind([](int value) { return value; }, 5)(), 5);
}

} // namespace
