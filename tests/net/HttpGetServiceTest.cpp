// HttpGetServiceTest.cpp: HttpGet against the version service run in-process: answers, statuses,
// bodies, redirects, the Content-Disposition forms, progress, a large body, connection reuse,
// the network failures, and HTTPS with a certificate the test makes and trusts.
#include "NetTestSupport.h"
#include "TestFiles.h"
#include "catalogue/MessageCatalogue.h"
#include "net/HttpGet.h"
#include "service/VersionService.h"

// The package's compile flags switch on its OpenSSL support.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <gtest/gtest.h>
#include <httplib.h>
#include <memory>
#include <openssl/ssl.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using nettest::FailureOf;
using nettest::RecordingListener;
using nettest::ScopedEnvironment;
using nettest::SteppingClock;
using nettest::Uni;

namespace {

constexpr char kCatalog[] = R"({"objects": [
    {"id": "D01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": "D 01.zip"}
]})";
constexpr char kFileBytes[] = "PK\x03\x04 not really a zip, but bytes";

std::string Text(int row, const std::string& tail = "") { return MessageText(row) + tail; }

// Whether `body` is the service's made body: the digits 0 to 9 over and over.
bool IsDigitPattern(const std::string& body) {
    for (size_t i = 0; i < body.size(); ++i) {
        if (body[i] != static_cast<char>('0' + i % 10))
            return false;
    }
    return true;
}

class ServiceFixture : public ::testing::Test {
protected:
    void SetUp() override {
        CloseHttpSession();
        SetHttpTimeouts({5000, 5000});
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kCatalog));
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D 01.zip"), kFileBytes));
    }
    void TearDown() override {
        CloseHttpSession();
        SetHttpTimeouts({});
    }
    void Start(bool secure = false) {
        orvservice::ServiceOptions options;
        options.catalog = folder.At("catalog.json");
        options.files = folder.At("files");
        if (secure) {
            options.certificate = CertificateFile();
            options.privateKey = KeyFile();
        }
        service = std::make_unique<orvservice::VersionService>(options);
        service->Start();
    }
    std::string Url(const std::string& target) const { return service->BaseUrl() + target; }
    std::string Get(const std::string& target, GetProgressListener* listener = nullptr) {
        return HttpGet(Uni(Url(target)), listener);
    }

    // A self-signed certificate for 127.0.0.1, made once for the whole run.
    static std::string CertificateFile() { return Certificates().At("c.pem"); }
    static std::string KeyFile() { return Certificates().At("k.pem"); }
    static testfiles::TempFolder& Certificates() {
        static testfiles::TempFolder certificates;
        static const bool made = [] {
            std::string output;
            const int status = testfiles::RunCommand(
                "cd " + testfiles::Quote(certificates.Path().string()) +
                    " && openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=127.0.0.1 "
                    "-addext subjectAltName=IP:127.0.0.1 -keyout k.pem -out c.pem -days 2",
                &output);
            EXPECT_EQ(status, 0) << output;
            return status == 0;
        }();
        (void)made;
        return certificates;
    }

    ScopedEnvironment noProxy{"no_proxy", std::string("*")};
    testfiles::TempFolder folder;
    std::unique_ptr<orvservice::VersionService> service;
};

// ---- Answers and statuses ----

TEST_F(ServiceFixture, CheckAnswerIsReturned) {
    Start();
    const std::string body = Get("/check?id=D01&version=1.0&format=json");
    EXPECT_NE(body.find("\"update_available\""), std::string::npos) << body;
    EXPECT_NE(body.find("/files/D%2001.zip"), std::string::npos) << body;
    ASSERT_EQ(service->Requests().size(), 1u);
    EXPECT_EQ(service->Requests()[0].target, "/check?id=D01&version=1.0&format=json");
}

TEST_F(ServiceFixture, FileIsDownloadedWithItsName) {
    Start();
    RecordingListener listener;
    EXPECT_EQ(Get("/files/D%2001.zip", &listener), std::string(kFileBytes, sizeof(kFileBytes) - 1));
    ASSERT_EQ(listener.names.size(), 1u);
    EXPECT_EQ(listener.names[0], u"D 01.zip");
}

