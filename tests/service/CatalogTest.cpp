// CatalogTest.cpp: the catalog checks behind the service's error messages, and the catalog example
// of the README.
#include "ServiceTestSupport.h"

namespace servicetest {
namespace {

class ServiceCatalogTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01.zip"), "zip"));
    }

    // What constructing a service over `catalog` throws; "" when it does not.
    std::string CatalogError(const std::string& catalog) {
        EXPECT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), catalog));
        orvservice::ServiceOptions options;
        options.catalog = testfiles::PathOf(folder.At("catalog.json"));
        options.files = testfiles::PathOf(folder.At("files"));
        try {
            orvservice::VersionService service(options);
        } catch (const orvservice::ServiceError& error) {
            return error.what();
        }
        return "";
    }

    testfiles::TempFolder folder;
};

TEST_F(ServiceCatalogTest, CatalogThatIsNotJsonIsRefused) {
    const std::string error = CatalogError("{\"objects\": [");
    EXPECT_NE(error.find("catalog " + folder.At("catalog.json")), std::string::npos) << error;
    EXPECT_NE(error.find("is not JSON"), std::string::npos) << error;
}

TEST_F(ServiceCatalogTest, CatalogOfTheWrongShapeIsRefused) {
    EXPECT_NE(CatalogError("[]").find("array \"objects\""), std::string::npos);
    EXPECT_NE(CatalogError(R"({"objects": {}})").find("array \"objects\""), std::string::npos);
    EXPECT_NE(CatalogError(R"({"objects": [3]})").find("object 1: is not a JSON object"),
              std::string::npos);
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": "1.0", "latest": "1.0"}]})")
                  .find("object \"A\": \"versions\" is not an array"),
              std::string::npos);
    EXPECT_NE(
        CatalogError(R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1", "lates": 1}]})")
            .find("unknown member \"lates\""),
        std::string::npos);
}

TEST_F(ServiceCatalogTest, ObjectWithoutIdIsRefusedByItsPosition) {
    const std::string error = CatalogError(R"({"objects": [
        {"id": "A", "versions": ["1"], "latest": "1"}, {"versions": ["1"], "latest": "1"}]})");
    EXPECT_NE(error.find("object 2: has no \"id\""), std::string::npos) << error;
}

TEST_F(ServiceCatalogTest, DuplicateIdIsRefused) {
    const std::string error = CatalogError(R"({"objects": [
        {"id": "A", "versions": ["1"], "latest": "1"}, {"id": "A", "versions": ["2"], "latest": "2"}]})");
    EXPECT_NE(error.find("object \"A\": the id is used twice"), std::string::npos) << error;
}

TEST_F(ServiceCatalogTest, FileMissingFromTheFolderIsRefused) {
    const std::string error = CatalogError(
        R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1", "file": "A.zip"}]})");
    EXPECT_NE(error.find("object \"A\": \"file\" \"A.zip\" is not a file in"), std::string::npos)
        << error;
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1",
                                            "file": "../catalog.json"}]})")
                  .find("is not a plain file name"),
              std::string::npos);
}

TEST_F(ServiceCatalogTest, UnknownFaultNameIsRefused) {
    const std::string error = CatalogError(R"({"objects": [{"id": "A", "versions": ["1"],
        "latest": "1", "faults": {"check": {"explode": true}}}]})");
    EXPECT_NE(error.find("object \"A\", faults \"check\": unknown fault \"explode\""),
              std::string::npos)
        << error;
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1",
                                            "faults": {"check": {"status": "500"}}}]})")
                  .find("fault \"status\" is not a whole number"),
              std::string::npos);
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1",
                                            "faults": {"download": {}}}]})")
                  .find("only \"check\" and \"file\""),
              std::string::npos);
}

// A catalog saved in another encoding would give answers that are not UTF-8, which JSON must be.
TEST_F(ServiceCatalogTest, TextThatIsNotUtf8IsRefused) {
    EXPECT_NE(CatalogError("{\"objects\": [{\"id\": \"D\xE8\", \"versions\": [\"1\"], "
                           "\"latest\": \"1\"}]}")
                  .find("object 1: holds a text that is not UTF-8"),
              std::string::npos);
    // An escaped lone surrogate is no character either.
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": ["1", "2\udc00"],
                                            "latest": "1"}]})")
                  .find("object 1: holds a text that is not UTF-8"),
              std::string::npos);
}

// The download route refuses a name with ".." in it, and a control character would break the
// quoted Content-Disposition, so a catalog cannot offer either.
TEST_F(ServiceCatalogTest, FileThatCannotBeDownloadedIsRefused) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01..zip"), "zip"));
    for (const char* file : {"D01..zip", "D01\\u0009.zip", "D01\\r.zip"}) {
        EXPECT_NE(CatalogError(std::string(R"({"objects": [{"id": "A", "versions": ["1"],
                                               "latest": "1", "file": ")") +
                               file + "\"}]}")
                      .find("is not a plain file name"),
                  std::string::npos)
            << file;
    }
}

// JsonCpp throws rather than fails on nesting past its limit; that is no JSON for the catalog.
TEST_F(ServiceCatalogTest, NestingPastTheParsersLimitIsRefusedAsNotJson) {
    const std::string error = CatalogError("{\"objects\": [" + std::string(2000, '[') + "]}");
    EXPECT_NE(error.find("is not JSON"), std::string::npos) << error;
}

TEST_F(ServiceCatalogTest, MissingCatalogOrFilesFolderIsRefused) {
    orvservice::ServiceOptions options;
    options.catalog = testfiles::PathOf(folder.At("none.json"));
    options.files = testfiles::PathOf(folder.At("files"));
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    options.catalog = testfiles::PathOf(folder.At("catalog.json"));
    options.files = testfiles::PathOf(folder.At("no-such-folder"));
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
}

// The catalog example of the README section is one the service accepts.
TEST_F(ServiceCatalogTest, ReadmeCatalogExampleIsAccepted) {
    const std::string text = testfiles::ReadFileBytes(ORV_SOURCE_DIR "/README.md");
    const std::size_t section = text.find("## orvservice");
    ASSERT_NE(section, std::string::npos);
    const std::size_t start = text.find("```json\n", section);
    ASSERT_NE(start, std::string::npos);
    const std::size_t end = text.find("```", start + 8);
    const std::string catalog = text.substr(start + 8, end - start - 8);
    for (const char* file : {"D01-2.0.zip", "W01-1.1.zip"}) {
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At(std::string("files/") + file), "zip"));
    }
    EXPECT_EQ(CatalogError(catalog), "");
}

}  // namespace
}  // namespace servicetest
