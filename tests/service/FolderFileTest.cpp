// FolderFileTest.cpp: a file in a folder of its own in the files folder, as publish places a plain
// part (FOLDER/NAME, NAME the part's own file name): the catalog names it, the check answer offers
// it step by step, /files/FOLDER/NAME serves it under NAME; any other form of path is refused.
#include "ServiceTestSupport.h"

#include <httplib.h>

namespace servicetest {
namespace {

// A name that needs percent-encoding in both forms: a space, a "+" and a UTF-8 letter.
const std::string kName = "G01 Door+\xC5\x99.gsm";
const std::string kPath = "G01-2.0/" + kName;
const std::string kAddress = "/files/G01-2.0/G01%20Door%2B%C5%99.gsm";
const std::string kBytes = "the part, version 2.0\n";

std::string CatalogOfFile(const std::string& file, const std::string& fileFaults = "{}") {
    return R"({"objects": [{"id": "G01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": ")" +
           file + R"(", "faults": {"file": )" + fileFaults + "}}]}";
}

class FolderFileTest : public ServiceTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/" + kPath, kBytes));
    }

    // What constructing a service over `catalog` throws; "" when it does not.
    std::string CatalogError(const std::string& catalog) {
        try {
            StartService(catalog);
        } catch (const orvservice::ServiceError& error) {
            return error.what();
        }
        return "";
    }

    httplib::Result Get(const std::string& target) {
        httplib::Client client("127.0.0.1", service->Port());
        return client.Get(target);
    }
};

TEST_F(FolderFileTest, CatalogNamesAFileInAFolderOfTheFilesFolder) {
    EXPECT_EQ(CatalogError(CatalogOfFile(kPath)), "");
    const std::string error = CatalogError(CatalogOfFile("G01-2.0/none.gsm"));
    EXPECT_NE(error.find("catalog " + CatalogPath() +
                         ": object \"G01\": \"file\" "
                         "\"G01-2.0/none.gsm\" is not a file in"),
              std::string::npos)
        << error;
}

TEST_F(FolderFileTest, CatalogRefusesEveryOtherFormOfPath) {
    // Each of them a file or a folder on disk, so that the form alone is refused.
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/G01-2.0/sub/deep.gsm", "deep"));
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("outside.gsm"), "outside"));
    std::vector<std::string> paths = {"../outside.gsm",
                                      "./G01-2.0/" + kName,
                                      "G01-2.0/./" + kName,
                                      "G01-2.0/../outside.gsm",
                                      "G01-2.0/sub/deep.gsm",
                                      "/G01-2.0/" + kName,
                                      "G01-2.0/",
                                      "/" + kName,
                                      "G01-2.0//" + kName,
                                      "G01-2.0\\\\" + kName,
                                      "C:/x.gsm",
                                      "G01-2.0/C:x.gsm",
                                      "G01-2.0/.",
                                      "G01-2.0/..",
                                      "G01-2.0/x\\u0009.gsm"};
    for (const std::string& path : paths) {
        const std::string error = CatalogError(CatalogOfFile(path));
        EXPECT_NE(error.find("catalog " + CatalogPath() + ": object \"G01\": \"file\""),
                  std::string::npos)
            << path << ": " << error;
        EXPECT_NE(error.find("is not a plain file name, nor FOLDER/NAME of two plain names"),
                  std::string::npos)
            << path << ": " << error;
    }
}

TEST_F(FolderFileTest, CheckAnswerOffersThePathEachStepPercentEncoded) {
    StartService(CatalogOfFile(kPath));
    const auto res = Get("/check?id=G01&version=1.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(ParseJson(res->body)["url"], Url(kAddress));
}

TEST_F(FolderFileTest, FilesUrlBaseIsFollowedByThePath) {
    orvservice::ServiceOptions options;
    options.filesUrl = "https://files.example/orv";
    StartService(CatalogOfFile(kPath), options);
    const auto res = Get("/check?id=G01&version=1.0&format=json");
    ASSERT_TRUE(res);
    EXPECT_EQ(ParseJson(res->body)["url"],
              "https://files.example/orv/G01-2.0/G01%20Door%2B%C5%99.gsm");
}

TEST_F(FolderFileTest, DownloadGivesTheBytesUnderTheLastStepsName) {
    StartService(CatalogOfFile(kPath));
    const auto res = Get(kAddress);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, kBytes);
    // httplib's client hands the value percent-decoded; curl below shows it as sent.
    EXPECT_EQ(res->get_header_value("Content-Disposition"),
              "attachment; filename*=UTF-8''" + kName);
    if (!testfiles::kLinuxTools) {
        return;
    }
    const CurlResult result = Curl(Url(kAddress));
    EXPECT_EQ(result.body, kBytes);
    EXPECT_EQ(result.Header("Content-Disposition"),
              "attachment; filename*=UTF-8''G01%20Door+%C5%99.gsm");
}

// The object's file faults are found by its path.
TEST_F(FolderFileTest, FileFaultsOfTheObjectApplyToItsPath) {
    StartService(CatalogOfFile(kPath, R"({"quoted_filename": true})"));
    const auto res = Get(kAddress);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->get_header_value("Content-Disposition"),
              "attachment; filename=\"" + kName + "\"");
}

TEST_F(FolderFileTest, RouteRefusesEveryOtherFormOfPath) {
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/G01-2.0/sub/deep.gsm", "deep"));
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("secret.txt"), "secret"));
    StartService(CatalogOfFile(kPath));
    // "%2F" is a byte of a name, never a step: no name holds it.
    for (const std::string target :
         {"/files/G01-2.0%2FG01%20Door%2B%C5%99.gsm", "/files/G01-2.0/sub/deep.gsm",
          "/files/G01-2.0/sub", "/files/G01-2.0", "/files/G01-2.0/", "/files//G01-2.0",
          "/files/G01-2.0//G01%20Door%2B%C5%99.gsm", "/files/G01-2.0/..%2F..%2Fsecret.txt",
          "/files/%2E%2E/secret.txt", "/files/G01-2.0/%2E%2E", "/files/C%3A/x.gsm"}) {
        const auto res = Get(target);
        ASSERT_TRUE(res) << target;
        EXPECT_EQ(res->status, 404) << target;
        EXPECT_EQ(res->body.find("secret"), std::string::npos) << target;
    }
    if (!testfiles::kLinuxTools) {
        return;
    }
    for (const char* target : {"/files/G01-2.0/../../secret.txt", "/files/./G01-2.0/x",
                               "/files/G01-2.0/./G01%20Door%2B%C5%99.gsm"}) {
        const CurlResult result = Curl(Url(target), "--path-as-is");
        EXPECT_EQ(result.Status(), 404) << target;
        EXPECT_EQ(result.body.find("secret"), std::string::npos) << target;
    }
}

}  // namespace
}  // namespace servicetest
