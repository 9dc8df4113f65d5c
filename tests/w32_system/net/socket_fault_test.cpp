// Streams over a system that moves few bytes at once.

#include "support/test.h"

#include "support/faults.h"
#include "support/loopback.h"

namespace
{

TEST(SocketFault, AStreamComesWholeInPieces)
{
    const test::Sockets sockets;
    test::Connection pair;
    std::string sent;
    for (int i = 0; i < 2'000; ++i)
        sent += "line " + std::to_string(i) + "\n";
    const test::FaultScope scope;
    PlinthTestShorten("send", 1, 0, 7);
    PlinthTestShorten("recv", 1, 0, 1'001);
    const int size = static_cast<int>(sent.size());
    ASSERT_EQ(QV_Send(pair.client, sent.data(), size, 0), size);
    EXPECT_EQ(QV_Shutdown(pair.client, 1), QV_OK) << "no more sends";
    std::string came;
    char block[4096];
    int got = 0;
    while ((got = QV_Recv(pair.server, block, sizeof block, 0)) > 0)
        came.append(block, static_cast<size_t>(got));
    EXPECT_EQ(got, 0);
    EXPECT_EQ(came, sent);
}

} // namespace
