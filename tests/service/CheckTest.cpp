// ServiceCheckTest.cpp: the check answer for every row of the protocol's table, and the requests
// the service refuses.
#include "ServiceTestSupport.h"

#include <httplib.h>

namespace servicetest {
namespace {

using ServiceCheckTest = ServiceTest;

// The answer of GET `target`, which must be 200 with the JSON content type.
Json::Value Check(const orvservice::VersionService& service, const std::string& target) {
    httplib::Client client("127.0.0.1", service.Port());
    const auto res = client.Get(target);
    EXPECT_TRUE(res) << target;
    if (!res) {
        return Json::Value();
    }
    EXPECT_EQ(res->status, 200) << target << ": " << res->body;
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/json; charset=utf-8");
    return ParseJson(res->body);
}

TEST_F(ServiceCheckTest, LatestVersionIsUpToDate) {
    StartService();
    const Json::Value answer = Check(*service, "/check?id=D01&version=2.0&format=json");
    EXPECT_EQ(answer["version"], "2.0");
    EXPECT_EQ(answer["up_to_date"], true);
    EXPECT_EQ(answer["test_version"], false);
    EXPECT_EQ(answer["update_available"], false);
    EXPECT_FALSE(answer.isMember("url"));
}

TEST_F(ServiceCheckTest, TestVersionIsAnsweredWithItsOwnVersion) {
    StartService();
    const Json::Value answer = Check(*service, "/check?id=D01&version=2.1-beta&format=json");
    EXPECT_EQ(answer["version"], "2.1-beta");
    EXPECT_EQ(answer["up_to_date"], false);
    EXPECT_EQ(answer["test_version"], true);
    EXPECT_EQ(answer["update_available"], false);
    EXPECT_FALSE(answer.isMember("url"));
}

TEST_F(ServiceCheckTest, OlderVersionWithFileOffersAnUpdateWithItsPercentEncodedUrl) {
    StartService();
    const Json::Value answer = Check(*service, "/check?id=D01&version=1.0&format=json");
    EXPECT_EQ(answer["version"], "2.0");
    EXPECT_EQ(answer["up_to_date"], false);
    EXPECT_EQ(answer["test_version"], false);
    EXPECT_EQ(answer["update_available"], true);
    EXPECT_EQ(answer["url"], Url("/files/D01%202.0%2B%C5%99.zip"));
}

TEST_F(ServiceCheckTest, UrlIsBuiltOnTheHostTheRequestNamed) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=P01&version=1&format=json",
                                httplib::Headers{{"Host", "library.example:8443"}});
    ASSERT_TRUE(res);
    EXPECT_EQ(ParseJson(res->body)["url"], "http://library.example:8443/files/P01.zip");
}

TEST_F(ServiceCheckTest, OlderVersionWithoutFileHasNoUpdateAndNoUrl) {
    StartService();
    const Json::Value answer = Check(*service, "/check?id=W01&version=1.0&format=json");
    EXPECT_EQ(answer["version"], "1.5");
    EXPECT_EQ(answer["up_to_date"], false);
    EXPECT_EQ(answer["test_version"], false);
    EXPECT_EQ(answer["update_available"], false);
    EXPECT_FALSE(answer.isMember("url"));
}

TEST_F(ServiceCheckTest, VersionUnknownToTheCatalogGivesAllFalseWithTheLatest) {
    StartService();
    const Json::Value answer = Check(*service, "/check?id=D01&version=0.9&format=json");
    EXPECT_EQ(answer["version"], "2.0");
    EXPECT_EQ(answer["up_to_date"], false);
    EXPECT_EQ(answer["test_version"], false);
    EXPECT_EQ(answer["update_available"], false);
    EXPECT_FALSE(answer.isMember("url"));
}

TEST_F(ServiceCheckTest, AnswerWithoutFormatKeyIsTheSame) {
    StartService();
    EXPECT_EQ(Check(*service, "/check?id=D01&version=2.0")["up_to_date"], true);
}

TEST_F(ServiceCheckTest, PercentEncodedQueryValuesAreDecoded) {
    StartService();
    EXPECT_EQ(Check(*service, "/check?id=%44%30%31&version=2.1%2Dbeta&format=json")["version"],
              "2.1-beta");
}

TEST_F(ServiceCheckTest, UnknownIdIs404WithJsonError) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=Z99&version=1.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
    const Json::Value error = ParseJson(res->body);
    EXPECT_NE(error["error"].asString().find("Z99"), std::string::npos) << res->body;
}

// JSON is UTF-8: the bytes of an unknown id that are not come back as U+FFFD.
TEST_F(ServiceCheckTest, UnknownIdThatIsNotUtf8IsAnsweredInUtf8) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=D%FF%C5%99%ED%A0%80&version=1.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
    EXPECT_EQ(res->body,
              "{\"error\":\"unknown id \\\"D\\ufffd\xC5\x99\\ufffd\\ufffd\\ufffd\\\"\"}");
}

TEST_F(ServiceCheckTest, MissingIdOrVersionIs400) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    for (const char* target : {"/check?version=1.0&format=json", "/check?id=D01&format=json",
                               "/check?id=&version=1.0", "/check"}) {
        const auto res = client.Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 400) << target;
        EXPECT_TRUE(ParseJson(res->body).isMember("error")) << target;
    }
}

TEST_F(ServiceCheckTest, FormatOtherThanJsonIs400) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/check?id=D01&version=2.0&format=xml");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
}

TEST_F(ServiceCheckTest, AddressWithoutQueryOfItsOwnIs400WithAnExplanation) {
    SKIP_WITHOUT_CURL();
    StartService();
    // A check_url without "?" gets "&format=json" appended to its path.
    const CurlResult result = Curl(Url("/check&format=json"));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.Status(), 400);
    EXPECT_NE(result.body.find("no query of its own"), std::string::npos) << result.body;
    EXPECT_NE(result.body.find("check?id=ID&version=V"), std::string::npos) << result.body;
}

TEST_F(ServiceCheckTest, CheckUrlAsALibraryPartWritesItWorksWithCurl) {
    SKIP_WITHOUT_CURL();
    StartService();
    const std::string checkUrl = Url("/check?id=D01&version=1.1");
    const CurlResult result = Curl(checkUrl + "&format=json");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.Status(), 200);
    const Json::Value answer = ParseJson(result.body);
    EXPECT_EQ(answer["update_available"], true);

    // The offered address downloads the file.
    const CurlResult file = Curl(answer["url"].asString());
    ASSERT_EQ(file.exitCode, 0) << file.output;
    EXPECT_EQ(file.body, D01Bytes());
}

TEST_F(ServiceCheckTest, EveryRequestIsRecordedWithItsTargetAndStatus) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    ASSERT_TRUE(client.Get("/check?id=D01&version=2.0&format=json"));
    ASSERT_TRUE(client.Get("/check?id=Z99&version=2.0&format=json"));
    ASSERT_TRUE(client.Get("/nothing/here"));
    ASSERT_TRUE(client.Post("/check?id=D01", "x", "text/plain"));
    const auto records = service->Requests();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].method, "GET");
    EXPECT_EQ(records[0].target, "/check?id=D01&version=2.0&format=json");
    EXPECT_EQ(records[0].status, 200);
    EXPECT_EQ(records[1].status, 404);
    EXPECT_EQ(records[2].target, "/nothing/here");
    EXPECT_EQ(records[2].status, 404);
    EXPECT_EQ(records[3].method, "POST");
    EXPECT_EQ(records[3].status, 405);
}

}  // namespace
}  // namespace servicetest
