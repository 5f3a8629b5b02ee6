// AccessLogTest.cpp: the access log, one line a request in the Combined Log Format.
#include "ServiceTestSupport.h"

#include <httplib.h>
#include <regex>
#include <sstream>

namespace servicetest {
namespace {

using ServiceAccessLogTest = ServiceTest;

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(ServiceAccessLogTest, EveryRequestIsOneCombinedLogLine) {
    orvservice::ServiceOptions options;
    options.accessLog = testfiles::PathOf(folder.At("access.log"));
    StartService(DefaultCatalog(), options);
    httplib::Client client("127.0.0.1", service->Port());
    ASSERT_TRUE(client.Get(
        "/check?id=D01&version=2.0&format=json",
        httplib::Headers{{"User-Agent", "WinHTTP \"quoted\""}, {"Referer", "http://example/"}}));
    ASSERT_TRUE(client.Get("/nowhere"));
    service->Stop();

    const auto lines = Lines(testfiles::ReadFileBytes(folder.At("access.log")));
    ASSERT_EQ(lines.size(), 2u);
    const std::string time = R"(\[\d\d/(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)/\d{4})"
                             R"(:\d\d:\d\d:\d\d \+0000\])";
    EXPECT_TRUE(std::regex_match(
        lines[0], std::regex(R"(127\.0\.0\.1 - - )" + time +
                             R"( "GET /check\?id=D01&version=2\.0&format=json HTTP/1\.1" 200 \d+)"
                             R"( "http://example/" "WinHTTP \\"quoted\\"")")))
        << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(R"(127\.0\.0\.1 - - )" + time +
                                                      R"( "GET /nowhere HTTP/1\.1" 404 \d+)"
                                                      R"( "-" "cpp-httplib/[^"]*")")))
        << lines[1];
}

TEST_F(ServiceAccessLogTest, AnAccessLogThatCannotBeWrittenIsAServiceError) {
    orvservice::ServiceOptions options;
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
    options.accessLog = testfiles::PathOf(folder.At("no-such-folder/access.log"));
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), kGoodCatalog));
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01.zip"), "zip"));
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
}

}  // namespace
}  // namespace servicetest
