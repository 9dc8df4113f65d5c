// A socket as an object of the handle table, and helpers shared by the socket calls.
//
// The descriptor lives as long as the object, so that a call in another thread never uses a
// descriptor number that has been reused. closesocket() wakes such calls.
#pragma once

#include <atomic>
#include <cstdint>

#include <poll.h>

#include <windows.h>

#define PLINTH_PLATFORM_NO_SOCKET_NAMES // Linux's names are used beside Windows' own here
#include <winsock.h>

#include "kernel32/object/handle_table.h"

namespace platform
{

class SocketObject : public Object
{
public:
    static constexpr ObjectKind object_kind = ObjectKind::socket;

    SocketObject(int descriptor, int type, bool non_blocking)
        : Object(object_kind), fd(descriptor), is_stream(type == SOCK_STREAM),
          is_non_blocking(non_blocking)
    {
    }
    ~SocketObject() override;

    const int fd;
    const bool is_stream;
    SOCKET handle = INVALID_SOCKET;          // of this object; set before others can use it
    std::atomic<bool> is_non_blocking;       // FIONBIO
    std::atomic<bool> is_connecting{false};  // a connect that returned WSAEWOULDBLOCK
    std::atomic<bool> had_connection{false}; // or a connect in progress
    std::atomic<bool> began_connect{false};  // without waiting; its end was not reported yet
    std::atomic<bool> tried_connect{false};  // after which the socket keeps its name
    std::atomic<int> connect_error{0};       // errno of a failed connect, for SO_ERROR
    std::atomic<DWORD> send_patience{0};     // SO_SNDTIMEO, ms; 0 and INFINITE: none
    std::atomic<DWORD> receive_patience{0};  // SO_RCVTIMEO
    std::atomic<bool> sends_no_more{false};  // shut down on this side
    std::atomic<bool> reads_no_more{false};
    std::atomic<bool> is_closing{false};
    std::atomic<unsigned> waiting{0}; // calls that closing must wake
};

// Whether the socket has a port. This system would pick one for who listens, and let others wait
// for datagrams that can't come; the interface wants one that was chosen.
bool is_bound(int fd);

// Holds a socket for one call. False, with the last error set, if there is none
// (WSAENOTSOCK) or sockets have not been started (WSANOTINITIALISED).
class SocketPin
{
public:
    explicit SocketPin(SOCKET s);
    explicit operator bool() const { return m_usable; }
    SocketObject* operator->() const { return m_pin.operator->(); }
    SocketObject& operator*() const { return *m_pin; }

private:
    Pin<SocketObject> m_pin;
    bool m_usable;
};

// Counts a call that may wait, so that closing the socket wakes it.
class Waiting
{
public:
    explicit Waiting(SocketObject& object) : m_object(object) { ++m_object.waiting; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { --m_object.waiting; }
    bool is_cancelled() const { return m_object.is_closing; }

private:
    SocketObject& m_object;
};

// poll(2), at most until a moment of the monotonic clock (ns; -1: no limit). The caller handles
// EINTR, and calls again with the same moment.
int poll_until(pollfd* entries, size_t count, int64_t deadline);

// The one table from errno to socket errors.
int socket_error(int error);

// Sets the last error and returns SOCKET_ERROR.
int fail_socket(int wsa_error);
// The same for the errno of a call on this socket.
int fail_call(const SocketObject& object, int error);

// Makes a socket from a descriptor, which it owns from now on, even on failure.
SOCKET insert_socket(int descriptor, int type, bool non_blocking, bool connected);

// False if it is no socket. Calls that wait on it return.
bool close_socket(SOCKET s);

// Checks how a connect that returned WSAEWOULDBLOCK ended. After a failure the socket counts as
// never connected, and can be connected again.
void settle_connect(SocketObject& object);

// Converts an address of the interface to Linux's: both have the same layout for IPv4. False, with
// the last error set, for a null or short one.
bool native_address(const SOCKADDR* address, int length, sockaddr_in& native);
// Store an address for a caller. *length: the room for it. has_room: true if there is room or no
// address to store; false with WSAEFAULT.
bool has_room(const SOCKADDR* address, const int* length);
void store_address(const sockaddr_in& native, SOCKADDR* address, int* length);

} // namespace platform
