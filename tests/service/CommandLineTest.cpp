// CommandLineTest.cpp: the orvservice command (usage, catalog errors, the listening line, a clean
// stop on a signal, --log, the publish and stats commands' exit statuses); run through the Linux
// shell, so built on Linux only.
#include "GdlPartXml.h"
#include "ServiceTestSupport.h"

#include <boost/asio.hpp>
#include <csignal>
#include <filesystem>
#include <regex>
#include <vector>

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

    std::string Arguments() const {
        return "--catalog " + testfiles::Quote(folder.At("catalog.json")) + " --files " +
               testfiles::Quote(folder.At("files"));
    }

    testfiles::TempFolder folder;
};

TEST_F(ServiceCommandLineTest, BadCommandLinePrintsUsageAndExits2) {
    for (const char* arguments :
         {"", "--catalog x.json", "--files d", "--frobnicate",
          "--catalog a --files b --listen nowhere",
          "--catalog a --files b --listen 127.0.0.1:70000", "--catalog a --files b --cert c.pem",
          "--catalog", "--catalog a --files b --request-timeout 0",
          "--catalog a --files b --threads x"}) {
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
    // The access log's line, in the Combined Log Format.
    const std::string logged = command.ReadLine();
    EXPECT_TRUE(std::regex_match(
        logged, std::regex(R"(127\.0\.0\.1 - - \[\d\d/\w\w\w/\d{4}:\d\d:\d\d:\d\d \+0000\] )"
                           R"("GET /check\?id=D01&version=1\.0&format=json HTTP/1\.1" 200 \d+ "-" )"
                           R"("curl/[^"]*")")))
        << logged;

    command.Signal(SIGTERM);
    EXPECT_EQ(command.Wait(), 0);
}

TEST_F(ServiceCommandLineTest, SighupTakesTheCatalogAgain) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    BackgroundCommand command(std::string(ORVSERVICE) + " " + Arguments());
    const std::string line = command.ReadLine();
    const std::string prefix = "orvservice listening on ";
    ASSERT_EQ(line.rfind(prefix, 0), 0u) << line;
    const std::string check = line.substr(prefix.size()) + "/check?id=D01&version=1.0&format=json";
    EXPECT_EQ(ParseJson(Curl(check).body)["version"], "2.0");

    // The same size and time, so that only the signal can tell the service of the change.
    const auto path = testfiles::PathOf(folder.At("catalog.json"));
    const auto time = std::filesystem::last_write_time(path);
    std::string changed = kGoodCatalog;
    changed.replace(changed.find(R"("latest": "2.0")"), 15, R"("latest": "1.0")");
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), changed));
    std::filesystem::last_write_time(path, time);
    command.Signal(SIGHUP);

    // Asked until the signal has been acted on; the limit only turns a hang into a failure.
    std::string latest;
    for (int round = 0; round < 2000 && latest != "1.0"; ++round) {
        latest = ParseJson(Curl(check).body)["version"].asString();
    }
    EXPECT_EQ(latest, "1.0");
    command.Signal(SIGTERM);
    EXPECT_EQ(command.Wait(), 0);
}

TEST_F(ServiceCommandLineTest, OutOfDescriptorsItServesAgainOnceSomeAreFree) {
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizers check an object's type through a pipe of their own, which cannot be opened
    // while the service has no descriptor left, and end it: run with the release build.
    GTEST_SKIP() << "the sanitizers cannot run out of descriptors";
#endif
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    BackgroundCommand command("prlimit --nofile=16 " + std::string(ORVSERVICE) + " " + Arguments() +
                              " --listen 127.0.0.1:0 --threads 1");
    const std::string line = command.ReadLine();
    const std::string prefix = "orvservice listening on http://127.0.0.1:";
    ASSERT_EQ(line.rfind(prefix, 0), 0u) << line;
    const auto port = static_cast<uint16_t>(std::stoi(line.substr(prefix.size())));
    {
        // More clients than the service has descriptors for: it takes what it can.
        boost::asio::io_context context;
        std::vector<boost::asio::ip::tcp::socket> clients;
        for (int i = 0; i < 30; ++i) {
            clients.emplace_back(context).connect(
                {boost::asio::ip::make_address("127.0.0.1"), port});
        }
    }
    const CurlResult result =
        Curl("http://127.0.0.1:" + std::to_string(port) + "/check?id=D01&version=1.0&format=json");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(ParseJson(result.body)["version"], "2.0");
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

TEST_F(ServiceCommandLineTest, PublishAddsAReleaseRefusesWith1AndMisunderstandsWith2) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kGoodCatalog));
    ASSERT_TRUE(testfiles::WriteFileBytes(
        folder.At("door.xml"), testfiles::MonitoredPartXml("http://x/check?id=D01&version=1.0")));
    const std::string publish = "publish " + Arguments() + " --id D01 ";
    const std::string part = " " + testfiles::Quote(folder.At("door.xml"));
    std::string output;

    EXPECT_EQ(Run(publish + "--version 3.0" + part, &output), 0) << output;
    EXPECT_NE(output.find("D01 3.0 is the latest"), std::string::npos) << output;
    EXPECT_TRUE(testfiles::Exists(folder.At("files/D01-3.0/door.xml")));

    const std::string catalog = testfiles::ReadFileBytes(folder.At("catalog.json"));
    EXPECT_EQ(Run(publish + "--version 3.0" + part, &output), 1) << output;
    EXPECT_EQ(output, "orvservice publish: object D01 has version 3.0 already (versions)\n");
    EXPECT_EQ(Run(publish + "--version 4.0 --force" + part, &output), 2) << output;
    EXPECT_NE(output.find("usage: orvservice publish"), std::string::npos) << output;
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("catalog.json")), catalog);
}

TEST_F(ServiceCommandLineTest, StatsCountsTheLogAndNamesOneItCannotRead) {
    ASSERT_TRUE(testfiles::WriteFileBytes(
        folder.At("access.log"), "127.0.0.1 - - [24/Nov/2026:03:02:15 +0000] \"GET "
                                 "/check?id=D01&version=1.0&format=json HTTP/1.1\" 200 123 \"-\" "
                                 "\"WinHTTP\"\n"));
    std::string output;
    EXPECT_EQ(Run("stats " + testfiles::Quote(folder.At("access.log")) + " --json", &output), 0)
        << output;
    const Json::Value root = ParseJson(output);
    EXPECT_EQ(root["objects"][0]["versions"][0]["checks"], 1) << output;

    EXPECT_EQ(Run("stats " + testfiles::Quote(folder.At("none.log")), &output), 1);
    EXPECT_EQ(output, "orvservice stats: " + folder.At("none.log") + " cannot be read\n");
    EXPECT_EQ(Run("stats", &output), 2);
    EXPECT_NE(output.find("usage: orvservice stats LOG"), std::string::npos) << output;
}

}  // namespace
}  // namespace servicetest
