// Services without a budget: a kibibyte over a connection on the loopback interface against the
// bare system calls, memory figures, identifiers.
#include <stdexcept>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <plinth_w32_system.h>

namespace
{

constexpr int block = 1024;

void require(bool held)
{
    if (!held)
        throw std::runtime_error("no connection on the loopback interface");
}

// Two ends of a connection, made by the library.
struct Pair
{
    Pair()
    {
        require(QV_InitSocket() == QV_OK);
        SOCKADDR_IN address = {};
        int length = sizeof address;
        auto* const name = reinterpret_cast<SOCKADDR*>(&address);
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = QV_HtoNl(INADDR_LOOPBACK);
        const SOCKET listener = QV_Socket(AF_INET, SOCK_STREAM, 0);
        require(QV_Bind(listener, name, length) == QV_OK && QV_Listen(listener, 1) == QV_OK &&
                QV_GetSockName(listener, name, &length) == QV_OK);
        one = QV_Socket(AF_INET, SOCK_STREAM, 0);
        require(QV_Connect(one, name, length) == QV_OK);
        two = QV_Accept(listener, nullptr, nullptr);
        require(two != INVALID_SOCKET);
        QV_CloseSocket(listener);
    }
    ~Pair()
    {
        QV_CloseSocket(one);
        QV_CloseSocket(two);
        QV_DoneSocket();
    }
    SOCKET one = INVALID_SOCKET;
    SOCKET two = INVALID_SOCKET;
};

// The same by the system's own calls.
struct NativePair
{
    NativePair()
    {
        sockaddr_in address = {};
        socklen_t length = sizeof address;
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        require(bind(listener, name, length) == 0 && listen(listener, 1) == 0 &&
                getsockname(listener, name, &length) == 0);
        one = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        require(connect(one, name, length) == 0);
        two = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        require(two >= 0);
        close(listener);
    }
    ~NativePair()
    {
        close(one);
        close(two);
    }
    int one = -1;
    int two = -1;
};

char g_block[block];

void qv_transfer(benchmark::State& state)
{
    const Pair pair;
    for (auto _ : state)
        if (QV_Send(pair.one, g_block, block, 0) != block ||
            QV_Recv(pair.two, g_block, block, 0) != block)
            state.SkipWithError("the transfer failed");
}
BENCHMARK(qv_transfer)->Name("socket/QV_Send");

void bare_transfer(benchmark::State& state)
{
    const NativePair pair;
    for (auto _ : state)
        if (send(pair.one, g_block, block, MSG_NOSIGNAL) != block ||
            recv(pair.two, g_block, block, 0) != block)
            state.SkipWithError("the transfer failed");
}
BENCHMARK(bare_transfer)->Name("socket/send");

void qv_memory(benchmark::State& state)
{
    uint64_t available = 0;
    for (auto _ : state)
        QV_GetMemoryStatus(nullptr, &available, nullptr, nullptr, nullptr, nullptr);
}
BENCHMARK(qv_memory)->Name("memory/QV_GetMemoryStatus");

void qv_uuid(benchmark::State& state)
{
    UUID uuid;
    for (auto _ : state)
        benchmark::DoNotOptimize(QV_Generate_Uuid(&uuid));
}
BENCHMARK(qv_uuid)->Name("uuid/QV_Generate_Uuid");

} // namespace
