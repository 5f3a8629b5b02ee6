// ParseUrlTest.cpp: how URLs are split into scheme, host, port, path and query, including the
// readings that look odd but are kept on purpose.
#include "NetTestSupport.h"
#include "net/HttpGet.h"

#include <gtest/gtest.h>

using nettest::Uni;
using nettest::Utf8;

namespace {

struct Split {
    std::string scheme, host, path, query, pathAndQuery;
    uint16_t port;
};

Split Parse(const std::string& url) {
    const ParsedUrl parsed = ParseUrl(Uni(url));
    return {Utf8(parsed.scheme), Utf8(parsed.host),         Utf8(parsed.path),
            Utf8(parsed.query),  Utf8(parsed.pathAndQuery), parsed.port};
}

TEST(ParseUrl, HostWithoutPathGivesRootPathAndNoPort) {
    const Split url = Parse("http://host");
    EXPECT_EQ(url.scheme, "http");
    EXPECT_EQ(url.host, "host");
    EXPECT_EQ(url.path, "/");
    EXPECT_EQ(url.pathAndQuery, "/");
    EXPECT_EQ(url.query, "");
    // 0: the request then goes to the scheme's port, 80 (see HttpGetTest).
    EXPECT_EQ(url.port, 0);
}

TEST(ParseUrl, PortPathAndQueryAreSplit) {
    const Split url = Parse("http://host:8080/a?b=1");
    EXPECT_EQ(url.scheme, "http");
    EXPECT_EQ(url.host, "host");
    EXPECT_EQ(url.port, 8080);
    EXPECT_EQ(url.path, "/a");
    EXPECT_EQ(url.query, "?b=1");
    EXPECT_EQ(url.pathAndQuery, "/a?b=1");
}

TEST(ParseUrl, WithoutSchemeTheHostStartsAtTheBeginning) {
    const Split url = Parse("host/a");
    EXPECT_EQ(url.scheme, "");
    EXPECT_EQ(url.host, "host");
    EXPECT_EQ(url.path, "/a");
    EXPECT_EQ(url.pathAndQuery, "/a");
    EXPECT_EQ(url.port, 0);
}

TEST(ParseUrl, QueryWithoutSlashStaysPartOfTheHost) {
    const Split url = Parse("http://host?x=1");
    EXPECT_EQ(url.host, "host?x=1");
    EXPECT_EQ(url.path, "/");
    EXPECT_EQ(url.query, "?x=1");
    EXPECT_EQ(url.pathAndQuery, "/?x=1");
}

TEST(ParseUrl, ColonNotFollowedBySlashesIsNoScheme) {
    const Split url = Parse("a/b:c");
    EXPECT_EQ(url.scheme, "");
    // The port's colon is looked for in 1 character only, so the one behind the slash is not it.
    EXPECT_EQ(url.host, "a");
    EXPECT_EQ(url.port, 0);
    EXPECT_EQ(url.path, "/b:c");
}

TEST(ParseUrl, NonNumericPortGivesZero) {
    const Split url = Parse("http://host:abc/");
    EXPECT_EQ(url.host, "host");
    EXPECT_EQ(url.port, 0);
    EXPECT_EQ(url.path, "/");
}

TEST(ParseUrl, EmptyUrlGivesEveryFieldEmpty) {
    const Split url = Parse("");
    EXPECT_EQ(url.scheme, "");
    EXPECT_EQ(url.host, "");
    EXPECT_EQ(url.path, "");
    EXPECT_EQ(url.query, "");
    EXPECT_EQ(url.pathAndQuery, "");
    EXPECT_EQ(url.port, 0);
}

TEST(ParseUrl, PortTakesLeadingNumberAndIgnoresTrailingText) {
    EXPECT_EQ(Parse("http://host:81x/").port, 81);
    EXPECT_EQ(Parse("http://host:/").port, 0);
    EXPECT_EQ(Parse("http://host:8080").port, 8080);
    EXPECT_EQ(Parse("http://host:8080").path, "/");
}

TEST(ParseUrl, PortKeepsOnlySixteenBits) { EXPECT_EQ(Parse("http://host:65617/").port, 81); }

TEST(ParseUrl, ColonShortlyBehindTheSlashIsTakenForThePort) {
    // The search for the port's colon runs past the slash by the scheme's length plus 3.
    const Split url = Parse("http://h/a:8080");
    EXPECT_EQ(url.host, "h/a");
    EXPECT_EQ(url.port, 8080);
    EXPECT_EQ(url.path, "/a:8080");
    // Far enough behind the slash, it is not.
    const Split far = Parse("http://h/abcdefghij:8080");
    EXPECT_EQ(far.host, "h");
    EXPECT_EQ(far.port, 0);
}

TEST(ParseUrl, QueryInFrontOfTheSlashLetsThePathRunToTheEnd) {
    const Split url = Parse("http://host?x=1/y");
    EXPECT_EQ(url.host, "host?x=1");
    EXPECT_EQ(url.path, "/y");
    EXPECT_EQ(url.query, "?x=1/y");
    EXPECT_EQ(url.pathAndQuery, "/y?x=1/y");
}

TEST(ParseUrl, SchemeIsNotChecked) {
    const Split url = Parse("ftp://files.example/a/b.zip?v=2#frag");
    EXPECT_EQ(url.scheme, "ftp");
    EXPECT_EQ(url.host, "files.example");
    EXPECT_EQ(url.path, "/a/b.zip");
    EXPECT_EQ(url.query, "?v=2#frag");
}

TEST(ParseUrl, UserNameIsNotHandled) {
    const Split url = Parse("http://user:pw@host/a");
    EXPECT_EQ(url.host, "user");
    EXPECT_EQ(url.port, 0);
    EXPECT_EQ(url.path, "/a");
}

TEST(ParseUrl, PositionsCountUtf16Units) {
    const Split url = Parse("https://h\xC3\xA9st:444/\xF0\x9F\x98\x80?q=\xC3\xA9");
    EXPECT_EQ(url.scheme, "https");
    EXPECT_EQ(url.host, "h\xC3\xA9st");
    EXPECT_EQ(url.port, 444);
    EXPECT_EQ(url.path, "/\xF0\x9F\x98\x80");
    EXPECT_EQ(url.query, "?q=\xC3\xA9");
}

}  // namespace
