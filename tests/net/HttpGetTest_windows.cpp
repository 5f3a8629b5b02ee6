// HttpGetTest_windows.cpp: HttpGet on WinHTTP where the Windows build goes its own way: the
// headers WinHTTP adds to the request, a Content-Length that is no number, and the answer to a
// connection closed before any answer.
#include "HttpGetFixture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using nettest::Always;
using nettest::FailureOf;
using nettest::OkResponse;
using nettest::RecordingListener;
using nettest::ScriptedServer;
using nettest::SteppingClock;
using nettest::Text;
using nettest::Uni;

namespace {

// The header lines of a request, in sorted order.
std::vector<std::string> SortedHeaderLines(const std::string& request) {
    std::vector<std::string> lines;
    size_t start = request.find("\r\n") + 2;
    for (size_t end; (end = request.find("\r\n", start)) != std::string::npos && end > start;
         start = end + 2) {
        lines.push_back(request.substr(start, end - start));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST_F(HttpGetTest, RequestCarriesTheHostTheAgentAndKeepAlive) {
    ScriptedServer server(Always(OkResponse("ok")));
    HttpGet(Uni(server.BaseUrl() + "/check?id=D01"), nullptr);
    ASSERT_EQ(server.Requests().size(), 1u);
    const std::string request = server.Requests()[0];
    EXPECT_EQ(request.substr(0, request.find("\r\n")), "GET /check?id=D01 HTTP/1.1");
    const std::vector<std::string> expected = {"Connection: Keep-Alive",
                                               "Host: 127.0.0.1:" + std::to_string(server.Port()),
                                               "User-Agent: OrvUpdate Monitor/1.0"};
    EXPECT_EQ(SortedHeaderLines(request), expected);
}

TEST_F(HttpGetTest, NonNumericContentLengthGivesTotalZeroAndPercentMinusOne) {
    // The body comes in chunks, so that its end does not hang on the value.
    ScriptedServer server(Always("HTTP/1.1 200 OK\r\nContent-Length: abc\r\n"
                                 "Transfer-Encoding: chunked\r\n\r\n"
                                 "9\r\nsome body\r\n0\r\n\r\n"));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "some body");
    ASSERT_FALSE(listener.progress.empty());
    for (const auto& report : listener.progress) {
        EXPECT_EQ(report.total, 0);
        EXPECT_EQ(report.percent, -1);
    }
    EXPECT_EQ(listener.progress.back().received, 9u);
}

TEST_F(HttpGetTest, ConnectionClosedWithoutAnswerIsAnInvalidResponse) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) { reply.Close(); });
    const auto failure = FailureOf(server.BaseUrl() + "/");
    EXPECT_EQ(failure.text, Text(kMessageNoResponse, "12152"));
    EXPECT_TRUE(failure.runtimeError);
}

}  // namespace
