// HttpGetTest.cpp: HttpGet against a scripted raw server, as it behaves on every platform: the
// status, the headers it reads, the progress it reports, the failures and their texts, and
// connection reuse. What one platform's client does its own way is in HttpGetTest_linux.cpp and
// HttpGetTest_windows.cpp.
#include "HttpGetFixture.h"

#include <gtest/gtest.h>
#include <string>

using nettest::Always;
using nettest::FailureOf;
using nettest::OkResponse;
using nettest::RecordingListener;
using nettest::ScriptedServer;
using nettest::SteppingClock;
using nettest::Text;
using nettest::TimeoutErrorNumber;
using nettest::Uni;

namespace {

// ---- The body ----

TEST_F(HttpGetTest, GoodAnswerReturnsTheBody) {
    ScriptedServer server(Always(OkResponse("hello")));
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/a?b=1"), nullptr), "hello");
    ASSERT_EQ(server.Requests().size(), 1u);
    const std::string request = server.Requests()[0];
    EXPECT_EQ(request.substr(0, request.find("\r\n")), "GET /a?b=1 HTTP/1.1");
    EXPECT_NE(request.find("\r\nUser-Agent: OrvUpdate Monitor/1.0\r\n"), std::string::npos);
}

TEST_F(HttpGetTest, OneByteBodyFailsAndTwoBytesSucceed) {
    ScriptedServer one(Always(OkResponse("x")));
    const auto query = FailureOf(one.BaseUrl() + "/check");
    EXPECT_TRUE(query.thrown);
    EXPECT_EQ(query.text, Text(kMessageInvalidObject));
    EXPECT_FALSE(query.runtimeError);
    RecordingListener listener;
    const auto download = FailureOf(one.BaseUrl() + "/files/a.zip", &listener);
    EXPECT_EQ(download.text, Text(kMessageInvalidObject));
    EXPECT_FALSE(download.runtimeError);

    ScriptedServer two(Always(OkResponse("xy")));
    EXPECT_EQ(HttpGet(Uni(two.BaseUrl() + "/check"), nullptr), "xy");
    EXPECT_EQ(HttpGet(Uni(two.BaseUrl() + "/files/a.zip"), &listener), "xy");
}

TEST_F(HttpGetTest, EmptyBodyFails) {
    ScriptedServer server(Always(OkResponse("")));
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text, Text(kMessageInvalidObject));
}

TEST_F(HttpGetTest, ChunkedBodyIsGathered) {
    ScriptedServer server(Always("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                 "3\r\nabc\r\n4\r\ndefg\r\n0\r\n\r\n"));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "abcdefg");
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.back().received, 7u);
    EXPECT_EQ(listener.progress.back().total, -1);
}

// ---- The status ----

TEST_F(HttpGetTest, StatusOtherThan200FailsBeforeTheBodyIsRead) {
    for (const int status : {404, 500, 201, 204}) {
        ScriptedServer server(Always("HTTP/1.1 " + std::to_string(status) +
                                     " No\r\nContent-Length: 4\r\nContent-Disposition: "
                                     "attachment; filename=a.zip\r\n\r\nbody"));
        RecordingListener listener;
        SteppingClock clock(1'000'000);
        const auto failure = FailureOf(server.BaseUrl() + "/", &listener);
        EXPECT_EQ(failure.text, Text(kMessageUnexpectedStatus, std::to_string(status)));
        // A plain std::exception, not a runtime_error.
        EXPECT_FALSE(failure.runtimeError);
        EXPECT_TRUE(listener.calls.empty());
    }
}

TEST_F(HttpGetTest, RedirectIsFollowed) {
    ScriptedServer server([](const std::string& request, ScriptedServer::Reply& reply) {
        if (request.rfind("GET /old ", 0) == 0)
            reply.Send("HTTP/1.1 302 Found\r\nLocation: /new\r\nContent-Length: 3\r\n\r\nold");
        else
            reply.Send(OkResponse("new body"));
    });
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/old"), nullptr), "new body");
    EXPECT_EQ(server.Requests().size(), 2u);
}

TEST_F(HttpGetTest, TenRedirectsAreFollowedAndTheEleventhFails) {
    // /r/N redirects to /r/N-1; /r/0 answers.
    ScriptedServer server([](const std::string& request, ScriptedServer::Reply& reply) {
        const std::string path = request.substr(4, request.find(' ', 4) - 4);
        const int n = std::stoi(path.substr(3));
        if (n == 0)
            reply.Send(OkResponse("done"));
        else
            reply.Send("HTTP/1.1 302 Found\r\nLocation: /r/" + std::to_string(n - 1) +
                       "\r\nContent-Length: 0\r\n\r\n");
    });
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/r/10"), nullptr), "done");
    const auto failure = FailureOf(server.BaseUrl() + "/r/11");
    EXPECT_EQ(failure.text, Text(kMessageNoResponse, "12156"));
    EXPECT_TRUE(failure.runtimeError);
}

// ---- Content-Length and the progress ----

TEST_F(HttpGetTest, ProgressReportsReceivedTotalAndPercent) {
    const std::string body(20000, 'b');
    ScriptedServer server(Always(OkResponse(body)));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), body);
    ASSERT_GE(listener.progress.size(), 4u);  // three blocks at least, and the final empty read
    uint32_t previous = 0;
    for (const auto& report : listener.progress) {
        EXPECT_LE(report.received - previous, 8192u);
        EXPECT_EQ(report.total, 20000);
        EXPECT_EQ(report.percent, static_cast<int32_t>(report.received * 100 / 20000));
        previous = report.received;
    }
    // The final empty read is reported too.
    const auto& last = listener.progress[listener.progress.size() - 1];
    const auto& beforeLast = listener.progress[listener.progress.size() - 2];
    EXPECT_EQ(last.received, 20000u);
    EXPECT_EQ(beforeLast.received, 20000u);
    EXPECT_EQ(last.percent, 100);
}

