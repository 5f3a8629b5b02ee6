// HttpGetTest_linux.cpp: HttpGet on libcurl where the Linux build goes its own way: the proxy
// from the environment, the memory a large body takes, the exact request, and the answers that
// wine's WinHTTP, on which the Windows tests run, gives otherwise (an informational answer, a
// redirect without a target, a connection cut short, an empty host, a closed session).
#include "HttpGetFixture.h"

#include <cstddef>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <regex>
#include <string>

using nettest::Always;
using nettest::FailureOf;
using nettest::OkResponse;
using nettest::RecordingListener;
using nettest::ScopedEnvironment;
using nettest::ScriptedServer;
using nettest::SteppingClock;
using nettest::Text;
using nettest::Uni;

namespace {

// The most memory this process has held since the peak was last reset, in bytes.
size_t PeakResidentBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stoul(line.substr(6)) * 1024;
    }
    return 0;
}

// Starts the peak over from what the process holds now.
bool ResetPeakResident() {
    std::ofstream control("/proc/self/clear_refs");
    control << "5";
    control.close();
    return !control.fail();
}

// ---- The status ----

TEST_F(HttpGetTest, RedirectWithoutLocationIsTheFinalStatus) {
    ScriptedServer server(Always("HTTP/1.1 302 Found\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text, Text(kMessageUnexpectedStatus, "302"));
}

TEST_F(HttpGetTest, InformationalAnswerIsPassedOver) {
    ScriptedServer server(Always("HTTP/1.1 100 Continue\r\n\r\n" + OkResponse("body")));
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "body");
}

// ---- Content-Length ----

TEST_F(HttpGetTest, NonNumericContentLengthIsAnInvalidResponse) {
    // libcurl refuses such a response before any header reaches the caller.
    ScriptedServer server(Always("HTTP/1.1 200 OK\r\nContent-Length: abc\r\n\r\nsome body"));
    RecordingListener listener;
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/", &listener).text, Text(kMessageNoResponse, "12152"));
    EXPECT_TRUE(listener.calls.empty());
}

// ---- Memory ----

TEST_F(HttpGetTest, HugeDeclaredLengthReservesAtMostSixteenMiBAhead) {
    // Almost 2 GB declared, four bytes sent.
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: 2000000000\r\n\r\nbody");
        reply.Close();
    });
    // The session and its libraries are set up first, so that the exchange alone is measured.
    ScriptedServer warmUp(Always(OkResponse("ok")));
    ASSERT_EQ(HttpGet(Uni(warmUp.BaseUrl() + "/"), nullptr), "ok");
    ASSERT_TRUE(ResetPeakResident());
    const size_t before = PeakResidentBytes();
    ASSERT_GT(before, 0u);
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/check").text, "Failed to read response: 12030");
    // 16 MiB of room at most, and the allocator's own.
    EXPECT_LT(PeakResidentBytes() - before, size_t{24} << 20);
}

// ---- Failures ----

TEST_F(HttpGetTest, ConnectionClosedWithoutAnswerFailsTheResponse) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) { reply.Close(); });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text, Text(kMessageNoResponse, "12030"));
}

TEST_F(HttpGetTest, ConnectionClosedInTheHeadersFailsTheResponse) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Len");
        reply.Close();
    });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text, Text(kMessageNoResponse, "12030"));
}

TEST_F(HttpGetTest, ConnectionClosedMidBodyFailsTheRead) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + std::string(30000, 'x'));
        reply.Close();
    });
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    const auto failure = FailureOf(server.BaseUrl() + "/", &listener);
    EXPECT_EQ(failure.text, "Failed to read response: 12030");
    EXPECT_TRUE(failure.runtimeError);
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.back().total, 100000);
}

TEST_F(HttpGetTest, EmptyHostFailsTheConnection) {
    EXPECT_EQ(FailureOf("http:///a").text, "Failed to create connection handle: 87");
    EXPECT_EQ(FailureOf("").text, "Failed to create connection handle: 87");
}

// ---- The request and the session ----

TEST_F(HttpGetTest, RequestCarriesTheHostAndTheAgentAndNothingElse) {
    ScriptedServer server(Always(OkResponse("ok")));
    HttpGet(Uni(server.BaseUrl() + "/check?id=D01"), nullptr);
    ASSERT_EQ(server.Requests().size(), 1u);
    EXPECT_EQ(server.Requests()[0], "GET /check?id=D01 HTTP/1.1\r\n"
                                    "Host: 127.0.0.1:" +
                                        std::to_string(server.Port()) +
                                        "\r\n"
                                        "User-Agent: OrvUpdate Monitor/1.0\r\n"
                                        "\r\n");
}

