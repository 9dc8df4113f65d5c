// A real exchange with a server from the packages, also over transfers that move few bytes at once.
#include <csignal>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <plinth_platform_test.h>
#include <plinth_w32_system.h>

#include "support/environment.h"
#include "support/loopback.h"
#include "support/needs.h"

using namespace test;

namespace
{

// Serves a folder on a free port of the loopback interface until the scope ends.
class HttpServer
{
public:
    explicit HttpServer(const std::string& folder)
        // The shell's own number stays the server's: it becomes the server.
        : m_output(
              popen(("echo $$; exec python3 -u -m http.server 0 --bind 127.0.0.1 --directory '" +
                     folder + "' 2>/dev/null")
                        .c_str(),
                    "r"))
    {
        if (!m_output || std::fscanf(m_output, "%d", &m_process) != 1)
            return;
        unsigned port = 0;
        if (std::fscanf(m_output, " Serving HTTP on 127.0.0.1 port %u", &port) == 1)
            m_port = static_cast<USHORT>(port);
    }
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer()
    {
        if (m_process > 0)
            ::kill(m_process, SIGKILL);
        if (m_output)
            pclose(m_output);
    }
    USHORT port() const { return m_port; }

private:
    FILE* m_output = nullptr;
    int m_process = 0;
    USHORT m_port = 0; // 0: it did not come up
};

// The whole answer to a request, until the server ends the connection.
std::string ask(USHORT port, const std::string& request)
{
    Socket s(SOCK_STREAM);
    const SOCKADDR_IN to = loopback(port);
    if (QV_Connect(s, generic(to), sizeof to) != QV_OK)
        return "no connection: " + std::to_string(WSAGetLastError());
    if (QV_Send(s, request.data(), static_cast<int>(request.size()), 0) !=
        static_cast<int>(request.size()))
        return "not all was sent";
    std::string answer;
    char block[4096];
    int got = 0;
    while ((got = QV_Recv(s, block, sizeof block, 0)) > 0)
        answer.append(block, static_cast<size_t>(got));
    return got == 0 ? answer : "broken off: " + std::to_string(WSAGetLastError());
}

TEST(Http, AFileComesWhole)
{
    const Sockets sockets;
    needs_program("python3", "python3");
    const std::string folder = make_folder("www");
    std::string page;
    for (int i = 0; i < 30'000; ++i)
        page += "line " + std::to_string(i) + "\n";
    write_file(folder + "/page.txt", page);
    const HttpServer server(folder);
    ASSERT_NE(server.port(), 0) << "python3 -m http.server did not start";
    const std::string request = "GET /page.txt HTTP/1.0\r\nHost: localhost\r\n\r\n";
    for (const bool in_pieces : {false, true})
    {
        if (in_pieces)
        {
            PlinthTestShorten("send", 1, 0, 7);
            PlinthTestShorten("recv", 1, 0, 1'001);
        }
        const std::string answer = ask(server.port(), request);
        PlinthTestReset();
        EXPECT_EQ(answer.substr(9, 6), "200 OK");
        const size_t head = answer.find("\r\n\r\n");
        ASSERT_NE(head, std::string::npos);
        EXPECT_TRUE(answer.substr(head + 4) == page) << "the body's " << answer.size() << " bytes";
    }
    EXPECT_EQ(ask(server.port(), "GET /none HTTP/1.0\r\n\r\n").substr(9, 3), "404");
}

} // namespace