TEST_F(HttpGetTest, NothingIsReportedInTheFirstFiftyMilliseconds) {
    const std::string body(20000, 'b');
    ScriptedServer server(
        Always(OkResponse(body, "Content-Disposition: attachment; filename=a\r\n")));
    {
        // Every reading of the clock is 1 ms later than the one before: the start time is read
        // once, so the reports begin after the 50th reading.
        RecordingListener listener;
        SteppingClock clock(1000);
        EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), body);
        EXPECT_TRUE(listener.progress.empty());
        EXPECT_EQ(listener.calls, std::vector<std::string>{"name"});
    }
    {
        // 30 ms a reading: the first block comes 30 ms after the start and is not reported, the
        // second comes 60 ms after it, and it and every later read are reported. The start and
        // each read take one reading of the clock.
        RecordingListener listener;
        SteppingClock clock(30000);
        EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), body);
        const uint64_t reads = clock.Readings() - 1;
        ASSERT_GE(reads, 3u);
        EXPECT_EQ(listener.progress.size(), reads - 1);
        EXPECT_EQ(listener.calls.front(), "name");
        EXPECT_EQ(listener.progress.back().received, body.size());
    }
}

TEST_F(HttpGetTest, NoListenerNoReports) {
    ScriptedServer server(Always(OkResponse(std::string(10000, 'z'))));
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr).size(), 10000u);
}

TEST_F(HttpGetTest, MissingContentLengthGivesTotalAndPercentMinusOne) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nsome body");
        reply.Close();
    });
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "some body");
    ASSERT_FALSE(listener.progress.empty());
    for (const auto& report : listener.progress) {
        EXPECT_EQ(report.total, -1);
        EXPECT_EQ(report.percent, -1);
    }
}

TEST_F(HttpGetTest, ContentLengthIsReadAsADecimalNumber) {
    // Text that is no number gives 0, and with it percent -1; a leading number is taken.
    EXPECT_EQ(ContentLengthTotal(u"abc"), 0);
    EXPECT_EQ(ContentLengthTotal(u""), 0);
    EXPECT_EQ(ContentLengthTotal(std::nullopt), -1);
    EXPECT_EQ(ContentLengthTotal(u"12abc"), 12);
    EXPECT_EQ(ProgressPercent(100, 0), -1);
    EXPECT_EQ(ProgressPercent(100, -1), -1);
    EXPECT_EQ(ProgressPercent(50, 200), 25);

    // On the wire, "4abc" promises 4 bytes.
    ScriptedServer leading(Always("HTTP/1.1 200 OK\r\nContent-Length: 4abc\r\n\r\nbody"));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(leading.BaseUrl() + "/"), &listener), "body");
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.back().total, 4);
}

TEST_F(HttpGetTest, ContentLengthKeepsOnlyTheLowThirtyTwoBits) {
    // Content-Length 4294967298 is 2 in its low 32 bits; the body is cut there by the server.
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: 4294967298\r\n\r\nab");
        reply.Close();
    });
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    FailureOf(server.BaseUrl() + "/", &listener);
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.front().total, 2);
    EXPECT_EQ(listener.progress.front().percent, 100);
}

