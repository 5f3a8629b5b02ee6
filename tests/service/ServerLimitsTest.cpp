// ServerLimitsTest.cpp: what the server does with clients that misbehave or linger: over-long
// request lines and headers, idle and slow connections, and the requests that keep-alive and
// pipelining put on one connection; and the health check.
#include "ServiceTestSupport.h"

#include <boost/asio.hpp>
#include <chrono>
#include <httplib.h>
#include <optional>
#include <vector>

namespace servicetest {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

// A connection to the service as raw bytes.
class RawConnection {
public:
    explicit RawConnection(uint16_t port) : socket(context) {
        socket.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), port));
    }

    void Send(const std::string& bytes) { asio::write(socket, asio::buffer(bytes)); }

    // Sends `bytes` while ReadToEnd reads, for more than the two ends' buffers hold.
    void SendWhileReading(std::string bytes) {
        sending = std::move(bytes);
        asio::async_write(socket, asio::buffer(sending),
                          [](boost::system::error_code, std::size_t) {});
    }

    // Everything the service sends until it closes the connection; nothing when it is still open
    // after `limit`, which only turns a hang into a failure.
    std::optional<std::string> ReadToEnd(std::chrono::milliseconds limit) {
        std::string received;
        bool ended = false;
        std::function<void()> readMore;
        std::array<char, 4096> chunk{};
        readMore = [&] {
            socket.async_read_some(asio::buffer(chunk),
                                   [&](boost::system::error_code error, std::size_t count) {
                                       received.append(chunk.data(), count);
                                       if (error) {
                                           ended = true;
                                       } else {
                                           readMore();
                                       }
                                   });
        };
        readMore();
        context.restart();
        context.run_for(limit);
        if (!ended) {
            socket.cancel();
            context.restart();
            context.run();
            return std::nullopt;
        }
        return received;
    }

private:
    asio::io_context context;
    tcp::socket socket;
    std::string sending;
};

constexpr std::chrono::seconds kLimit{20};

class ServiceLimitsTest : public ServiceTest {
protected:
    void StartWithRequestTimeout(int seconds) {
        orvservice::ServiceOptions options;
        options.requestTimeoutSeconds = seconds;
        StartService(DefaultCatalog(), options);
    }
};

TEST_F(ServiceLimitsTest, OverLongRequestLineIsAnswered414AndTheConnectionClosed) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("GET /check?id=" + std::string(9000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 414 ", 0), 0u) << *answer;
    EXPECT_NE(answer->find("Connection: close\r\n"), std::string::npos) << *answer;
}

TEST_F(ServiceLimitsTest, OverLongHeaderIsAnswered431AndTheConnectionClosed) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("GET /healthz HTTP/1.1\r\nHost: x\r\nX-Long: " + std::string(9000, 'b') +
                    "\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 431 ", 0), 0u) << *answer;
}

TEST_F(ServiceLimitsTest, HeaderLineLongerThanManyReadsIsAnswered431) {
    StartService();
    RawConnection connection(service->Port());
    // The request line goes first, on its own, so that the parser is past it before the header
    // line comes; then a header line as long as several reads of the server.
    connection.Send("GET /healthz HTTP/1.1\r\nHost: x\r\n");
    connection.Send("X-Long: " + std::string(64 * 1024, 'c') + "\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 431 ", 0), 0u) << answer->substr(0, 40);
}

TEST_F(ServiceLimitsTest, WhatIsNoHttpIsAnswered400AndTheConnectionClosed) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("HELLO THERE\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 400 ", 0), 0u) << *answer;
}

TEST_F(ServiceLimitsTest, IdleConnectionIsClosedAfterTheRequestTimeoutWithoutAnAnswer) {
    StartWithRequestTimeout(1);
    RawConnection connection(service->Port());
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the idle connection stayed open";
    EXPECT_EQ(*answer, "");
}