TEST_F(ServiceFixture, Status404And500Fail) {
    Start();
    for (const std::string& target : {std::string("/nothing-here"),
                                      std::string("/check?id=D01&version=1.0&fault_status=404")}) {
        const auto failure = FailureOf(Url(target));
        EXPECT_EQ(failure.text, Text(kMessageUnexpectedStatus, "404"));
        EXPECT_FALSE(failure.runtimeError);
    }
    EXPECT_EQ(FailureOf(Url("/files/D%2001.zip?fault_status=500")).text,
              Text(kMessageUnexpectedStatus, "500"));
    // The connection of a failed status is not kept, and the next request still works.
    EXPECT_EQ(Get("/bytes?size=2").size(), 2u);
}

TEST_F(ServiceFixture, BodiesOfZeroAndOneByteFailAndTwoBytesSucceed) {
    Start();
    RecordingListener listener;
    for (GetProgressListener* with : {static_cast<GetProgressListener*>(nullptr),
                                      static_cast<GetProgressListener*>(&listener)}) {
        EXPECT_EQ(FailureOf(Url("/bytes?size=0"), with).text, Text(kMessageInvalidObject));
        EXPECT_EQ(FailureOf(Url("/bytes?size=1"), with).text, Text(kMessageInvalidObject));
        EXPECT_EQ(HttpGet(Uni(Url("/bytes?size=2")), with).size(), 2u);
    }
    // The version query and the download alike.
    EXPECT_EQ(FailureOf(Url("/check?id=D01&version=1.0&fault_body=x")).text,
              Text(kMessageInvalidObject));
    EXPECT_EQ(Get("/check?id=D01&version=1.0&fault_body=xy"), "xy");
    EXPECT_EQ(FailureOf(Url("/files/D%2001.zip?fault_body=x"), &listener).text,
              Text(kMessageInvalidObject));
    EXPECT_EQ(Get("/files/D%2001.zip?fault_body=xy", &listener), "xy");
}

TEST_F(ServiceFixture, CutBodyFailsTheRead) {
    Start();
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    const auto failure = FailureOf(Url("/bytes?size=100000&fault_cut_body=1"), &listener);
    EXPECT_EQ(failure.text, "Failed to read response: 12030");
    EXPECT_TRUE(failure.runtimeError);
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.back().total, 100000);
}

TEST_F(ServiceFixture, ConnectionClosedMidBodyFailsTheRead) {
    Start();
    EXPECT_EQ(FailureOf(Url("/bytes?size=100000&fault_close_mid_body=1")).text,
              "Failed to read response: 12030");
}

TEST_F(ServiceFixture, RedirectIsFollowed) {
    Start();
    EXPECT_EQ(Get("/bytes?size=5&fault_redirect=1").size(), 5u);
    ASSERT_EQ(service->Requests().size(), 2u);
    EXPECT_EQ(service->Requests()[0].status, 302);
    EXPECT_EQ(service->Requests()[1].target, "/bytes?size=5");
}

TEST_F(ServiceFixture, ChunkedAnswerHasNoContentLength) {
    Start();
    RecordingListener listener;
    SteppingClock clock(1'000'000);
    EXPECT_EQ(Get("/bytes?size=30000&fault_chunked=1", &listener).size(), 30000u);
    ASSERT_FALSE(listener.progress.empty());
    EXPECT_EQ(listener.progress.back().received, 30000u);
    EXPECT_EQ(listener.progress.back().total, -1);
    EXPECT_EQ(listener.progress.back().percent, -1);
}

// ---- Content-Disposition forms ----

TEST_F(ServiceFixture, ExtendedFileNameIsDecoded) {
    Start();
    RecordingListener listener;
    Get("/files/D%2001.zip", &listener);
    EXPECT_EQ(listener.names, std::vector<WString>{u"D 01.zip"});
}

