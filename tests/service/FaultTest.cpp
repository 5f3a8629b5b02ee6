// ServiceFaultTest.cpp: every fault, asked for by the catalog and by the request, and the request's
// keys overriding the catalog's.
#include "ServiceTestSupport.h"

#include <chrono>
#include <httplib.h>
#include <mutex>
#include <thread>

namespace servicetest {
namespace {

// The service's delays on a clock of the test's own: each is counted, none waited out.
class CountingDelays {
public:
    // Options whose delay counts here; `answered` tells how many answers the service had made
    // when a delay began.
    orvservice::ServiceOptions Options(std::function<std::size_t()> answered) {
        orvservice::ServiceOptions options;
        options.delay = [this, answered](std::chrono::milliseconds delay) {
            const std::lock_guard<std::mutex> lock(mutex);
            delays.push_back({delay.count(), answered()});
        };
        return options;
    }
    struct Delay {
        long long milliseconds;
        std::size_t answersBefore;
        bool operator==(const Delay&) const = default;
    };
    std::vector<Delay> Delays() {
        const std::lock_guard<std::mutex> lock(mutex);
        return delays;
    }

private:
    std::mutex mutex;
    std::vector<Delay> delays;
};

class ServiceFaultTest : public ServiceTest {
protected:
    // Starts the service with its delays counted by `counted`.
    void StartCounting(const std::string& catalog = DefaultCatalog()) {
        StartService(catalog, counted.Options([this] { return service->Requests().size(); }));
    }
    CountingDelays counted;
};

const char* const kCheck = "/check?id=X01&version=1.0&format=json";

TEST_F(ServiceFaultTest, CatalogDelayHoldsTheAnswer) {
    StartCounting(CatalogWithFaults(R"({"delay_ms": 300})", R"({"delay_ms": 300})"));
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(client.Get(kCheck)->status, 200);
    EXPECT_EQ(client.Get("/files/X01.zip")->status, 200);
    // Each answer came after its delay of 300 ms.
    EXPECT_EQ(counted.Delays(), (std::vector<CountingDelays::Delay>{{300, 0}, {300, 1}}));
}

TEST_F(ServiceFaultTest, RequestDelayHoldsTheAnswer) {
    StartCounting();
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(client.Get("/check?id=D01&version=2.0")->status, 200);
    EXPECT_EQ(client.Get("/check?id=D01&version=2.0&fault_delay_ms=300")->status, 200);
    EXPECT_EQ(counted.Delays(), (std::vector<CountingDelays::Delay>{{300, 1}}));
}

TEST_F(ServiceFaultTest, HoldKeepsTheAnswerUntilReleased) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    // Longer than any hold here: the client waits for the release, however late it comes.
    client.set_read_timeout(std::chrono::seconds(60));
    int status = 0;
    std::thread asking([&] {
        const auto res = client.Get("/check?id=D01&version=2.0&fault_hold=1");
        status = res ? res->status : -1;
    });
    const bool held = service->WaitForHeld(1, std::chrono::seconds(60));
    EXPECT_TRUE(held);
    if (held) {
        const auto holding = service->HeldRequests();
        ASSERT_EQ(holding.size(), 1u);
        EXPECT_EQ(holding[0].target, "/check?id=D01&version=2.0&fault_hold=1");
        EXPECT_EQ(holding[0].status, 0);
        EXPECT_TRUE(service->Requests().empty()) << "nothing is answered while it is held";
    }
    service->ReleaseHeld();
    asking.join();
    EXPECT_EQ(status, 200);
    EXPECT_TRUE(service->HeldRequests().empty());
    ASSERT_EQ(service->Requests().size(), 1u);
    EXPECT_EQ(service->Requests()[0].status, 200);
}

TEST_F(ServiceFaultTest, CatalogHoldKeepsEveryRequestOfTheObjectUntilReleased) {
    StartService(CatalogWithFaults(R"({"hold": true})", R"({"hold": true})"));
    httplib::Client check("127.0.0.1", service->Port());
    httplib::Client file("127.0.0.1", service->Port());
    check.set_read_timeout(std::chrono::seconds(60));
    file.set_read_timeout(std::chrono::seconds(60));
    int checkStatus = 0;
    int fileStatus = 0;
    std::thread askingCheck([&] {
        const auto res = check.Get(kCheck);
        checkStatus = res ? res->status : -1;
    });
    std::thread askingFile([&] {
        const auto res = file.Get("/files/X01.zip");
        fileStatus = res ? res->status : -1;
    });
    EXPECT_TRUE(service->WaitForHeld(2, std::chrono::seconds(60)));
    EXPECT_TRUE(service->Requests().empty());
    service->ReleaseHeld();
    askingCheck.join();
    askingFile.join();
    EXPECT_EQ(checkStatus, 200);
    EXPECT_EQ(fileStatus, 200);
}

TEST_F(ServiceFaultTest, AfterTheReleaseNothingIsHeld) {
    StartService();
    service->ReleaseHeld();
    EXPECT_FALSE(service->WaitForHeld(1, std::chrono::seconds(60)))
        << "a wait after the release ends at once";
    httplib::Client client("127.0.0.1", service->Port());
    // The safety limit only turns a hold that never ends into a failure.
    client.set_read_timeout(std::chrono::seconds(60));
    const auto res = client.Get("/check?id=D01&version=2.0&fault_hold=1");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_TRUE(service->HeldRequests().empty());
}

TEST_F(ServiceFaultTest, RequestCancelsACatalogHold) {
    StartService(CatalogWithFaults(R"({"hold": true})", ""));
    httplib::Client client("127.0.0.1", service->Port());
    client.set_read_timeout(std::chrono::seconds(60));
    const auto res = client.Get(std::string(kCheck) + "&fault_hold=0");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
}

TEST_F(ServiceFaultTest, CatalogStatusIsAnsweredWithAShortBody) {
    StartService(CatalogWithFaults(R"({"status": 503})", R"({"status": 500})"));
    httplib::Client client("127.0.0.1", service->Port());
    const auto check = client.Get(kCheck);
    ASSERT_TRUE(check);
    EXPECT_EQ(check->status, 503);
    EXPECT_FALSE(check->body.empty());
    EXPECT_EQ(client.Get("/files/X01.zip")->status, 500);
}

TEST_F(ServiceFaultTest, RequestStatusIsAnswered) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(client.Get("/check?id=D01&version=2.0&fault_status=500")->status, 500);
    EXPECT_EQ(client.Get("/files/P01.zip?fault_status=403")->status, 403);
}

