// ServiceCommandLineTest.cpp: the orvservice command (usage, catalog errors, the listening line, a
// clean stop on a signal, --log) and the catalog checks behind its error messages.
#include "ServiceTestSupport.h"

#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

namespace servicetest {
namespace {

class ServiceCommandLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01.zip"), "zip"));
    }

    // The command's exit status and what it printed.
    int Run(const std::string& arguments, std::string* output) {
        return testfiles::RunCommand(std::string(ORVSERVICE) + " " + arguments, output);
    }

    // What constructing a service over `catalog` throws; "" when it does not.
    std::string CatalogError(const std::string& catalog) {
        EXPECT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), catalog));
        orvservice::ServiceOptions options;
        options.catalog = folder.At("catalog.json");
        options.files = folder.At("files");
        try {
            orvservice::VersionService service(options);
        } catch (const orvservice::ServiceError& error) {
            return error.what();
        }
        return "";
    }

    std::string Arguments() const {
        return "--catalog " + testfiles::Quote(folder.At("catalog.json")) + " --files " +
               testfiles::Quote(folder.At("files"));
    }

    testfiles::TempFolder folder;
};

const char* const kGoodCatalog =
    R"({"objects": [{"id": "D01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": "D01.zip"}]})";

TEST_F(ServiceCommandLineTest, BadCommandLinePrintsUsageAndExits2) {
    for (const char* arguments : {"", "--catalog x.json", "--files d", "--frobnicate",
                                  "--catalog a --files b --listen nowhere",
                                  "--catalog a --files b --listen 127.0.0.1:70000",
                                  "--catalog a --files b --cert c.pem", "--catalog"}) {
        std::string output;
        EXPECT_EQ(Run(arguments, &output), 2) << arguments;
        EXPECT_NE(output.find("usage: orvservice --catalog FILE --files DIR"), std::string::npos)
            << arguments << ": " << output;
    }
}

TEST_F(ServiceCommandLineTest, HelpDescribesTheCommandAndExits0) {
    std::string output;
    EXPECT_EQ(Run("--help", &output), 0);
    EXPECT_NE(output.find("usage: orvservice"), std::string::npos);
    EXPECT_NE(output.find("/check?id=ID&version=V&format=json"), std::string::npos);
    EXPECT_NE(output.find("fault_NAME"), std::string::npos);
}

TEST_F(ServiceCommandLineTest, BadCatalogIsNamedWithTheObjectAndExits1) {
    ASSERT_TRUE(testfiles::WriteFileBytes(
        folder.At("catalog.json"),
        R"({"objects": [{"id": "D01", "versions": ["1.0"], "latest": "2.0"}]})"));
    std::string output;
    EXPECT_EQ(Run(Arguments(), &output), 1);
    EXPECT_NE(output.find(folder.At("catalog.json")), std::string::npos) << output;
    EXPECT_NE(output.find("object \"D01\""), std::string::npos) << output;
    EXPECT_NE(output.find("\"latest\" \"2.0\" is not among \"versions\""), std::string::npos)
        << output;
}

TEST_F(ServiceCommandLineTest, CatalogThatIsNotJsonIsRefused) {
    const std::string error = CatalogError("{\"objects\": [");
    EXPECT_NE(error.find("catalog " + folder.At("catalog.json")), std::string::npos) << error;
    EXPECT_NE(error.find("is not JSON"), std::string::npos) << error;
}

TEST_F(ServiceCommandLineTest, CatalogOfTheWrongShapeIsRefused) {
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

TEST_F(ServiceCommandLineTest, ObjectWithoutIdIsRefusedByItsPosition) {
    const std::string error = CatalogError(R"({"objects": [
        {"id": "A", "versions": ["1"], "latest": "1"}, {"versions": ["1"], "latest": "1"}]})");
    EXPECT_NE(error.find("object 2: has no \"id\""), std::string::npos) << error;
}

TEST_F(ServiceCommandLineTest, DuplicateIdIsRefused) {
    const std::string error = CatalogError(R"({"objects": [
        {"id": "A", "versions": ["1"], "latest": "1"}, {"id": "A", "versions": ["2"], "latest": "2"}]})");
    EXPECT_NE(error.find("object \"A\": the id is used twice"), std::string::npos) << error;
}

TEST_F(ServiceCommandLineTest, FileMissingFromTheFolderIsRefused) {
    const std::string error = CatalogError(
        R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1", "file": "A.zip"}]})");
    EXPECT_NE(error.find("object \"A\": \"file\" \"A.zip\" is not a file in"), std::string::npos)
        << error;
    EXPECT_NE(CatalogError(R"({"objects": [{"id": "A", "versions": ["1"], "latest": "1",
                                            "file": "../catalog.json"}]})")
                  .find("is not a plain file name"),
              std::string::npos);
}

TEST_F(ServiceCommandLineTest, UnknownFaultNameIsRefused) {
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

TEST_F(ServiceCommandLineTest, MissingCatalogOrFilesFolderIsRefused) {
    orvservice::ServiceOptions options;
    options.catalog = folder.At("none.json");
    options.files = folder.At("files");
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    options.catalog = folder.At("catalog.json");
    options.files = folder.At("no-such-folder");
    EXPECT_THROW(orvservice::VersionService{options}, orvservice::ServiceError);
}

TEST_F(ServiceCommandLineTest, PrintsTheListeningLineServesAndStopsOnSigterm) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    BackgroundCommand command(std::string(ORVSERVICE) + " " + Arguments() +
                              " --listen 127.0.0.1:0 --log");
    const std::string line = command.ReadLine();
    std::smatch match;
    ASSERT_TRUE(std::regex_match(
        line, match, std::regex(R"(orvservice listening on http://127\.0\.0\.1:(\d+))")))
        << line;
    const std::string port = match[1];
    EXPECT_NE(port, "0");

    const CurlResult result =
        Curl("http://127.0.0.1:" + port + "/check?id=D01&version=1.0&format=json");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(ParseJson(result.body)["url"], "http://127.0.0.1:" + port + "/files/D01.zip");
    EXPECT_EQ(command.ReadLine(), "GET /check?id=D01&version=1.0&format=json 200");

    command.Signal(SIGTERM);
    EXPECT_EQ(command.Wait(), 0);
}

TEST_F(ServiceCommandLineTest, StopsOnSigintToo) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    BackgroundCommand command(std::string(ORVSERVICE) + " " + Arguments());
    ASSERT_NE(command.ReadLine().find("orvservice listening on http://127.0.0.1:"),
              std::string::npos);
    command.Signal(SIGINT);
    EXPECT_EQ(command.Wait(), 0);
}

// The catalog example of the README section is one the service accepts.
TEST_F(ServiceCommandLineTest, ReadmeCatalogExampleIsAccepted) {
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
