// ServiceConnectionTest.cpp: connections (keep-alive counted by accepts), HTTPS, and the service's
// own life: start, run, stop, a port already taken, a catalog it refuses.
#include "ServiceTestSupport.h"
#include "TestCertificate.h"

#include <chrono>
#include <future>
#include <httplib.h>
#include <thread>

namespace servicetest {
namespace {

using ServiceConnectionTest = ServiceTest;

TEST_F(ServiceConnectionTest, KeepAliveRequestsInARowUseOneConnection) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    client.set_keep_alive(true);
    for (int i = 0; i < 12; ++i) {
        const auto res = client.Get("/check?id=D01&version=2.0&format=json");
        ASSERT_TRUE(res);
        EXPECT_EQ(res->status, 200);
    }
    EXPECT_EQ(service->Requests().size(), 12U);
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

TEST_F(ServiceConnectionTest, CurlReusesItsConnectionForSeveralAddresses) {
    SKIP_WITHOUT_CURL();
    StartService();
    std::string output;
    const std::string url = Url("/check?id=D01&version=2.0");
    ASSERT_EQ(testfiles::RunCommand(std::string(ORV_CURL) + " -sS -o /dev/null -o /dev/null " +
                                        "-o /dev/null " + testfiles::Quote(url) + " " +
                                        testfiles::Quote(url) + " " + testfiles::Quote(url),
                                    &output),
              0)
        << output;
    EXPECT_EQ(service->Requests().size(), 3U);
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

TEST_F(ServiceConnectionTest, ClientsWithoutKeepAliveOpenAConnectionEach) {
    SKIP_WITHOUT_CURL();
    StartService();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Curl(Url("/bytes?size=1")).exitCode, 0);
    }
    EXPECT_EQ(service->AcceptedConnections(), 3);
}

TEST_F(ServiceConnectionTest, CutBodyClosesTheConnection) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    client.set_keep_alive(true);
    ASSERT_TRUE(client.Get("/bytes?size=10"));
    EXPECT_FALSE(client.Get("/bytes?size=10&fault_cut_body=1"));
    ASSERT_TRUE(client.Get("/bytes?size=10"));
    EXPECT_EQ(service->AcceptedConnections(), 2);
}

TEST_F(ServiceConnectionTest, HttpsServesWithTheGivenCertificate) {
    const std::string key = folder.At("key.pem");
    const std::string cert = folder.At("cert.pem");
    ASSERT_TRUE(WriteSelfSignedCertificate(key, cert));
    orvservice::ServiceOptions options;
    options.certificate = testfiles::PathOf(cert);
    options.privateKey = testfiles::PathOf(key);
    StartService(DefaultCatalog(), options);
    EXPECT_EQ(service->BaseUrl(), "https://127.0.0.1:" + std::to_string(service->Port()));

    httplib::SSLClient client("127.0.0.1", service->Port());
    client.set_ca_cert_path(cert.c_str());
    client.enable_server_certificate_verification(true);
    const auto res = client.Get("/check?id=D01&version=1.0&format=json");
    ASSERT_TRUE(res) << httplib::to_string(res.error());
    EXPECT_EQ(ParseJson(res->body)["url"], Url("/files/D01%202.0%2B%C5%99.zip"));
    // A client that does not trust the certificate is refused by its own check.
    httplib::SSLClient distrustful("127.0.0.1", service->Port());
    distrustful.enable_server_certificate_verification(true);
    EXPECT_FALSE(distrustful.Get("/files/P01.zip"));

    if (!testfiles::kLinuxTools) {
        return;  // the rest checks through curl, a Linux tool
    }
    const CurlResult file = Curl(Url("/files/P01.zip"), "--cacert " + testfiles::Quote(cert));
    EXPECT_EQ(file.exitCode, 0) << file.output;
    EXPECT_EQ(file.body, "PK plain file");
    EXPECT_NE(Curl(Url("/files/P01.zip")).exitCode, 0);
}

