// ReloadTest.cpp: the catalog taken again while the service runs, on request and when its file
// changes; a catalog refused leaves the one in service. Also where download addresses point.
#include "ServiceTestSupport.h"

#include <chrono>
#include <future>
#include <httplib.h>
#include <mutex>

namespace servicetest {
namespace {

using ServiceReloadTest = ServiceTest;

const char* const kLatest30 = R"({"objects": [
    {"id": "D01", "versions": ["1.0", "2.0", "3.0"], "latest": "3.0"}]})";

std::string LatestOf(httplib::Client& client, const std::string& id) {
    const auto res = client.Get("/check?id=" + id + "&version=1.0&format=json");
    if (!res || res->status != 200) {
        return "";
    }
    return ParseJson(res->body)["version"].asString();
}

TEST_F(ServiceReloadTest, ReloadServesTheNewCatalogFromTheNextRequestOn) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    client.set_keep_alive(true);
    EXPECT_EQ(LatestOf(client, "D01"), "2.0");
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), kLatest30));

    service->ReloadCatalog();

    EXPECT_EQ(LatestOf(client, "D01"), "3.0");
    EXPECT_EQ(LatestOf(client, "W01"), "") << "W01 went with the old catalog";
    EXPECT_EQ(service->AcceptedConnections(), 1) << "the switch came between two requests";
}

TEST_F(ServiceReloadTest, RefusedCatalogLeavesTheOneInService) {
    StartService();
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), R"({"objects": [{"id": "D01"}]})"));

    EXPECT_THROW(service->ReloadCatalog(), orvservice::ServiceError);

    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(LatestOf(client, "D01"), "2.0");
    EXPECT_EQ(LatestOf(client, "W01"), "1.5");
}

TEST_F(ServiceReloadTest, WatchedCatalogIsTakenWhenItsFileChanges) {
    std::promise<void> taken;
    std::once_flag told;
    orvservice::ServiceOptions options;
    options.watchCatalogMilliseconds = 20;
    options.catalogTaken = [&] { std::call_once(told, [&] { taken.set_value(); }); };
    StartService(DefaultCatalog(), options);
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), kLatest30));

    // The limit only turns a hang into a failure.
    ASSERT_EQ(taken.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(LatestOf(client, "D01"), "3.0");
}

TEST_F(ServiceReloadTest, FilesUrlPointsDownloadsAtTheFileHost) {
    orvservice::ServiceOptions options;
    options.filesUrl = "https://files.example/orv";
    StartService(DefaultCatalog(), options);
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=P01&version=1&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(ParseJson(res->body)["url"], "https://files.example/orv/P01.zip");
}

}  // namespace
}  // namespace servicetest