TEST_F(ServiceFixture, QuotedFileNameKeepsItsQuotes) {
    Start();
    RecordingListener listener;
    Get("/files/D%2001.zip?fault_quoted_filename=1", &listener);
    EXPECT_EQ(listener.names, std::vector<WString>{u"\"D 01.zip\""});
}

TEST_F(ServiceFixture, MissingDispositionTellsNoName) {
    Start();
    RecordingListener listener;
    Get("/files/D%2001.zip?fault_no_content_disposition=1", &listener);
    EXPECT_TRUE(listener.names.empty());
}

TEST_F(ServiceFixture, DispositionWithoutFileNameTellsAnEmptyName) {
    Start();
    RecordingListener listener;
    Get("/files/D%2001.zip?fault_disposition=attachment", &listener);
    EXPECT_EQ(listener.names, std::vector<WString>{u""});
}

TEST_F(ServiceFixture, DispositionFormsFromTheQuery) {
    Start();
    const std::pair<std::string, WString> cases[] = {
        {"attachment%3B%20filename%3Da.zip", u"a.zip"},
        {"attachment%3B%20filename%3Da.zip%3B%20filename*%3DUTF-8''b.zip", u"b.zip"},
        {"attachment%3B%20filename*%3DUTF-8''b.zip%3B%20filename%3Da.zip", u"b.zip"},
        {"attachment%3B%20filename*%3DISO-8859-1''caf%25C3%25A9", u"caf\u00E9"},
        {"attachment%3B%20filename*%3DUTF-8''a%254", u"a%4"},
        {"attachment%3B%20filename*%3DUTF-8''%25zz", u"%zz"},
    };
    for (const auto& [query, name] : cases) {
        RecordingListener listener;
        Get("/files/D%2001.zip?fault_disposition=" + query, &listener);
        EXPECT_EQ(listener.names, std::vector<WString>{name}) << query;
    }
    // Longer than the header buffer: as if absent.
    RecordingListener listener;
    Get("/files/D%2001.zip?fault_disposition=attachment%3B%20filename%3D" + std::string(600, 'n'),
        &listener);
    EXPECT_TRUE(listener.names.empty());
}

// ---- Progress ----

TEST_F(ServiceFixture, ProgressWithAndWithoutListener) {
    Start();
    SteppingClock clock(1'000'000);
    EXPECT_EQ(Get("/bytes?size=40000").size(), 40000u);
    RecordingListener listener;
    EXPECT_EQ(Get("/bytes?size=40000", &listener).size(), 40000u);
    ASSERT_GE(listener.progress.size(), 6u);  // 5 blocks at least, and the final empty read
    for (const auto& report : listener.progress) {
        EXPECT_EQ(report.total, 40000);
        EXPECT_EQ(report.percent, static_cast<int32_t>(report.received * 100 / 40000));
    }
    EXPECT_EQ(listener.progress.back().received, 40000u);
    EXPECT_EQ(listener.progress.back().percent, 100);
}

TEST_F(ServiceFixture, FiftyMegabyteBody) {
    Start();
    const uint32_t size = 50u << 20;
    RecordingListener listener;
    // Past the 50 ms of silence at the first reading, however fast the loopback is.
    const SteppingClock clock(60000);
    const std::string body = Get("/bytes?size=" + std::to_string(size), &listener);
    ASSERT_EQ(body.size(), size);
    EXPECT_TRUE(IsDigitPattern(body));
    ASSERT_FALSE(listener.progress.empty());
    const auto& last = listener.progress.back();
    EXPECT_EQ(last.received, size);
    EXPECT_EQ(last.total, static_cast<int32_t>(size));
    // 52 428 800 * 100 wraps in 32 bits: the percent is meaningless, as it always was.
    EXPECT_EQ(last.percent, ProgressPercent(size, static_cast<int32_t>(size)));
    EXPECT_EQ(last.percent, 18);
    for (size_t i = 1; i < listener.progress.size(); ++i)
        ASSERT_LE(listener.progress[i].received - listener.progress[i - 1].received, 8192u);
}

