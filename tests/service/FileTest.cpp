// ServiceFileTest.cpp: downloads from the files folder: bytes, headers, names that need encoding,
// and the names the service refuses.
#include "ServiceTestSupport.h"

#include <httplib.h>

namespace servicetest {
namespace {

using ServiceFileTest = ServiceTest;

TEST_F(ServiceFileTest, DownloadGivesTheBytesAndTheAttachmentHeaders) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    const auto res = client.Get("/files/D01%202.0%2B%C5%99.zip");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, D01Bytes());
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/octet-stream");
    EXPECT_EQ(res->get_header_value("Content-Length"), std::to_string(D01Bytes().size()));
    // httplib's client percent-decodes header values; curl shows them as sent. RFC 5987: "+" is
    // an attr-char and stays; the space and the UTF-8 bytes are encoded.
    if (!testfiles::kLinuxTools) {
        return;  // the rest checks through curl, a Linux tool
    }
    const CurlResult result = Curl(Url("/files/D01%202.0%2B%C5%99.zip"));
    EXPECT_EQ(result.body, D01Bytes());
    EXPECT_EQ(result.Header("Content-Disposition"),
              "attachment; filename*=UTF-8''D01%202.0+%C5%99.zip");
}

TEST_F(ServiceFileTest, CurlDownloadsTheSameBytes) {
    SKIP_WITHOUT_CURL();
    StartService();
    const CurlResult result = Curl(Url("/files/P01.zip"));
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.Status(), 200);
    EXPECT_EQ(result.body, "PK plain file");
    EXPECT_EQ(result.Header("Content-Disposition"), "attachment; filename*=UTF-8''P01.zip");
}

TEST_F(ServiceFileTest, FileOfTheFolderThatNoObjectNamesIsServedToo) {
    SKIP_WITHOUT_CURL();
    StartService();
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/extra.bin", "extra"));
    const CurlResult result = Curl(Url("/files/extra.bin"));
    EXPECT_EQ(result.Status(), 200);
    EXPECT_EQ(result.body, "extra");
}

TEST_F(ServiceFileTest, UnknownFileIs404) {
    StartService();
    httplib::Client client("127.0.0.1", service->Port());
    for (const char* target : {"/files/none.zip", "/files/", "/files"}) {
        const auto res = client.Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 404) << target;
    }
}

TEST_F(ServiceFileTest, PathTraversalIsRefused) {
    StartService();
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("secret.txt"), "secret"));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/sub/inner.zip", "inner"));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/a..b", "dots"));
    httplib::Client client("127.0.0.1", service->Port());
    for (const char* target :
         {"/files/..%2Fsecret.txt", "/files/%2E%2E%2Fsecret.txt", "/files/..%5Csecret.txt",
          "/files/sub%2Finner.zip", "/files/..", "/files/a..b", "/files/%2Fetc%2Fpasswd"}) {
        const auto res = client.Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 404) << target;
        EXPECT_EQ(res->body.find("secret"), std::string::npos) << target;
    }
    // curl sends the dots as they are with --path-as-is.
    if (!testfiles::kLinuxTools) {
        return;  // the rest checks through curl, a Linux tool
    }
    const CurlResult result = Curl(Url("/files/../secret.txt"), "--path-as-is");
    EXPECT_EQ(result.Status(), 404);
    EXPECT_EQ(result.body.find("secret"), std::string::npos);
}

}  // namespace
}  // namespace servicetest
