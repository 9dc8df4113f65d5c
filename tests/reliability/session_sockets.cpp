// Sockets on the loopback interface, and look-ups that need no network.
#include "session.h"

#include <winsock.h>

namespace
{

bool readable(Session& session, SOCKET socket)
{
    constexpr TIMEVAL long_enough = {10, 0};
    FD_SET set = {1, {socket}};
    return session.worked("QV_Select", QV_Select(0, &set, nullptr, nullptr, &long_enough) == 1);
}

void conversation(Session& session, SOCKET listener, SOCKET client, SOCKET& server)
{
    SOCKADDR_IN own = {};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = QV_HtoNl(INADDR_LOOPBACK);
    auto* const address = reinterpret_cast<SOCKADDR*>(&own);
    int length = sizeof own;
    if (!session.worked("QV_Socket", listener != INVALID_SOCKET && client != INVALID_SOCKET) ||
        !CALL(QV_Bind(listener, address, sizeof own), QV_ERR_FAILED) ||
        !CALL(QV_Listen(listener, 5), QV_ERR_FAILED) ||
        !CALL(QV_GetSockName(listener, address, &length), QV_ERR_FAILED) ||
        !CALL(QV_Connect(client, address, sizeof own), QV_ERR_FAILED) ||
        !readable(session, listener))
        return;
    server = QV_Accept(listener, nullptr, nullptr);
    if (!session.worked("QV_Accept", server != INVALID_SOCKET))
        return;
    CALL(QV_SetSockOpt(client, SOL_SOCKET, SO_KEEPALIVE, "\1\0\0\0", 4), QV_ERR_FAILED);
    if (session.worked("QV_Send", QV_Send(client, "question", 8, 0) > 0) &&
        readable(session, server))
    {
        char buffer[16] = "";
        const int received = QV_Recv(server, buffer, sizeof buffer - 1, 0);
        if (session.worked("QV_Recv", received > 0))
            session.holds("something else was received",
                          std::string("question").starts_with(buffer));
    }
    CALL(QV_Shutdown(client, 1), QV_ERR_FAILED);
}

} // namespace

void socket_part(Session& session)
{
    if (!CALL(QV_InitSocket(), QV_ERR_FAILED))
        return;
    SOCKET sockets[3] = {QV_Socket(AF_INET, SOCK_STREAM, 0), QV_Socket(AF_INET, SOCK_STREAM, 0),
                         INVALID_SOCKET};
    conversation(session, sockets[0], sockets[1], sockets[2]);
    for (const SOCKET each : sockets)
        if (each != INVALID_SOCKET)
            QV_CloseSocket(each);
    QV_HOSTENT host = {};
    QV_PROTOENT protocol = {};
    char name[300] = "";
    CALL(QV_GetHostByName(&host, "127.0.0.1"), QV_ERR_FAILED);
    CALL(QV_GetProtoByName(&protocol, "tcp"), QV_ERR_FAILED);
    CALL(QV_GetHostName(name, 300), QV_ERR_FAILED);
    session.holds("another address", QV_Inet_Addr("127.0.0.1") == QV_HtoNl(INADDR_LOOPBACK));
    CALL(QV_DoneSocket(), QV_ERR_FAILED);
}