TEST_F(HttpGetTest, ClosedSessionOpensANewConnection) {
    ScriptedServer server(Always(OkResponse("kept")));
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "kept");
    CloseHttpSession();
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "kept");
    EXPECT_EQ(server.AcceptedConnections(), 2);
}

// ---- Port and scheme, seen through a proxy that shows the whole request URL ----

class HttpGetProxyTest : public HttpGetTest {
protected:
    // The request line a proxy receives for `url`.
    std::string RequestLineFor(const std::string& url) {
        ScriptedServer proxy([](const std::string&, ScriptedServer::Reply& reply) {
            reply.Send("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
        });
        const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy.Port());
        ScopedEnvironment noProxyOff("no_proxy", std::nullopt);
        ScopedEnvironment noProxyUpperOff("NO_PROXY", std::nullopt);
        ScopedEnvironment http("http_proxy", proxyUrl);
        ScopedEnvironment https("https_proxy", proxyUrl);
        FailureOf(url);
        CloseHttpSession();
        const auto requests = proxy.Requests();
        return requests.empty() ? "" : requests[0].substr(0, requests[0].find("\r\n"));
    }
};

TEST_F(HttpGetProxyTest, HostWithoutPathGoesToPort80) {
    EXPECT_TRUE(std::regex_match(RequestLineFor("http://host"),
                                 std::regex("GET http://host(:80)?/ HTTP/1.1")));
}

TEST_F(HttpGetProxyTest, UrlWithoutSchemeGoesToPort80) {
    EXPECT_TRUE(
        std::regex_match(RequestLineFor("host/a"), std::regex("GET http://host(:80)?/a HTTP/1.1")));
}

TEST_F(HttpGetProxyTest, NonNumericPortGoesToTheSchemesPort) {
    EXPECT_TRUE(std::regex_match(RequestLineFor("http://host:abc/"),
                                 std::regex("GET http://host(:80)?/ HTTP/1.1")));
    EXPECT_EQ(RequestLineFor("https://host:abc/"), "CONNECT host:443 HTTP/1.1");
}

TEST_F(HttpGetProxyTest, PortAndSecureFlagAreDecidedIndependently) {
    EXPECT_EQ(RequestLineFor("http://host:443/a"), "GET http://host:443/a HTTP/1.1");
    EXPECT_EQ(RequestLineFor("https://host:80/a"), "CONNECT host:80 HTTP/1.1");
    EXPECT_EQ(RequestLineFor("https://host:8443/a"), "CONNECT host:8443 HTTP/1.1");
    // Only "https" exactly is secure.
    EXPECT_EQ(RequestLineFor("HTTPS://host:8443/a"), "GET http://host:8443/a HTTP/1.1");
    EXPECT_EQ(RequestLineFor("ftp://host:21/a"), "GET http://host:21/a HTTP/1.1");
}

TEST_F(HttpGetProxyTest, ProxyStatusIsTheStatus) {
    ScriptedServer proxy(
        Always("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n"));
    ScopedEnvironment noProxyOff("no_proxy", std::nullopt);
    ScopedEnvironment noProxyUpperOff("NO_PROXY", std::nullopt);
    ScopedEnvironment http("http_proxy", "http://127.0.0.1:" + std::to_string(proxy.Port()));
    EXPECT_EQ(FailureOf("http://host/").text, Text(kMessageUnexpectedStatus, "407"));
}

TEST_F(HttpGetProxyTest, TunnelThroughProxyIsNotTheAnswer) {
    // The proxy opens the tunnel and closes it: the secure handshake fails, and the proxy's own
    // answer is never taken for the server's.
    ScriptedServer proxy([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 Connection established\r\n\r\n");
        reply.Close();
    });
    ScopedEnvironment noProxyOff("no_proxy", std::nullopt);
    ScopedEnvironment noProxyUpperOff("NO_PROXY", std::nullopt);
    ScopedEnvironment https("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.Port()));
    EXPECT_EQ(FailureOf("https://host/").text, "Failed to send request: 12175");
}

TEST_F(HttpGetProxyTest, RefusedTunnelStatusIsTheStatus) {
    ScriptedServer proxy(
        Always("HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n"));
    ScopedEnvironment noProxyOff("no_proxy", std::nullopt);
    ScopedEnvironment noProxyUpperOff("NO_PROXY", std::nullopt);
    ScopedEnvironment https("https_proxy", "http://127.0.0.1:" + std::to_string(proxy.Port()));
    const auto failure = FailureOf("https://host/");
    EXPECT_EQ(failure.text, Text(kMessageUnexpectedStatus, "407"));
    EXPECT_FALSE(failure.runtimeError);
}

}  // namespace
