// Sockets on the loopback interface, and look-ups that need no network.
#include "session.h"

#include <winsock.h>

namespace sweep
{

namespace
{

constexpr TIMEVAL long_enough = {10, 0};

class Socket
{
public:
    explicit Socket(SOCKET owned) : m_socket(owned) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket()
    {
        if (*this)
            QV_CloseSocket(m_socket);
    }
    explicit operator bool() const { return m_socket != INVALID_SOCKET; }
    SOCKET get() const { return m_socket; }

private:
    SOCKET m_socket;
};

bool readable(Session& session, const Socket& socket)
{
    FD_SET set = {};
    set.fd_count = 1;
    set.fd_array[0] = socket.get();
    return session.worked("QV_Select", QV_Select(0, &set, nullptr, nullptr, &long_enough) == 1);
}

// A listener's address; false if there is none.
bool listen_on(Session& session, const Socket& listener, SOCKADDR_IN& own)
{
    own = {};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = QV_HtoNl(INADDR_LOOPBACK);
    auto* const address = reinterpret_cast<SOCKADDR*>(&own);
    int length = sizeof own;
    return session.ok("QV_Bind", QV_Bind(listener.get(), address, sizeof own), {QV_ERR_FAILED}) &&
           session.ok("QV_Listen", QV_Listen(listener.get(), 5), {QV_ERR_FAILED}) &&
           session.ok("QV_GetSockName", QV_GetSockName(listener.get(), address, &length),
                      {QV_ERR_FAILED});
}

void conversation(Session& session)
{
    const Socket listener(QV_Socket(AF_INET, SOCK_STREAM, 0));
    const Socket client(QV_Socket(AF_INET, SOCK_STREAM, 0));
    SOCKADDR_IN own;
    if (!session.worked("QV_Socket", listener && client) || !listen_on(session, listener, own) ||
        !session.ok("QV_Connect",
                    QV_Connect(client.get(), reinterpret_cast<SOCKADDR*>(&own), sizeof own),
                    {QV_ERR_FAILED}) ||
        !readable(session, listener))
        return;
    const Socket server(QV_Accept(listener.get(), nullptr, nullptr));
    if (!session.worked("QV_Accept", static_cast<bool>(server)))
        return;
    session.ok("QV_SetSockOpt",
               QV_SetSockOpt(client.get(), SOL_SOCKET, SO_KEEPALIVE, "\1\0\0\0", 4),
               {QV_ERR_FAILED});
    const int sent = QV_Send(client.get(), "question", 8, 0);
    if (session.worked("QV_Send", sent > 0) && readable(session, server))
    {
        char buffer[16] = "";
        const int received = QV_Recv(server.get(), buffer, sizeof buffer, 0);
        if (session.worked("QV_Recv", received > 0))
            session.holds("something else was received",
                          std::string("question")
                                  .rfind(std::string(buffer, static_cast<size_t>(received)), 0) ==
                              0);
    }
    session.ok("QV_Shutdown", QV_Shutdown(client.get(), 1), {QV_ERR_FAILED});
}

void lookups(Session& session)
{
    QV_HOSTENT host = {};
    session.ok("QV_GetHostByName", QV_GetHostByName(&host, "127.0.0.1"), {QV_ERR_FAILED});
    QV_PROTOENT protocol = {};
    session.ok("QV_GetProtoByName", QV_GetProtoByName(&protocol, "tcp"), {QV_ERR_FAILED});
    char name[300] = "";
    session.ok("QV_GetHostName", QV_GetHostName(name, 300), {QV_ERR_FAILED});
    session.holds("another address", QV_Inet_Addr("127.0.0.1") == QV_HtoNl(INADDR_LOOPBACK));
}

} // namespace

void socket_part(Session& session)
{
    if (!session.ok("QV_InitSocket", QV_InitSocket(), {QV_ERR_FAILED}))
        return;
    conversation(session);
    lookups(session);
    session.ok("QV_DoneSocket", QV_DoneSocket(), {QV_ERR_FAILED});
}

} // namespace sweep