TEST_F(ServiceConnectionTest, CertificateThatCannotBeReadIsAServiceError) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("bad.pem"), "not a certificate"));
    orvservice::ServiceOptions options;
    options.certificate = testfiles::PathOf(folder.At("bad.pem"));
    options.privateKey = testfiles::PathOf(folder.At("bad.pem"));
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), DefaultCatalog()));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/" + kD01File, "x"));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/P01.zip", "x"));
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
}

TEST_F(ServiceConnectionTest, PortAlreadyTakenIsAServiceError) {
    StartService();
    orvservice::ServiceOptions options;
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
    options.port = service->Port();
    try {
        orvservice::VersionService second(options);
        FAIL() << "a second service bound the same port";
    } catch (const orvservice::ServiceError& error) {
        EXPECT_NE(std::string(error.what()).find(std::to_string(service->Port())),
                  std::string::npos)
            << error.what();
    }
}

TEST_F(ServiceConnectionTest, StopRightAfterStartAndStopTwiceAreSafe) {
    StartService();
    service->Stop();
    service->Stop();
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_FALSE(client.Get("/bytes?size=1"));
}

TEST_F(ServiceConnectionTest, StopDoesNotWaitForAnIdleKeepAliveConnection) {
    // An idle connection would keep the service an hour: a Stop that waited for it would hang.
    orvservice::ServiceOptions options;
    options.requestTimeoutSeconds = 3600;
    StartService(DefaultCatalog(), options);
    httplib::Client client("127.0.0.1", service->Port());
    client.set_keep_alive(true);
    ASSERT_TRUE(client.Get("/bytes?size=1"));
    auto stopping = std::async(std::launch::async, [this] { service->Stop(); });
    // The limit only turns that hang into a failure.
    const bool stopped = stopping.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    EXPECT_TRUE(stopped) << "Stop waits for the idle connection";
    if (!stopped) {
        client.stop();  // the connection ends from the client's side, and the Stop with it
    }
    stopping.get();
}

TEST_F(ServiceConnectionTest, StopLetsARequestInProgressFinishItsAnswer) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    client.set_keep_alive(true);
    // Longer than the hold lasts: the client waits for the answer, however late it comes.
    client.set_read_timeout(std::chrono::seconds(60));
    ASSERT_TRUE(client.Get("/bytes?size=1"));
    int status = 0;
    std::thread asking([&] {
        const auto res = client.Get("/check?id=D01&version=2.0&fault_hold=1");
        status = res ? res->status : -1;
    });
    // The request is in progress, held before its answer, when the service stops; Stop lets it
    // go on.
    EXPECT_TRUE(service->WaitForHeld(1, std::chrono::seconds(60)));
    service->Stop();
    asking.join();
    EXPECT_EQ(status, 200);
    ASSERT_EQ(service->Requests().size(), 2u);
    EXPECT_EQ(service->Requests()[1].status, 200);
}

TEST_F(ServiceConnectionTest, ServiceThatNeverStartedCanBeDestroyed) {
    StartService();
    orvservice::ServiceOptions options;
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
    auto idle = std::make_unique<orvservice::VersionService>(options);
    EXPECT_NE(idle->Port(), 0);
    idle.reset();
}

TEST_F(ServiceConnectionTest, RunServesOnTheCallingThreadUntilStop) {
    StartService();
    orvservice::ServiceOptions options;
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
    orvservice::VersionService second(options);
    std::thread runner([&] { second.Run(); });
    httplib::Client client("127.0.0.1", second.Port());
    // Connections wait in the listen backlog until Run is accepting.
    const auto res = client.Get("/check?id=W01&version=1.5");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    second.Stop();
    runner.join();
}

TEST_F(ServiceConnectionTest, StartingTwiceIsAServiceError) {
    StartService();
    EXPECT_THROW(service->Start(), orvservice::ServiceError);
}

}  // namespace
}  // namespace servicetest