TEST_F(ServiceFaultTest, CatalogBodyReplacesTheJsonWithStatus200) {
    StartService(CatalogWithFaults(R"({"body": "this is not JSON"})", ""));
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get(kCheck);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, "this is not JSON");
}

TEST_F(ServiceFaultTest, RequestBodyIsAnsweredExactly) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get(
        "/check?id=D01&version=2.0&fault_body=%7B%22version%22%3A%7B%7D%2C%22up_to_date%22%3A1%7D");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, R"({"version":{},"up_to_date":1})");
}

// curl reports a body shorter than its Content-Length as exit 18.
void ExpectCutBody(const CurlResult& result, std::size_t fullSize) {
    EXPECT_EQ(result.exitCode, 18) << result.output;
    EXPECT_EQ(result.Header("Content-Length"), std::to_string(fullSize));
    EXPECT_EQ(result.body.size(), fullSize / 2);
}

TEST_F(ServiceFaultTest, CatalogCutBodySendsHalfUnderTheFullLength) {
    SKIP_WITHOUT_CURL();
    StartService(CatalogWithFaults(R"({"cut_body": true})", R"({"cut_body": true})"));
    ExpectCutBody(Curl(Url("/files/X01.zip")), 20);
    const CurlResult check = Curl(Url(kCheck));
    EXPECT_EQ(check.exitCode, 18);
    const std::size_t full = std::stoul(check.Header("Content-Length"));
    EXPECT_EQ(check.body.size(), full / 2);
    EXPECT_EQ(check.body.substr(0, 15), R"({"test_version")");
}

