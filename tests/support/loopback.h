// Sockets on the loopback interface for tests, and a connected pair.
#pragma once

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include <winsock.h>

namespace test
{

inline SOCKADDR_IN loopback(USHORT port)
{
    SOCKADDR_IN address = {};
    address.sin_family = AF_INET;
    address.sin_port = QV_HtoNs(port);
    address.sin_addr.s_addr = QV_HtoNl(INADDR_LOOPBACK);
    return address;
}

inline const SOCKADDR* generic(const SOCKADDR_IN& address)
{
    return reinterpret_cast<const SOCKADDR*>(&address);
}

inline SOCKADDR* generic(SOCKADDR_IN& address)
{
    return reinterpret_cast<SOCKADDR*>(&address);
}

// Starts the use of sockets, and ends it with the scope.
struct Sockets
{
    Sockets() { EXPECT_EQ(QV_InitSocket(), QV_OK); }
    Sockets(const Sockets&) = delete;
    Sockets& operator=(const Sockets&) = delete;
    ~Sockets() { EXPECT_EQ(QV_DoneSocket(), QV_OK); }
};

// A socket that is closed at the end of its scope.
class Socket
{
public:
    explicit Socket(int type) : m_socket(QV_Socket(AF_INET, type, 0)) {}
    explicit Socket(SOCKET owned) : m_socket(owned) {}
    Socket(Socket&& other) noexcept : m_socket(other.m_socket) { other.m_socket = INVALID_SOCKET; }
    Socket& operator=(Socket&&) = delete;
    ~Socket() { close(); }
    operator SOCKET() const { return m_socket; }
    void close()
    {
        if (m_socket != INVALID_SOCKET)
            QV_CloseSocket(m_socket);
        m_socket = INVALID_SOCKET;
    }
    // The port of this socket, 0 if it has none.
    USHORT port() const
    {
        SOCKADDR_IN own = {};
        int length = sizeof own;
        return QV_GetSockName(m_socket, generic(own), &length) == QV_OK ? QV_NtoHs(own.sin_port)
                                                                        : USHORT{0};
    }
    // Binds to a free port of the loopback interface.
    void bind_anywhere()
    {
        const SOCKADDR_IN any_port = loopback(0);
        ASSERT_EQ(QV_Bind(m_socket, generic(any_port), sizeof any_port), QV_OK);
    }
    void block(bool wait)
    {
        ULONG non_blocking = !wait;
        ASSERT_EQ(QV_IoctlSocket(m_socket, FIONBIO, &non_blocking), QV_OK);
    }

private:
    SOCKET m_socket;
};

// A listening socket on a free port.
class Listener : public Socket
{
public:
    Listener() : Socket(SOCK_STREAM)
    {
        bind_anywhere();
        EXPECT_EQ(QV_Listen(*this, 5), QV_OK);
    }
};

// Two ends of one connection.
struct Connection
{
    Connection() : server(accept_from_client()) {}
    Listener listener;
    Socket client{SOCK_STREAM};
    Socket server;

private:
    SOCKET accept_from_client()
    {
        const SOCKADDR_IN to = loopback(listener.port());
        EXPECT_EQ(QV_Connect(client, generic(to), sizeof to), QV_OK);
        return QV_Accept(listener, nullptr, nullptr);
    }
};

inline FD_SET set_of(SOCKET s)
{
    FD_SET set;
    FD_ZERO(&set);
    FD_SET(s, &set);
    return set;
}

} // namespace test