TEST_F(HttpGetTest, PercentWrapsInThirtyTwoBitsAboveTwentyOneMillionBytes) {
    EXPECT_EQ(ProgressPercent(21'474'836, 21'474'836), 100);
    EXPECT_EQ(ProgressPercent(21'474'837, 21'474'837),
              static_cast<int32_t>(2147483700u) / 21474837);
    EXPECT_EQ(ProgressPercent(4'294'967'295u, 1), -100);

    const uint32_t size = 22'000'000;
    ScriptedServer server(Always(OkResponse(std::string(size, 'p'))));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener).size(), size);
    const auto& last = listener.progress.back();
    EXPECT_EQ(last.received, size);
    // 2 200 000 000 wraps to -2 094 967 296 in 32 bits.
    EXPECT_EQ(last.percent, -2094967296 / 22000000);
    EXPECT_LT(last.percent, 0);
}

TEST_F(HttpGetTest, OverlongContentLengthCountsAsAbsent) {
    // The value must fit a 1024-byte buffer as terminated UTF-16 text: 511 characters do.
    const std::string fits = std::string(508, '0') + "300";
    const std::string tooLong = std::string(509, '0') + "300";
    ASSERT_EQ(fits.size(), 511u);
    for (const auto& [value, total] : {std::pair{fits, 300}, std::pair{tooLong, -1}}) {
        const std::string value_ = value;
        ScriptedServer server([value_](const std::string&, ScriptedServer::Reply& reply) {
            reply.Send("HTTP/1.1 200 OK\r\nContent-Length: " + value_ + "\r\n\r\n" +
                       std::string(300, 'c'));
        });
        RecordingListener listener;
        SteppingClock clock(1'000'000);
        EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener).size(), 300u);
        ASSERT_FALSE(listener.progress.empty());
        EXPECT_EQ(listener.progress.back().total, total);
    }
}

// ---- Content-Disposition ----

TEST_F(HttpGetTest, FileNameIsToldBeforeTheFirstBlock) {
    ScriptedServer server(Always(
        OkResponse("zipdata", "Content-Disposition: attachment; filename*=UTF-8''a%20b.zip\r\n")));
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "zipdata");
    ASSERT_EQ(listener.names.size(), 1u);
    EXPECT_EQ(listener.names[0], u"a b.zip");
    EXPECT_EQ(listener.calls.front(), "name");
}

TEST_F(HttpGetTest, DispositionWithoutFileNameStillTellsAnEmptyName) {
    ScriptedServer server(Always(OkResponse("zipdata", "Content-Disposition: attachment\r\n")));
    RecordingListener listener;
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "zipdata");
    ASSERT_EQ(listener.names.size(), 1u);
    EXPECT_EQ(listener.names[0], u"");
}

TEST_F(HttpGetTest, WithoutDispositionNoNameIsTold) {
    ScriptedServer server(Always(OkResponse("zipdata")));
    RecordingListener listener;
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "zipdata");
    EXPECT_TRUE(listener.names.empty());
}

TEST_F(HttpGetTest, OverlongDispositionCountsAsAbsent) {
    // "attachment; filename=" is 21 characters; the value fits up to 511.
    const std::string fits = "attachment; filename=" + std::string(490, 'n');
    const std::string tooLong = fits + "n";
    for (const auto& [value, told] : {std::pair{fits, true}, std::pair{tooLong, false}}) {
        ScriptedServer server(
            Always(OkResponse("zipdata", "Content-Disposition: " + value + "\r\n")));
        RecordingListener listener;
        EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), &listener), "zipdata");
        EXPECT_EQ(listener.names.size(), told ? 1u : 0u) << value.size();
        if (told) {
            EXPECT_EQ(listener.names[0], WString(490, u'n'));
        }
    }
}

TEST_F(HttpGetTest, DispositionHeaderIsReadInTheWindowsCodePage) {
    // The byte 0x8A is "Š" in Windows-1250; a quoted plain name keeps its quotes.
    ScriptedServer server(Always(
        OkResponse("zipdata", "Content-Disposition: attachment; filename=\"\x8A.zip\"\r\n")));
    RecordingListener listener;
    HttpGet(Uni(server.BaseUrl() + "/"), &listener);
    ASSERT_EQ(listener.names.size(), 1u);
    EXPECT_EQ(listener.names[0], u"\"\u0160.zip\"");
}

TEST_F(HttpGetTest, ListenerFailurePropagates) {
    struct Throwing final : GetProgressListener {
        void OnProgress(uint32_t, int32_t, int32_t) override {}
        void OnFileName(const GS::UniString&) override {
            throw std::logic_error("listener says no");
        }
    } listener;
    ScriptedServer server(Always(OkResponse("zipdata", "Content-Disposition: attachment\r\n")));
    EXPECT_THROW(HttpGet(Uni(server.BaseUrl() + "/"), &listener), std::logic_error);
    // The handle is still usable.
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "zipdata");
}