TEST_F(ServiceFaultTest, RequestCutBodySendsHalfUnderTheFullLength) {
    StartService();
    // httplib's client sees a failed read.
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_FALSE(client.Get("/check?id=D01&version=2.0&fault_cut_body=1"));
    if (!testfiles::kLinuxTools) {
        return;  // the rest checks through curl, a Linux tool
    }
    const CurlResult result = Curl(Url("/files/D01%202.0%2B%C5%99.zip?fault_cut_body=1"));
    ExpectCutBody(result, D01Bytes().size());
    EXPECT_EQ(result.body, D01Bytes().substr(0, D01Bytes().size() / 2));
}

TEST_F(ServiceFaultTest, CatalogNoContentDispositionDropsTheHeader) {
    SKIP_WITHOUT_CURL();
    StartService(CatalogWithFaults("", R"({"no_content_disposition": true})"));
    const CurlResult result = Curl(Url("/files/X01.zip"));
    EXPECT_EQ(result.Status(), 200);
    EXPECT_EQ(result.body, "0123456789abcdefghij");
    EXPECT_EQ(result.headers.find("Content-Disposition"), std::string::npos) << result.headers;
}

TEST_F(ServiceFaultTest, RequestNoContentDispositionDropsTheHeader) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/files/P01.zip?fault_no_content_disposition=1");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->body, "PK plain file");
    EXPECT_FALSE(res->has_header("Content-Disposition"));
}

TEST_F(ServiceFaultTest, CatalogQuotedFilenameUsesTheQuotedForm) {
    SKIP_WITHOUT_CURL();
    StartService(CatalogWithFaults("", R"({"quoted_filename": true})"));
    EXPECT_EQ(Curl(Url("/files/X01.zip")).Header("Content-Disposition"),
              "attachment; filename=\"X01.zip\"");
}

TEST_F(ServiceFaultTest, RequestQuotedFilenameUsesTheQuotedFormWithTheRawName) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/files/D01%202.0%2B%C5%99.zip?fault_quoted_filename=1");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->get_header_value("Content-Disposition"),
              std::string("attachment; filename=\"") + kD01File + "\"");
}

TEST_F(ServiceFaultTest, RequestRedirectPointsAtTheSameTargetWithoutTheKey) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=D01&fault_redirect=1&version=2.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 302);
    EXPECT_EQ(res->get_header_value("Location"), Url("/check?id=D01&version=2.0&format=json"));

    client.set_follow_location(true);
    const auto followed = client.Get("/files/P01.zip?fault_redirect=1");
    ASSERT_TRUE(followed);
    EXPECT_EQ(followed->status, 200);
    EXPECT_EQ(followed->body, "PK plain file");
    const auto records = service->Requests();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1].target, "/files/P01.zip?fault_redirect=1");
    EXPECT_EQ(records[1].status, 302);
    EXPECT_EQ(records[2].target, "/files/P01.zip");
    EXPECT_EQ(records[2].status, 200);
}

// The key is read decoded, so it is left out in any spelling; else the redirect would repeat.
TEST_F(ServiceFaultTest, RequestRedirectLeavesOutThePercentEncodedKeyToo) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=D01&fault_%72edirect=1&version=2.0");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 302);
    EXPECT_EQ(res->get_header_value("Location"), Url("/check?id=D01&version=2.0"));
}

TEST_F(ServiceFaultTest, CatalogRedirectIsFollowedOnceOnly) {
    SKIP_WITHOUT_CURL();
    StartService(CatalogWithFaults(R"({"redirect": true})", R"({"redirect": true})"));
    const CurlResult check = Curl(Url(kCheck), "-L --max-redirs 3");
    ASSERT_EQ(check.exitCode, 0) << check.output;
    EXPECT_EQ(check.Status(), 200);
    EXPECT_EQ(ParseJson(check.body)["update_available"], true);
    const CurlResult file = Curl(Url("/files/X01.zip"), "-L --max-redirs 3");
    EXPECT_EQ(file.Status(), 200);
    EXPECT_EQ(file.body, "0123456789abcdefghij");
    const auto records = service->Requests();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].status, 302);
    EXPECT_EQ(records[1].target, std::string(kCheck) + "&fault_redirect=0");
    EXPECT_EQ(records[3].target, "/files/X01.zip?fault_redirect=0");
}