TEST_F(ServiceLimitsTest, SlowClientIsClosedAfterTheRequestTimeoutWithoutAnAnswer) {
    StartWithRequestTimeout(1);
    RawConnection connection(service->Port());
    connection.Send("GET /check?id=D01&ver");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the slow connection stayed open";
    EXPECT_EQ(*answer, "");
}

TEST_F(ServiceLimitsTest, KeepAliveConnectionIsClosedAfterTheRequestTimeoutOnceAnswered) {
    StartWithRequestTimeout(1);
    RawConnection connection(service->Port());
    connection.Send("GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 200 ", 0), 0u) << *answer;
    EXPECT_EQ(answer->find("Connection: close"), std::string::npos) << "kept alive till then";
}

TEST_F(ServiceLimitsTest, SlowAndIdleClientsDoNotKeepAGoodClientWaiting) {
    // Long enough that they all stay for the whole test.
    StartWithRequestTimeout(3600);
    std::vector<std::unique_ptr<RawConnection>> lingering;
    for (int i = 0; i < 50; ++i) {
        lingering.push_back(std::make_unique<RawConnection>(service->Port()));
        auto slow = std::make_unique<RawConnection>(service->Port());
        slow->Send("GET /check?id=D01&version=1.0 HTTP/1.1\r\nHost: x\r\n");
        lingering.push_back(std::move(slow));
    }
    httplib::Client client("127.0.0.1", service->Port());
    client.set_read_timeout(std::chrono::seconds(kLimit));
    const auto res = client.Get("/check?id=D01&version=2.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(service->AcceptedConnections(), 101);
}

TEST_F(ServiceLimitsTest, PipelinedRequestsAreAnsweredInTheirOrderOnOneConnection) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("GET /check?id=W01&version=1.0&format=json HTTP/1.1\r\nHost: x\r\n\r\n"
                    "GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer);
    const std::size_t first = answer->find("\"version\":\"1.5\"");
    const std::size_t second = answer->find("ok\n");
    EXPECT_NE(first, std::string::npos) << *answer;
    EXPECT_NE(second, std::string::npos) << *answer;
    EXPECT_LT(first, second) << *answer;
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

TEST_F(ServiceLimitsTest, ManyPipelinedRequestsAtOnceAreAllAnswered) {
    StartService();
    RawConnection connection(service->Port());
    // Far more requests than one read takes in or the two ends' buffers hold, with answers that
    // leave at once and answers that wait for the client to read.
    constexpr int kRequests = 20000;
    std::string requests;
    for (int i = 1; i < kRequests; ++i) {
        requests += "GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n";
    }
    requests += "GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
    connection.SendWhileReading(requests);
    const auto answer = connection.ReadToEnd(std::chrono::seconds(60));
    ASSERT_TRUE(answer) << "the connection stayed open";
    int answers = 0;
    for (std::size_t at = answer->find("HTTP/1.1 200 OK\r\n"); at != std::string::npos;
         at = answer->find("HTTP/1.1 200 OK\r\n", at + 1)) {
        ++answers;
    }
    EXPECT_EQ(answers, kRequests);
}

TEST_F(ServiceLimitsTest, Http10RequestWithoutKeepAliveIsAnsweredAndClosed) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("GET /healthz HTTP/1.0\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer) << "the connection stayed open";
    EXPECT_EQ(answer->rfind("HTTP/1.1 200 ", 0), 0u) << *answer;
    EXPECT_NE(answer->find("\r\n\r\nok\n"), std::string::npos) << *answer;
}

TEST_F(ServiceLimitsTest, HealthCheckAnswersOk) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/healthz");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, "ok\n");
}

TEST_F(ServiceLimitsTest, HeadAnswersTheLengthWithoutTheBody) {
    StartService();
    RawConnection connection(service->Port());
    connection.Send("HEAD /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    const auto answer = connection.ReadToEnd(kLimit);
    ASSERT_TRUE(answer);
    EXPECT_NE(answer->find("Content-Length: 3\r\n"), std::string::npos) << *answer;
    EXPECT_EQ(answer->substr(answer->size() - 4), "\r\n\r\n") << *answer;
}

}  // namespace
}  // namespace servicetest
