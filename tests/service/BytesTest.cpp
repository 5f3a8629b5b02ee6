// ServiceBytesTest.cpp: the byte source for tests of HTTP clients: its pattern, sizes, and faults.
#include "ServiceTestSupport.h"

#include <httplib.h>

namespace servicetest {
namespace {

using ServiceBytesTest = ServiceTest;

std::string Pattern(std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>('0' + i % 10);
    }
    return bytes;
}

TEST_F(ServiceBytesTest, SizeGivesThatManyBytesOfThePatternWithContentLength) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/bytes?size=25");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, "0123456789012345678901234");
    EXPECT_EQ(res->get_header_value("Content-Length"), "25");
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/octet-stream");
    EXPECT_FALSE(res->has_header("Content-Disposition"));
}

TEST_F(ServiceBytesTest, LargeSizeStreamsThePatternWithoutError) {
    StartService();
    const std::size_t size = 20 * 1024 * 1024 + 3;
    httplib::Client client("127.0.0.1", service->Port());
    std::size_t received = 0;
    bool inPattern = true;
    const auto res = client.Get(
        "/bytes?size=" + std::to_string(size), [&](const char* data, std::size_t length) {
            for (std::size_t i = 0; i < length; ++i) {
                inPattern = inPattern && data[i] == static_cast<char>('0' + (received + i) % 10);
            }
            received += length;
            return true;
        });
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(received, size);
    EXPECT_TRUE(inPattern);
}

TEST_F(ServiceBytesTest, ZeroSizeIsAnEmptyBody) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result = Curl(Url("/bytes?size=0"));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.Status(), 200);
    EXPECT_EQ(result.Header("Content-Length"), "0");
    EXPECT_TRUE(result.body.empty());
}

TEST_F(ServiceBytesTest, MissingOrBadSizeIs400) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    for (const char* target : {"/bytes", "/bytes?size=", "/bytes?size=12x", "/bytes?size=-1"}) {
        const auto res = client.Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 400) << target;
    }
}

TEST_F(ServiceBytesTest, ChunkedFaultSendsAllBytesWithoutContentLength) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result = Curl(Url("/bytes?size=100000&fault_chunked=1"));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.Header("Transfer-Encoding"), "chunked");
    EXPECT_TRUE(result.Header("Content-Length").empty());
    EXPECT_EQ(result.body, Pattern(100000));
}

TEST_F(ServiceBytesTest, DispositionFaultSendsThatExactValue) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result =
        Curl(Url("/bytes?size=3&fault_disposition=attachment%3B%20filename%3D%22a%20b.zip%22"));
    EXPECT_EQ(result.Header("Content-Disposition"), "attachment; filename=\"a b.zip\"");
    EXPECT_EQ(result.body, "012");
}

TEST_F(ServiceBytesTest, CutBodyFaultSendsHalfUnderTheFullLength) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result = Curl(Url("/bytes?size=50000&fault_cut_body=1"));
    EXPECT_EQ(result.exitCode, 18) << result.output;
    EXPECT_EQ(result.Header("Content-Length"), "50000");
    EXPECT_EQ(result.body, Pattern(25000));
}

TEST_F(ServiceBytesTest, CloseMidBodyFaultSendsSomeChunksThenCloses) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result = Curl(Url("/bytes?size=50000&fault_close_mid_body=1"));
    EXPECT_EQ(result.exitCode, 18) << result.output;
    EXPECT_EQ(result.Header("Transfer-Encoding"), "chunked");
    EXPECT_EQ(result.body, Pattern(25000));
}

TEST_F(ServiceBytesTest, StatusBodyDelayAndRedirectFaultsApply) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    EXPECT_EQ(client.Get("/bytes?size=10&fault_status=503")->status, 503);
    EXPECT_EQ(client.Get("/bytes?size=10&fault_body=hello")->body, "hello");
    const auto redirected = client.Get("/bytes?size=10&fault_redirect=1");
    ASSERT_TRUE(redirected);
    EXPECT_EQ(redirected->status, 302);
    EXPECT_EQ(redirected->get_header_value("Location"), Url("/bytes?size=10"));
}

}  // namespace
}  // namespace servicetest