TEST_F(ServiceFixture, FortyMegabyteBodyWithoutADeclaredSize) {
    Start();
    // Well past the room made at first: the body moves to larger rooms as it grows.
    const uint32_t size = 40u << 20;
    const SteppingClock clock(60000);
    const std::string body = Get("/bytes?size=" + std::to_string(size) + "&fault_chunked=1");
    ASSERT_EQ(body.size(), size);
    EXPECT_TRUE(IsDigitPattern(body));
}

// ---- The session ----

TEST_F(ServiceFixture, KeepAliveUsesOneConnection) {
    Start();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Get("/bytes?size=100").size(), 100u);
    EXPECT_EQ(service->Requests().size(), 5u);
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

// ---- Network failures ----

TEST_F(ServiceFixture, NameNotResolved) {
    const auto failure = FailureOf("http://orvupdate-test.invalid/check");
    EXPECT_EQ(failure.text, "Failed to send request: 12007");
    EXPECT_TRUE(failure.runtimeError);
}

TEST_F(ServiceFixture, NothingListening) {
    const auto failure =
        FailureOf("http://127.0.0.1:" + std::to_string(testfiles::UnusedPort()) + "/");
    EXPECT_EQ(failure.text, "Failed to send request: 12029");
}

TEST_F(ServiceFixture, ServiceThatStopsAnsweringTimesOut) {
    Start();
    SetHttpTimeouts({5000, 300});
    // The service holds the request until the test lets it go, so the client can only give up on
    // its own. A client that never does gets the answer after a minute, a limit that only turns
    // that hang into a failure.
    std::promise<void> done;
    std::thread limit([this, finished = done.get_future()] {
        if (finished.wait_for(std::chrono::minutes(1)) != std::future_status::ready)
            service->ReleaseHeld();
    });
    const auto failure = FailureOf(Url("/bytes?size=100&fault_hold=1"));
    const bool held = service->WaitForHeld(1, std::chrono::seconds(60));
    done.set_value();
    limit.join();
    EXPECT_EQ(failure.text, Text(kMessageNoResponse, "12002"));
    EXPECT_TRUE(failure.runtimeError);
    EXPECT_TRUE(held) << "the client gave up while the request was held";
    EXPECT_TRUE(service->Requests().empty()) << "the client failed before any answer";
    service->ReleaseHeld();
}

// ---- HTTPS ----

// The protocols a client offers in its TLS handshake, as the server sees them. The server takes
// HTTP/2 when it is offered, as most do, and HTTP/1.1 otherwise.
int TakeHttp2First(SSL*, const unsigned char** selected, unsigned char* selectedLength,
                   const unsigned char* offer, unsigned int offerLength, void* seen) {
    auto& offered = *static_cast<std::vector<std::string>*>(seen);
    const unsigned char* chosen = nullptr;
    for (unsigned int i = 0; i < offerLength && i + 1 + offer[i] <= offerLength;
         i += 1u + offer[i]) {
        const std::string name(reinterpret_cast<const char*>(offer + i + 1), offer[i]);
        offered.push_back(name);
        if (name == "h2" || (name == "http/1.1" && chosen == nullptr))
            chosen = offer + i;
    }
    if (chosen == nullptr)
        return SSL_TLSEXT_ERR_NOACK;
    *selected = chosen + 1;
    *selectedLength = *chosen;
    return SSL_TLSEXT_ERR_OK;
}

// Serves an httplib server on a thread of its own from construction until Stop. httplib makes
// its task queue once it counts as running, just before its accept loop; from then on its stop()
// takes effect, so the constructor waits for that moment.
class ServingThread {
public:
    explicit ServingThread(httplib::Server& server) : server(server) {
        server.new_task_queue = [this] {
            ready.set_value();
            return new httplib::ThreadPool(CPPHTTPLIB_THREAD_POOL_COUNT);
        };
        thread = std::thread([&server] { server.listen_after_bind(); });
        // The limit only turns a server that never runs into a failure.
        if (ready.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready)
            ADD_FAILURE() << "the server did not start serving";
    }
    ~ServingThread() { Stop(); }
    ServingThread(const ServingThread&) = delete;
    ServingThread& operator=(const ServingThread&) = delete;