// curl reports a chunked body that ends without its last chunk as exit 18.
void ExpectClosedMidBody(const CurlResult& result, const std::string& full) {
    EXPECT_EQ(result.exitCode, 18) << result.output;
    EXPECT_EQ(result.Header("Transfer-Encoding"), "chunked");
    EXPECT_TRUE(result.Header("Content-Length").empty());
    EXPECT_FALSE(result.body.empty());
    EXPECT_LT(result.body.size(), full.size());
    EXPECT_EQ(result.body, full.substr(0, result.body.size()));
}

TEST_F(ServiceFaultTest, CatalogCloseMidBodyEndsTheChunksEarly) {
    SKIP_WITHOUT_CURL();
    StartService(CatalogWithFaults("", R"({"close_mid_body": true})"));
    ExpectClosedMidBody(Curl(Url("/files/X01.zip")), "0123456789abcdefghij");
}

TEST_F(ServiceFaultTest, RequestCloseMidBodyEndsTheChunksEarly) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_FALSE(client.Get("/check?id=D01&version=2.0&fault_close_mid_body=1"));
    if (!testfiles::kLinuxTools) {
        return;  // the rest checks through curl, a Linux tool
    }
    ExpectClosedMidBody(Curl(Url("/files/D01%202.0%2B%C5%99.zip?fault_close_mid_body=1")),
                        D01Bytes());
    const CurlResult check = Curl(Url("/check?id=D01&version=2.0&fault_close_mid_body=1"));
    EXPECT_EQ(check.exitCode, 18) << check.output;
}

TEST_F(ServiceFaultTest, RequestKeysOverrideTheCatalog) {
    StartCounting(CatalogWithFaults(R"({"status": 503, "delay_ms": 2000})",
                                    R"({"cut_body": true, "quoted_filename": true})"));
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get(std::string(kCheck) + "&fault_delay_ms=0&fault_status=502");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 502);
    EXPECT_TRUE(counted.Delays().empty()) << "fault_delay_ms=0 cancels the catalog's delay";
    const auto file = client.Get("/files/X01.zip?fault_cut_body=0&fault_quoted_filename=false");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->body, "0123456789abcdefghij");
    EXPECT_EQ(file->get_header_value("Content-Disposition"),
              "attachment; filename*=UTF-8''X01.zip");
}

TEST_F(ServiceFaultTest, CatalogFaultsOfOneObjectLeaveOthersAlone) {
    StartService(R"({"objects": [
        {"id": "A", "versions": ["1"], "latest": "1", "faults": {"check": {"status": 500}}},
        {"id": "B", "versions": ["1"], "latest": "1"}]})");
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(client.Get("/check?id=A&version=1")->status, 500);
    EXPECT_EQ(client.Get("/check?id=B&version=1")->status, 200);
}

// A line break in the value would end the header early and make the rest headers of their own.
TEST_F(ServiceFaultTest, DispositionWithAControlCharacterIsRefused) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/files/P01.zip?fault_disposition=inline%0D%0AX-Injected:%201");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
    EXPECT_FALSE(res->has_header("X-Injected"));
    EXPECT_NE(res->body.find("fault_disposition"), std::string::npos) << res->body;
    service.reset();
    EXPECT_THROW(StartService(CatalogWithFaults("", R"({"disposition": "a\nb"})")),
                 orvservice::ServiceError);
}

TEST_F(ServiceFaultTest, UnknownOrBadFaultKeyIs400) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    for (const char* target :
         {"/check?id=D01&version=2.0&fault_explode=1", "/check?id=D01&version=2.0&fault_status=abc",
          "/check?id=D01&version=2.0&fault_status=42", "/files/P01.zip?fault_cut_body=yes",
          "/bytes?size=1&fault_delay_ms=-5"}) {
        const auto res = client.Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 400) << target;
        EXPECT_NE(res->body.find("fault_"), std::string::npos) << res->body;
    }
}

}  // namespace
}  // namespace servicetest
