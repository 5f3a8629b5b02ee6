// HttpGetTest_linux.cpp: HttpGet on libcurl where the Linux build goes its own way: the proxy
// from the environment, the memory a large body takes, the exact request, and the answers that
// wine's WinHTTP, on which the Windows tests run, gives otherwise (an informational answer, a
// redirect without a target, a connection cut short, an empty host, a closed session).
#include "HttpGetFixture.h"

#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
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

constexpr size_t kPage = 4096;

// How much of the room made for a body of `declared` bytes is mapped: the resident part of the
// process's one mapping of about that size, 0 when it has none.
size_t MappedOfTheRoom(size_t declared) {
    std::ifstream maps("/proc/self/smaps");
    size_t mapped = 0;
    bool inRoom = false;
    for (std::string line; std::getline(maps, line);) {
        // A mapping begins with its addresses ("start-end perms ..."), its figures with a name.
        if (!line.empty() && std::isupper(static_cast<unsigned char>(line[0])) == 0 &&
            std::isxdigit(static_cast<unsigned char>(line[0])) != 0) {
            size_t dash = 0;
            const unsigned long long start = std::stoull(line, &dash, 16);
            const unsigned long long end = std::stoull(line.substr(dash + 1), nullptr, 16);
            // The advice on large pages sets the room's whole pages apart from its ends.
            const unsigned long long size = end - start;
            inRoom = size + 2 * kPage >= declared && size < declared + (size_t{64} << 20);
        } else if (inRoom && line.rfind("Rss:", 0) == 0) {
            mapped += std::stoul(line.substr(4)) * 1024;
        }
    }
    return mapped;
}

// Hears the thread that maps a large body's pages each time it has caught up with the bytes so
// far, for as long as it lives.
class MappedAheadEvents {
public:
    MappedAheadEvents() {
        Latest() = 0;
        SetMappedAheadObserver(&Heard);
    }
    ~MappedAheadEvents() { SetMappedAheadObserver(nullptr); }
    MappedAheadEvents(const MappedAheadEvents&) = delete;
    MappedAheadEvents& operator=(const MappedAheadEvents&) = delete;

    // Waits until the thread has caught up with at least `least` bytes mapped. The limit only
    // turns a hang into a failure.
    bool WaitFor(size_t least) {
        std::unique_lock<std::mutex> lock(Mutex());
        return Changed().wait_for(lock, std::chrono::seconds(60),
                                  [least] { return Latest() >= least; });
    }

private:
    static void Heard(size_t mapped) {
        {
            const std::lock_guard<std::mutex> lock(Mutex());
            Latest() = mapped;
        }
        Changed().notify_all();
    }
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static std::condition_variable& Changed() {
        static std::condition_variable changed;
        return changed;
    }
    static size_t& Latest() {
        static size_t latest = 0;
        return latest;
    }
};

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

// How much of a body's room is mapped while a server that declared almost 2 GB and sent `sent`
// bytes of it keeps the connection open, once the mapping has caught up with `caughtUpAt`.
size_t MappedWhileAHugeBodyStalls(size_t sent, size_t caughtUpAt) {
    constexpr size_t declared = 2000000000;
    MappedAheadEvents events;
    size_t mapped = 0;
    ScriptedServer server([&](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(declared) + "\r\n\r\n" +
                   std::string(sent, 'x'));
        EXPECT_TRUE(events.WaitFor(caughtUpAt)) << "the mapping never caught up";
        mapped = MappedOfTheRoom(declared);
        reply.Close();
    });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/check").text, "Failed to read response: 12030");
    // What the thread said it mapped is in the room, whose first and last part pages may stay.
    EXPECT_GE(mapped + 2 * kPage, caughtUpAt);
    return mapped;
}

// The room is made for the whole declared size, which costs address space only; its pages are
// mapped a step ahead of the bytes, in large pages of 2 MiB.
TEST_F(HttpGetTest, HugeDeclaredLengthMapsAtMostSixteenMiBAhead) {
    EXPECT_LE(MappedWhileAHugeBodyStalls(4, size_t{16} << 20), size_t{18} << 20);
}

TEST_F(HttpGetTest, HugeDeclaredLengthMapsAtMostFourTimesWhatArrivedAhead) {
    // The allowance grows as the bytes arrive, half a MiB at a time at most: once it has caught
    // up with 8 MiB, the thread has mapped at least 30 MiB.
    EXPECT_LE(MappedWhileAHugeBodyStalls(size_t{8} << 20, size_t{30} << 20), size_t{34} << 20);
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
