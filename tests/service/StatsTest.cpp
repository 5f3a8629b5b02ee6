// StatsTest.cpp: orvservice stats, run in-process over access logs in the Combined Log Format:
// the counts per object and version, the period, the JSON, lines that are not in the format, and
// logs and command lines it cannot use.
#include "service/Stats.h"

#include "ServiceTestSupport.h"

namespace servicetest {
namespace {

using namespace std::string_literals;

// One log line as the service writes it.
std::string Line(const std::string& day, const std::string& request, int status = 200) {
    return "127.0.0.1 - - [" + day + ":03:02:15 +0000] \"" + request + "\" " +
           std::to_string(status) + " 123 \"-\" \"WinHTTP\"\n";
}

std::string Check(const std::string& day, const std::string& query, int status = 200) {
    return Line(day, "GET /check?" + query + " HTTP/1.1", status);
}

class StatsTest : public ::testing::Test {
protected:
    // The exit status; what the command wrote goes to `out` and `err`.
    int Stats(const std::vector<std::string>& arguments) {
        std::vector<std::string> args = {"orvservice", "stats"};
        args.insert(args.end(), arguments.begin(), arguments.end());
        return RunInProcess(orvservice::RunStats, args, out, err);
    }

    std::string Log(const std::string& text) {
        EXPECT_TRUE(testfiles::WriteFileBytes(folder.At("access.log"), text));
        return folder.At("access.log");
    }