    void Stop() {
        if (thread.joinable()) {
            server.stop();
            thread.join();
        }
    }

private:
    httplib::Server& server;
    std::promise<void> ready;
    std::thread thread;
};

class SecureServiceFixture : public ServiceFixture {
protected:
    ScopedEnvironment trust{"SSL_CERT_FILE", CertificateFile()};
};

TEST_F(SecureServiceFixture, TrustedCertificateServesTheAnswer) {
    Start(true);
    ASSERT_EQ(service->BaseUrl().rfind("https://", 0), 0u);
    RecordingListener listener;
    EXPECT_EQ(Get("/files/D%2001.zip", &listener), std::string(kFileBytes, sizeof(kFileBytes) - 1));
    EXPECT_EQ(listener.names, std::vector<WString>{u"D 01.zip"});
}

TEST_F(SecureServiceFixture, ConnectionAndTlsSessionAreReused) {
    Start(true);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Get("/bytes?size=1000").size(), 1000u);
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

TEST_F(SecureServiceFixture, RedirectFromHttpsToHttpsIsFollowed) {
    Start(true);
    EXPECT_EQ(Get("/bytes?size=5&fault_redirect=1").size(), 5u);
    EXPECT_EQ(service->Requests().size(), 2u);
}

TEST_F(SecureServiceFixture, UntrustedCertificateIsASecureFailure) {
    Start(true);
    CloseHttpSession();
    ScopedEnvironment noTrust("SSL_CERT_FILE", std::nullopt);
    const auto failure = FailureOf(Url("/bytes?size=5"));
    EXPECT_EQ(failure.text, "Failed to send request: 12175");
    EXPECT_TRUE(failure.runtimeError);
    EXPECT_TRUE(service->Requests().empty());
}

TEST_F(SecureServiceFixture, SecureRequestIsMadeOverHttp11) {
    httplib::SSLServer secure(CertificateFile().c_str(), KeyFile().c_str());
    std::vector<std::string> offered;
    SSL_CTX_set_alpn_select_cb(secure.ssl_context(), TakeHttp2First, &offered);
    secure.Get("/", [](const httplib::Request& request, httplib::Response& response) {
        response.set_content(request.version, "text/plain");
    });
    const int port = secure.bind_to_any_port("127.0.0.1");
    ServingThread serving(secure);
    std::string version;
    try {
        version = HttpGet(Uni("https://127.0.0.1:" + std::to_string(port) + "/"), nullptr);
    } catch (const std::exception& failure) {
        ADD_FAILURE() << failure.what();
    }
    // The session keeps its connection, which the server's stop would wait out.
    CloseHttpSession();
    serving.Stop();
    EXPECT_EQ(version, "HTTP/1.1");
    EXPECT_EQ(std::count(offered.begin(), offered.end(), "h2"), 0);
}

TEST_F(SecureServiceFixture, RedirectFromHttpsToHttpIsNotFollowed) {
    // The plain service the redirect points to, and a secure server that redirects to it.
    Start();
    httplib::SSLServer secure(CertificateFile().c_str(), KeyFile().c_str());
    const std::string target = Url("/bytes?size=5");
    secure.Get("/", [&](const httplib::Request&, httplib::Response& res) {
        res.set_redirect(target, 302);
    });
    const int port = secure.bind_to_any_port("127.0.0.1");
    ServingThread serving(secure);
    const auto failure = FailureOf("https://127.0.0.1:" + std::to_string(port) + "/");
    serving.Stop();
    EXPECT_EQ(failure.text, Text(kMessageUnexpectedStatus, "302"));
    EXPECT_TRUE(service->Requests().empty());
}

}  // namespace