// ---- Failures ----

TEST_F(HttpGetTest, BrokenStatusLineIsAnInvalidResponse) {
    ScriptedServer server(Always("HTTP/1.1 abc\r\n\r\nbody"));
    const auto failure = FailureOf(server.BaseUrl() + "/");
    EXPECT_EQ(failure.text, Text(kMessageNoResponse, "12152"));
    EXPECT_TRUE(failure.runtimeError);
}

TEST_F(HttpGetTest, AnswerWithoutStatusLineIsAnInvalidResponse) {
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("just bytes\r\n");
        reply.Close();
    });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text, Text(kMessageNoResponse, "12152"));
}

// The server of these tests stays silent until the test is done with it, so a failure can only
// be the client giving up on its own.
TEST_F(HttpGetTest, ServerSilentBeforeTheAnswerTimesOutTheResponse) {
    SetHttpTimeouts({5000, 300});
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) { reply.Hold(); });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text,
              Text(kMessageNoResponse, std::to_string(TimeoutErrorNumber())));
    EXPECT_EQ(server.ExpiredHolds(), 0) << "the server was still silent when the client gave up";
}

TEST_F(HttpGetTest, ServerSilentMidBodyTimesOutTheRead) {
    SetHttpTimeouts({5000, 300});
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
        reply.Hold();
    });
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text,
              "Failed to read response: " + std::to_string(TimeoutErrorNumber()));
    EXPECT_EQ(server.ExpiredHolds(), 0) << "the server was still silent when the client gave up";
}

TEST_F(HttpGetTest, ServerSilentOnAReusedConnectionTimesOutTheResponse) {
    SetHttpTimeouts({5000, 300});
    int count = 0;
    ScriptedServer server([&count](const std::string&, ScriptedServer::Reply& reply) {
        if (count++ == 0)
            reply.Send(OkResponse("first"));
        else
            reply.Hold();
    });
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "first");
    EXPECT_EQ(FailureOf(server.BaseUrl() + "/").text,
              Text(kMessageNoResponse, std::to_string(TimeoutErrorNumber())));
    EXPECT_EQ(server.AcceptedConnections(), 1);
    EXPECT_EQ(server.ExpiredHolds(), 0);
}

TEST_F(HttpGetTest, SlowButSteadyBodyDoesNotTimeOut) {
    SetHttpTimeouts({5000, 400});
    ScriptedServer server([](const std::string&, ScriptedServer::Reply& reply) {
        reply.Send("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n");
        for (int i = 0; i < 6; ++i) {
            reply.Pause(150);
            reply.Send("s");
        }
    });
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "ssssss");
}

TEST_F(HttpGetTest, NameNotResolvedFailsTheSend) {
    const auto failure = FailureOf("http://no-such-host.invalid/a");
    EXPECT_EQ(failure.text, "Failed to send request: 12007");
    EXPECT_TRUE(failure.runtimeError);
}

TEST_F(HttpGetTest, HostThatIsNoNameFailsTheSend) {
    // "host?x=1" is the host of http://host?x=1: no name service knows it.
    EXPECT_EQ(FailureOf("http://host?x=1").text, "Failed to send request: 12007");
}

TEST_F(HttpGetTest, NothingListeningFailsTheSend) {
    uint16_t port = 0;
    {
        ScriptedServer closed(Always(""));
        port = closed.Port();
    }
    const auto failure = FailureOf("http://127.0.0.1:" + std::to_string(port) + "/");
    EXPECT_EQ(failure.text, "Failed to send request: 12029");
}

// ---- The session ----

TEST_F(HttpGetTest, RequestsReuseOneConnection) {
    ScriptedServer server(Always(OkResponse("kept")));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/" + std::to_string(i)), nullptr), "kept");
    EXPECT_EQ(server.Requests().size(), 5u);
    EXPECT_EQ(server.AcceptedConnections(), 1);
    // A closed session is opened anew.
    CloseHttpSession();
    EXPECT_EQ(HttpGet(Uni(server.BaseUrl() + "/"), nullptr), "kept");
}

TEST_F(HttpGetTest, PathAndQueryAreSentEscaped) {
    ScriptedServer server(Always(OkResponse("ok")));
    HttpGet(Uni(server.BaseUrl() + "/a b/\xC3\xA9?q=1 2#x"), nullptr);
    const std::string request = server.Requests().at(0);
    EXPECT_EQ(request.substr(0, request.find("\r\n")), "GET /a%20b/%C3%A9?q=1%202%23x HTTP/1.1");
}

}  // namespace