    testfiles::TempFolder folder;
    std::string out;
    std::string err;
};

// Three days of checks of every kind, and requests that are no checks.
std::string ThreeDays() {
    return Check("23/Nov/2026", "id=D01&version=1.0&format=json") +
           Check("24/Nov/2026", "id=D01&version=1.0&format=json", 404) +
           Check("24/Nov/2026", "id=D01&version=1.10&format=json") +
           Check("24/Nov/2026", "id=D01&version=1.9&format=json") +
           Line("24/Nov/2026", "GET /files/D01-2.0.zip HTTP/1.1") +
           Line("24/Nov/2026", "HEAD /check?id=W01&version=1 HTTP/1.1") +
           Line("24/Nov/2026", "-", 408) + Check("24/Nov/2026", "version=1.0") +
           Check("25/Nov/2026", "id=D%30%31&version=2.0") +
           Check("25/Nov/2026", "id=L%C3%A1mpa&version=1.0+beta&fault_status=503", 503) +
           Check("25/Nov/2026", "id=W01") +
           Line("25/Nov/2026", "GET /ch%65ck?id=D01&version=2.0 HTTP/1.1") +
           Line("25/Nov/2026", "GET /check/?id=X01&version=1 HTTP/1.1", 404);
}

TEST_F(StatsTest, CountsChecksPerObjectAndVersionInAReadableTable) {
    const std::string log = Log(ThreeDays());
    ASSERT_EQ(Stats({log}), 0) << err;
    EXPECT_EQ(err, "");
    EXPECT_EQ(out, "Version checks per object and version, 2026-11-23 to 2026-11-25, from " + log +
                       "\n"
                       "\n"
                       "id     version     checks\n"
                       "D01    1.0              2\n"
                       "D01    1.9              1\n"
                       "D01    1.10             1\n"
                       "D01    2.0              2\n"
                       "Lámpa  1.0 beta         1\n"
                       "W01    (none)           1\n"
                       "W01    1                1\n"
                       "\n"
                       "10 checks in the period, 1 of them without an id; 13 lines read, 0 "
                       "skipped as malformed\n");
}

TEST_F(StatsTest, FromAndToLimitTheDaysBothIncluded) {
    const std::string log = Log(ThreeDays());
    ASSERT_EQ(Stats({log, "--from", "2026-11-24", "--to", "2026-11-24"}), 0) << err;
    EXPECT_NE(out.find("2026-11-24 to 2026-11-24"), std::string::npos) << out;
    EXPECT_NE(out.find("D01  1.0             1\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("2.0"), std::string::npos) << out;
    EXPECT_NE(out.find("\n5 checks in the period, 1 of them without an id"), std::string::npos)
        << out;

    ASSERT_EQ(Stats({log, "--from", "2026-11-25"}), 0) << err;
    EXPECT_NE(out.find("2026-11-25 to 2026-11-25"), std::string::npos) << out;
    EXPECT_NE(out.find("\n4 checks in the period;"), std::string::npos) << out;

    ASSERT_EQ(Stats({log, "--to", "2026-11-22"}), 0) << err;
    EXPECT_NE(out.find(", 2026-11-23 to 2026-11-22, from"), std::string::npos) << out;
    EXPECT_NE(out.find("no checks with an id in this period"), std::string::npos) << out;
}

TEST_F(StatsTest, JsonGivesTheSameCounts) {
    const std::string log = Log(ThreeDays());
    ASSERT_EQ(Stats({log, "--json", "--from", "2026-11-24"}), 0) << err;
    const Json::Value root = ParseJson(out);
    EXPECT_EQ(root["from"], "2026-11-24");
    EXPECT_EQ(root["to"], "2026-11-25");
    EXPECT_EQ(root["checks"], 9);
    EXPECT_EQ(root["checks_without_id"], 1);
    EXPECT_EQ(root["lines"], 13);
    EXPECT_EQ(root["malformed_lines"], 0);
    const Json::Value& objects = root["objects"];
    ASSERT_EQ(objects.size(), 3u) << out;
    EXPECT_EQ(objects[0]["id"], "D01");
    EXPECT_EQ(objects[0]["checks"], 5);
    ASSERT_EQ(objects[0]["versions"].size(), 4u);
    EXPECT_EQ(objects[0]["versions"][2]["version"], "1.10");
    EXPECT_EQ(objects[0]["versions"][2]["checks"], 1);
    EXPECT_EQ(objects[1]["id"], "Lámpa");
    EXPECT_EQ(objects[2]["versions"][0]["version"], "");
}

TEST_F(StatsTest, EmptyLogHasNoPeriodAndNoChecks) {
    ASSERT_EQ(Stats({Log(""), "--json"}), 0) << err;
    const Json::Value root = ParseJson(out);
    EXPECT_TRUE(root["from"].isNull());
    EXPECT_TRUE(root["to"].isNull());
    EXPECT_EQ(root["objects"].size(), 0u);
    EXPECT_EQ(root["lines"], 0);
}

TEST_F(StatsTest, LinesNotInTheFormatAreSkippedAndCounted) {
    const std::string good = Check("24/Nov/2026", "id=D01&version=1.0");
    const std::string log = Log(
        good + "garbage\n" + good.substr(0, good.size() - 20) + "\n" +
        Check("31/Feb/2026", "id=D01&version=1.0") + Check("24/Foo/2026", "id=D01&version=1.0") +
        "\x01\x02\xff\xfe\n" + "\n" + good.substr(0, good.size() - 1) + "\r\n" +
        "127.0.0.1 - - [24/Nov/2026:03:02:15 +0000] \"GET /check?id=D01&version=1.0 "
        "HTTP/1.1\" 200 - \"-\" \"Mozilla \\\"quoted\\\"\"\n" +
        "127.0.0.1 - - [24/Nov/2026:03:02:15 +0000] \"GET /check?id=D01&version=1.0 "
        "HTTP/1.1\" 200 12x \"-\" \"-\"\n" +
        "127.0.0.1 - - [24/Nov/2026:25:02:15 +0000] \"GET /check?id=D01&version=1.0 "
        "HTTP/1.1\" 200 1 \"-\" \"-\"\n" +
        "127.0.0.1 - - [24/Nov/2026:03:02:15 +0000] \"GET /check?id=D01&version=1.0 "
        "HTTP/1.1 200 1 \"-\" \"-\"\n" +
        "127.0.0.1 - - [24/Nov/2026:03:02:15 +0000] \"GET /check?id=D01&version=1.0 "
        "HTTP/1.1\" 200 1 \"-\"\n" +
        "a b c [24/Nov/2026:03:02:15 +0000] \"\x00\" 200 1 \"-\" \"-\""s + "\n" + good);
    ASSERT_EQ(Stats({log}), 0) << err;
    // A line of a request that is no check, "\0", is in the format: not counted as malformed.
    EXPECT_NE(out.find("D01  1.0             4\n"), std::string::npos) << out;
    EXPECT_NE(out.find("4 checks in the period; 14 lines read, 9 skipped as malformed\n"),
              std::string::npos)
        << out;
}

TEST_F(StatsTest, LogThatCannotBeReadIsNamedAndExits1) {
    EXPECT_EQ(Stats({folder.At("missing.log")}), 1);
    EXPECT_EQ(err, "orvservice stats: " + folder.At("missing.log") + " cannot be read\n");
    EXPECT_EQ(out, "");
    EXPECT_EQ(Stats({folder.Path().string()}), 1);
    EXPECT_NE(err.find("cannot be read"), std::string::npos) << err;
}

TEST_F(StatsTest, CommandLineItDoesNotUnderstandIsAUsageError) {
    const std::string log = Log(ThreeDays());
    const std::vector<std::pair<std::vector<std::string>, std::string>> lines = {
        {{}, "the LOG to read is missing"},
        {{log, log}, "one LOG only, not 2"},
        {{log, "--frobnicate"}, "unknown option \"--frobnicate\""},
        {{log, "--from"}, "--from needs a day, YYYY-MM-DD"},
        {{log, "--from", "2026-02-30"}, "--from takes a day as YYYY-MM-DD, not \"2026-02-30\""},
        {{log, "--to", "24/Nov/2026"}, "--to takes a day as YYYY-MM-DD"},
        {{log, "--from", "2026-11-25", "--to", "2026-11-24"},
         "--from 2026-11-25 comes after --to 2026-11-24"},
        {{log, "--to", "2026-11-24", "--to", "2026-11-25"}, "--to is given twice"},
    };
    for (const auto& [arguments, expected] : lines) {
        EXPECT_EQ(Stats(arguments), 2) << expected;
        EXPECT_NE(err.find(expected), std::string::npos) << err;
        EXPECT_NE(err.find("usage: orvservice stats LOG [--from YYYY-MM-DD] [--to YYYY-MM-DD] "
                           "[--json]"),
                  std::string::npos)
            << err;
        EXPECT_EQ(out, "");
    }
    EXPECT_EQ(Stats({log, "--from", "2024-02-29"}), 0) << err;
}

TEST_F(StatsTest, HelpDescribesTheCommand) {
    EXPECT_EQ(Stats({"--help"}), 0);
    EXPECT_NE(out.find("usage: orvservice stats LOG"), std::string::npos) << out;
    EXPECT_NE(out.find("Combined Log Format"), std::string::npos) << out;
}

}  // namespace
}  // namespace servicetest
