// PublishTest.cpp: orvservice publish, run in-process: a release, a test version and a new object
// written into the catalog and the files folder and answered by the service that reads them; and
// every refusal, after which the catalog, the files folder and the library are byte for byte as
// they were.
#include "service/Publish.h"

#include "GdlPartXml.h"
#include "ServiceTestSupport.h"
#include "common/CUtils.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"

#include <httplib.h>
#include <map>

namespace servicetest {
namespace {

using testfiles::GdlNumberParameter;
using testfiles::GdlParameterXml;
using testfiles::GdlPartXml;
using testfiles::GdlTextParameter;
using testfiles::MonitoredPartXml;

// D01 with a test version, a file and faults of both kinds that leave its answers as they are;
// W01 without a file.
const char* const kCatalog = R"({"objects": [
    {"id": "D01", "versions": ["1.0", "2.0"], "latest": "2.0", "test_versions": ["2.1-beta"],
     "file": "D01-2.0.zip",
     "faults": {"check": {"delay_ms": 0}, "file": {"quoted_filename": true, "chunked": true}}},
    {"id": "W01", "versions": ["1.0"], "latest": "1.0"}
]})";

// Gives another password than the built-in one, as a maker who mistyped it.
class OtherPassword : public MZipDataSecurityProvider {
public:
    int32_t getPassword(ZipFile&, const WString&, uint32_t, bool, WString& password) override {
        password = u"not-the-built-in-one";
        return kPasswordOnce;
    }
    void confirmPassword(ZipFile&, const WString&, const WString&) override {}
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        std::fill(buffer.begin(), buffer.end(), 7);
    }
};

// An archive made with the add-on's ZIP library: each member `path` holding its text, encrypted
// with `kind` under `provider`'s password (the built-in one without a provider).
std::string MakeArchive(const std::string& path, const std::map<std::string, std::string>& members,
                        int32_t kind = kZipNotEncrypted,
                        MZipDataSecurityProvider* provider = nullptr) {
    {
        ZipFile zip(CUtils::StringUTF8ToWstring(path), provider, true, false, false);
        for (const auto& [name, text] : members) {
            MemoryInputStream content(ByteBuffer(text.begin(), text.end()));
            zip.addFile(CUtils::StringUTF8ToWstring(name), content, kind);
        }
        EXPECT_EQ(zip.close(), 0);
    }
    return testfiles::ReadFileBytes(path);
}

// Every occurrence of `from` in `bytes` as `to`, of the same length: a member's name changed in
// its local header and in the directory, which no CRC covers, to one the library never writes.
std::string Renamed(std::string bytes, const std::string& from, const std::string& to) {
    EXPECT_EQ(from.size(), to.size());
    std::size_t count = 0;
    for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at)) {
        bytes.replace(at, from.size(), to);
        ++count;
    }
    EXPECT_EQ(count, 2u) << from;
    return bytes;
}

class PublishTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"), kCatalog));
        presentArchive = MakeArchive(
            folder.At("files/D01-2.0.zip"),
            {{"D01 Door.xml", MonitoredPartXml(D01Url())}, {"D01-readme.txt", "version 2.0"}});
        ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/keep.txt"), "the folder"));
    }

    static std::string D01Url() { return "http://127.0.0.1/check?id=D01&version=1.0"; }

    // The exit status; what the command wrote goes to `out` and `err`.
    int Publish(const std::vector<std::string>& options, const std::string& file) {
        std::vector<std::string> args = {"orvservice", "publish",
                                         "--catalog",  folder.At("catalog.json"),
                                         "--files",    folder.At("files")};
        args.insert(args.end(), options.begin(), options.end());
        if (!file.empty()) {
            args.push_back(file);
        }
        return RunInProcess(orvservice::RunPublish, args, out, err);
    }

    // `bytes` as the input file `name`, outside the catalog's and the files' folders.
    std::string Input(const std::string& name, const std::string& bytes) {
        EXPECT_TRUE(testfiles::WriteFileBytes(inputs.At(name), bytes));
        return inputs.At(name);
    }

    // Everything below the folder: the catalog, the files folder, the library, any stray file.
    std::map<std::string, std::string> Snapshot() const {
        return testfiles::FilesBelow(folder.Path().string());
    }

    // Publishing `file` with `options` is refused with exit status 1 and a message holding
    // `expected`, and changes nothing.
    void ExpectRefused(const std::vector<std::string>& options, const std::string& file,
                       const std::string& expected) {
        const auto before = Snapshot();
        EXPECT_EQ(Publish(options, file), 1) << out << err;
        EXPECT_NE(err.find(expected), std::string::npos) << err;
        EXPECT_EQ(err.rfind("orvservice publish: ", 0), 0u) << err;
        EXPECT_EQ(Snapshot(), before) << expected;
    }

    Json::Value Catalog() const {
        return ParseJson(testfiles::ReadFileBytes(folder.At("catalog.json")));
    }

    // The object `id` of the catalog as it stands on disk.
    Json::Value Object(const std::string& id) const {
        const Json::Value catalog = Catalog();
        for (const Json::Value& object : catalog["objects"]) {
            if (object["id"] == id) {
                return object;
            }
        }
        return Json::Value();
    }

    struct Download {
        std::string body;
        std::string disposition;  // Content-Disposition
    };

    // GET `target` from a service over the catalog as it stands now, which it must read; empty
    // unless the status is 200.
    Download GetFile(const std::string& target) {
        orvservice::ServiceOptions options;
        options.catalog = testfiles::PathOf(folder.At("catalog.json"));
        options.files = testfiles::PathOf(folder.At("files"));
        orvservice::VersionService service(options);
        service.Start();
        httplib::Client client("127.0.0.1", service.Port());
        const auto res = client.Get(target);
        EXPECT_TRUE(res && res->status == 200) << target;
        if (!res || res->status != 200) {
            return {};
        }
        return {res->body, res->get_header_value("Content-Disposition")};
    }

    std::string Get(const std::string& target) { return GetFile(target).body; }

    Json::Value Check(const std::string& id, const std::string& version) {
        return ParseJson(Get("/check?id=" + id + "&version=" + version + "&format=json"));
    }

    testfiles::TempFolder folder;
    testfiles::TempFolder inputs;
    std::string presentArchive;
    std::string out;
    std::string err;
};

TEST_F(PublishTest, ReleaseBecomesLatestAndItsArchiveIsCopiedUnderANameOfItsOwn) {
    const Json::Value before = Catalog();
    const std::string archive = MakeArchive(
        inputs.At("update.zip"), {{"D01 Door.xml", MonitoredPartXml(D01Url())}}, kZipAes256);

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, inputs.At("update.zip")), 0) << err;
    EXPECT_EQ(err, "");
    EXPECT_NE(out.find("D01 3.0"), std::string::npos) << out;

    const Json::Value d01 = Object("D01");
    Json::Value versions(Json::arrayValue);
    versions.append("1.0");
    versions.append("2.0");
    versions.append("3.0");
    EXPECT_EQ(d01["versions"], versions);
    EXPECT_EQ(d01["latest"], "3.0");
    EXPECT_EQ(d01["file"], "D01-3.0.zip");
    // The rest of the catalog as it was, in meaning.
    EXPECT_EQ(d01["test_versions"], before["objects"][0]["test_versions"]);
    EXPECT_EQ(d01["faults"], before["objects"][0]["faults"]);
    EXPECT_EQ(Object("W01"), before["objects"][1]);
    EXPECT_EQ(Catalog()["objects"].size(), 2u);

    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0.zip")), archive);
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-2.0.zip")), presentArchive);
    EXPECT_EQ(testfiles::ListNames(folder.Path().string()),
              (std::vector<std::string>{"catalog.json", "files", "library"}));

    const Json::Value answer = Check("D01", "2.0");
    EXPECT_EQ(answer["version"], "3.0");
    EXPECT_EQ(answer["update_available"], true);
    EXPECT_NE(answer["url"].asString().find("/files/D01-3.0.zip"), std::string::npos) << answer;
    EXPECT_EQ(Check("D01", "3.0")["up_to_date"], true);
}

TEST_F(PublishTest, TestVersionGoesToTestVersionsOnlyAndLatestAndFileStay) {
    const Json::Value before = Object("D01");
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0-beta", "--test"}, part), 0) << err;

    const Json::Value d01 = Object("D01");
    EXPECT_EQ(d01["versions"], before["versions"]);
    EXPECT_EQ(d01["latest"], "2.0");
    EXPECT_EQ(d01["file"], "D01-2.0.zip");
    ASSERT_EQ(d01["test_versions"].size(), 2u);
    EXPECT_EQ(d01["test_versions"][1], "3.0-beta");
    // Served for the testers, offered to nobody.
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0-beta/door.xml")),
              MonitoredPartXml(D01Url()));
    EXPECT_NE(out.find("/files/D01-3.0-beta/door.xml"), std::string::npos) << out;
    EXPECT_EQ(Get("/files/D01-3.0-beta/door.xml"), MonitoredPartXml(D01Url()));

    EXPECT_EQ(Check("D01", "3.0-beta")["test_version"], true);
    const Json::Value older = Check("D01", "1.0");
    EXPECT_EQ(older["version"], "2.0");
    EXPECT_NE(older["url"].asString().find("/files/D01-2.0.zip"), std::string::npos) << older;
}

TEST_F(PublishTest, NewIdMakesANewObjectAtTheEnd) {
    const std::string part = Input("lamp.xml", MonitoredPartXml("http://x/check?id=L01"));

    ASSERT_EQ(Publish({"--id", "L01", "--version", "1.0"}, part), 0) << err;

    const Json::Value objects = Catalog()["objects"];
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[2]["id"], "L01");
    EXPECT_EQ(objects[2]["versions"].size(), 1u);
    EXPECT_EQ(objects[2]["versions"][0], "1.0");
    EXPECT_EQ(objects[2]["latest"], "1.0");
    EXPECT_EQ(objects[2]["file"], "L01-1.0/lamp.xml");
    EXPECT_EQ(objects[2].getMemberNames().size(), 4u);
    EXPECT_EQ(Check("L01", "1.0")["up_to_date"], true);
}

TEST_F(PublishTest, PlainPartThatChecksAnotherObjectIsPublishedWithANote) {
    const std::string part =
        Input("door.xml", MonitoredPartXml("http://x/check?id=D02&version=3.0"));

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, part), 0) << err;

    EXPECT_EQ(err, "orvservice publish: note: " + part +
                       " checks object \"D02\" (check_url http://x/check?id=D02&version=3.0), "
                       "not D01\n");
    EXPECT_EQ(Object("D01")["latest"], "3.0");
}

// The add-on saves a plain file under the name it is served by, and only the part's own name
// replaces the part: the file keeps its name, in a folder of its own.
TEST_F(PublishTest, PlainPartIsPublishedUnderItsOwnNameInAFolderOfItsOwn) {
    const std::string bytes = MonitoredPartXml(D01Url());
    const std::string part = Input("D01 Door+\xC5\x99.gsm", bytes);

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, part), 0) << err;

    EXPECT_EQ(err, "");
    EXPECT_EQ(Object("D01")["file"], "D01-3.0/D01 Door+\xC5\x99.gsm");
    EXPECT_EQ(testfiles::ListNames(folder.At("files/D01-3.0")),
              std::vector<std::string>{"D01 Door+\xC5\x99.gsm"});
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0/D01 Door+\xC5\x99.gsm")), bytes);
    const std::string address = "/files/D01-3.0/D01%20Door%2B%C5%99.gsm";
    EXPECT_NE(out.find("offered D01-3.0/D01 Door+\xC5\x99.gsm at " + address), std::string::npos)
        << out;

    // The check answer's address, each step percent-encoded, gives the bytes under the part's
    // own name.
    const Json::Value answer = Check("D01", "2.0");
    EXPECT_EQ(answer["update_available"], true);
    const std::string url = answer["url"].asString();
    ASSERT_NE(url.find("/files/"), std::string::npos) << answer;
    EXPECT_EQ(url.substr(url.find("/files/")), address);
    // D01's file faults (a quoted name) follow its file to its new place.
    const Download download = GetFile(address);
    EXPECT_EQ(download.body, bytes);
    EXPECT_EQ(download.disposition, "attachment; filename=\"D01 Door+\xC5\x99.gsm\"");
    // httplib's client hands the RFC 5987 form percent-decoded.
    EXPECT_EQ(GetFile(address + "?fault_quoted_filename=false").disposition,
              "attachment; filename*=UTF-8''D01 Door+\xC5\x99.gsm");
}

TEST_F(PublishTest, PlainPartFolderNeverTakesTheNameOfAnythingInTheFilesFolder) {
    // A file of the folder's name, and a folder of the next name.
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01-3.0"), "a maker's own"));
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01-3.0-2/other.txt"), "another"));
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, part), 0) << err;

    EXPECT_EQ(Object("D01")["file"], "D01-3.0-3/door.xml");
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0")), "a maker's own");
    EXPECT_EQ(testfiles::ListNames(folder.At("files/D01-3.0-2")),
              std::vector<std::string>{"other.txt"});
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0-3/door.xml")),
              MonitoredPartXml(D01Url()));
    EXPECT_EQ(Get("/files/D01-3.0-3/door.xml"), MonitoredPartXml(D01Url()));
}

TEST_F(PublishTest, ArchiveNameNeverTakesTheNameOfAFileInTheFilesFolder) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("files/D01-3.0.zip"), "a maker's own"));
    const std::string path = inputs.At("update.zip");
    const std::string archive = MakeArchive(path, {{"D01 Door.xml", MonitoredPartXml(D01Url())}});

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, path), 0) << err;

    EXPECT_EQ(Object("D01")["file"], "D01-3.0-2.zip");
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0.zip")), "a maker's own");
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0-2.zip")), archive);
}

TEST_F(PublishTest, NamePiecesThatASystemRefusesInANameBecomeUnderscores) {
    const std::string part = Input("part", MonitoredPartXml("http://x/check?id=A/B"));

    ASSERT_EQ(Publish({"--id", "A/B\xC5\x99", "--version", "1:0*."}, part), 0) << err;

    EXPECT_EQ(Object("A/B\xC5\x99")["file"], "A_B\xC5\x99-1_0__/part");
    EXPECT_TRUE(testfiles::Exists(folder.At("files/A_B\xC5\x99-1_0__/part")));
    EXPECT_EQ(Check("A%2FB%C5%99", "1%3A0*.")["up_to_date"], true);
}

TEST_F(PublishTest, PlainPartWhoseNameTheFilesFolderCannotServeIsRefused) {
    std::vector<std::string> names = {"door..xml"};
#ifndef _WIN32
    // Names only Linux gives a file.
    names.push_back("C:door.xml");
    names.push_back("door\\x.xml");
    names.push_back("door\x01.xml");
    names.push_back("door\xE8.xml");
#endif
    for (const std::string& name : names) {
        ExpectRefused({"--id", "D01", "--version", "3.0"}, Input(name, MonitoredPartXml(D01Url())),
                      "the add-on saves a plain part under its own name, and the files folder "
                      "cannot serve this one");
    }
}

TEST_F(PublishTest, CatalogThatIsALinkIsReplacedWhereItLeads) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("real/catalog.json"), kCatalog));
    ASSERT_TRUE(std::filesystem::remove(testfiles::PathOf(folder.At("catalog.json"))));
    if (!testfiles::MakeLink(folder.At("real/catalog.json"), folder.At("catalog.json"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));

    ASSERT_EQ(Publish({"--id", "D01", "--version", "3.0"}, part), 0) << err;

    EXPECT_TRUE(std::filesystem::is_symlink(testfiles::PathOf(folder.At("catalog.json"))));
    EXPECT_EQ(Object("D01")["latest"], "3.0");
    EXPECT_EQ(testfiles::ListNames(folder.At("real")), std::vector<std::string>{"catalog.json"});
}

TEST_F(PublishTest, VersionThatIsThereAlreadyIsRefused) {
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    ExpectRefused({"--id", "D01", "--version", "2.0"}, part,
                  "object D01 has version 2.0 already (versions)");
    ExpectRefused({"--id", "D01", "--version", "2.1-beta"}, part,
                  "object D01 has version 2.1-beta already (test_versions)");
    ExpectRefused({"--id", "D01", "--version", "2.0", "--test"}, part, "has version 2.0 already");
}

TEST_F(PublishTest, TestVersionOfAnObjectNotInTheCatalogIsRefused) {
    const std::string part = Input("lamp.xml", MonitoredPartXml("http://x/check?id=L01"));
    ExpectRefused({"--id", "L01", "--version", "1.0-beta", "--test"}, part,
                  "L01 is not in the catalog: a test version needs a released version first");
}

TEST_F(PublishTest, ArchiveThatTheZipLibraryCannotOpenIsRefused) {
    ExpectRefused({"--id", "D01", "--version", "3.0"}, Input("cut.zip", "PK\x03\x04 cut short"),
                  "begins as a ZIP archive, but the add-on's ZIP library cannot open it");
    const std::string whole = MakeArchive(inputs.At("whole.zip"), {{"a.xml", "text"}});
    ExpectRefused({"--id", "D01", "--version", "3.0"},
                  Input("cut2.zip", whole.substr(0, whole.size() - 10)), "cannot open it");
}

TEST_F(PublishTest, ArchiveWithoutAFileMemberIsRefused) {
    // The end record alone: an archive of no member.
    const std::string empty = "PK\x05\x06" + std::string(18, '\0');
    ExpectRefused({"--id", "D01", "--version", "3.0"}, Input("empty.zip", empty),
                  "empty.zip is a ZIP archive without a file member: the update would change "
                  "nothing");
}

TEST_F(PublishTest, ArchiveMemberThatTheBuiltInPasswordCannotReadIsRefused) {
    OtherPassword other;
    const std::string path = inputs.At("other.zip");
    MakeArchive(path, {{"D01 Door.xml", MonitoredPartXml(D01Url())}}, kZipAes256, &other);
    ExpectRefused({"--id", "D01", "--version", "3.0"}, path,
                  "member \"D01 Door.xml\" cannot be read to its end as the add-on reads it (an "
                  "encrypted one with the built-in password): ");
}

TEST_F(PublishTest, ArchiveMemberWhoseBytesAreDamagedIsRefused) {
    std::string bytes =
        MakeArchive(inputs.At("good.zip"), {{"D01 Door.xml", std::string(2000, 'x')}});
    // The deflated data begins behind the local header's 30 bytes, its name and its extra field.
    const auto length = [&](std::size_t at) {
        return static_cast<unsigned char>(bytes[at]) +
               256u * static_cast<unsigned char>(bytes[at + 1]);
    };
    bytes[30 + length(26) + length(28) + 2] ^= 0x55;
    ExpectRefused({"--id", "D01", "--version", "3.0"}, Input("damaged.zip", bytes),
                  "member \"D01 Door.xml\" cannot be read to its end");
}

TEST_F(PublishTest, ArchiveMemberOutsideItsFolderIsRefused) {
    const std::vector<std::pair<std::string, std::string>> names = {
        {"xx/up.xml", "../up.xml"},
        {"in/xx/up.xml", "in/../up.xml"},
        {"xabsolute.xml", "/absolute.xml"},
        {"Cxdrive.xml", "C:drive.xml"},
        {"xbackslash.xml", "\\backslash.xml"},
    };
    for (const auto& [made, name] : names) {
        const std::string bytes =
            MakeArchive(inputs.At(made.substr(0, 2) + ".zip"), {{"ok.xml", "x"}, {made, "y"}});
        ExpectRefused({"--id", "D01", "--version", "3.0"},
                      Input("outside.zip", Renamed(bytes, made, name)),
                      "holds members whose path leaves the folder it is unpacked into, which the "
                      "add-on refuses: \"" +
                          name + "\"");
    }
}

TEST_F(PublishTest, PlainFileThatIsNoMonitoredLibraryPartIsRefused) {
    const std::string url = GdlTextParameter("check_url", D01Url());
    const std::string state = GdlNumberParameter("uptodate", 0);
    const std::vector<std::pair<std::string, std::string>> files = {
        {"a text", "is neither a ZIP archive nor a GDL library part: not well-formed XML"},
        {"<Other/>", "is not a GDL library part: its XML root is not <Symbol>"},
        {GdlPartXml({state}), "declares no check_url"},
        {GdlPartXml({GdlTextParameter("check_url", ""), state}), "declares no check_url"},
        {GdlPartXml({GdlNumberParameter("check_url", 1), state}), "declares no check_url"},
        {GdlPartXml({url}), "declares no uptodate (a number)"},
        {GdlPartXml({url, GdlTextParameter("uptodate", "0")}), "declares no uptodate"},
        {GdlPartXml({url, GdlParameterXml("Title", "uptodate", "")}), "declares no uptodate"},
        {GdlPartXml({url, "<Bogus Name=\"uptodate\"/>"}),
         "neither a ZIP archive nor a GDL library part: parameter 2: unknown parameter type"},
    };
    for (const auto& [bytes, expected] : files) {
        ExpectRefused({"--id", "D01", "--version", "3.0"}, Input("part.xml", bytes), expected);
    }
}

TEST_F(PublishTest, FileThatCannotBeReadIsRefused) {
    ExpectRefused({"--id", "D01", "--version", "3.0"}, inputs.At("missing.zip"),
                  "missing.zip cannot be read");
    ExpectRefused({"--id", "D01", "--version", "3.0"}, inputs.Path().string(), "cannot be read");
}

TEST_F(PublishTest, CatalogThatTheServiceWouldRefuseIsRefused) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("catalog.json"),
                                          R"({"objects": [{"id": "D01", "versions": ["1.0"]}]})"));
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    ExpectRefused({"--id", "D01", "--version", "3.0"}, part, "has no \"latest\"");
}

TEST_F(PublishTest, LibraryFileOfAnotherObjectIsRefusedUnlessForced) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/W01 Window.xml"),
                                          MonitoredPartXml("http://x/check?id=W01&version=1.0")));
    const std::string path = inputs.At("update.zip");
    const std::string archive = MakeArchive(
        path, {{"D01 Door.xml", MonitoredPartXml(D01Url())}, {"W01 Window.xml", "a stray copy"}});
    const std::vector<std::string> options = {"--id", "D01",       "--version",
                                              "3.0",  "--library", folder.At("library")};
    ExpectRefused(options, path,
                  "the update would overwrite files in " + folder.At("library") +
                      " that are not D01's (--force to publish it all the same):\n"
                      "  W01 Window.xml: a part of object W01");

    std::vector<std::string> forced = options;
    forced.push_back("--force");
    ASSERT_EQ(Publish(forced, path), 0) << err;
    EXPECT_NE(out.find("W01 Window.xml: a part of object W01"), std::string::npos) << out;
    EXPECT_EQ(testfiles::ReadFileBytes(folder.At("files/D01-3.0.zip")), archive);
}

TEST_F(PublishTest, LibraryFileThatNeitherNamesTheObjectNorCameWithItsPresentFileIsRefused) {
    // What D01's present file wrote, and D01's own part, may be overwritten; a file of the
    // user's may not.
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/D01-readme.txt"), "version 2.0"));
    ASSERT_TRUE(
        testfiles::WriteFileBytes(folder.At("library/D01 Door.xml"), MonitoredPartXml(D01Url())));
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/sub/notes.txt"), "mine"));
    const std::string path = inputs.At("update.zip");
    MakeArchive(path, {{"D01 Door.xml", MonitoredPartXml(D01Url())},
                       {"D01-readme.txt", "version 3.0"},
                       {"sub/notes.txt", "theirs"},
                       {"sub/new.txt", "new"}});
    const std::vector<std::string> options = {"--id", "D01",       "--version",
                                              "3.0",  "--library", folder.At("library")};
    ExpectRefused(options, path,
                  "that are not D01's (--force to publish it all the same):\n"
                  "  sub/notes.txt: not a part of D01, and not from D01's present file");
    EXPECT_EQ(err.find("D01-readme.txt"), std::string::npos) << err;
    EXPECT_EQ(err.find("D01 Door.xml"), std::string::npos) << err;

    MakeArchive(inputs.At("fine.zip"),
                {{"D01 Door.xml", "x"}, {"D01-readme.txt", "y"}, {"sub/new.txt", "z"}});
    EXPECT_EQ(Publish(options, inputs.At("fine.zip")), 0) << err;
}

TEST_F(PublishTest, LibraryFolderWhereTheUpdateWritesAFileIsRefusedEvenWhenForced) {
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/D01 Door.xml/inside"), "x"));
    const std::string path = inputs.At("update.zip");
    MakeArchive(path, {{"D01 Door.xml", MonitoredPartXml(D01Url())}});
    ExpectRefused({"--id", "D01", "--version", "3.0", "--library", folder.At("library"), "--force"},
                  path,
                  "the update would write files where " + folder.At("library") +
                      " has folders: D01 Door.xml");
}

TEST_F(PublishTest, PlainPartIsJudgedUnderItsOwnName) {
    // The add-on saves a plain update under its own name, "door.xml", in the part's folder.
    ASSERT_TRUE(testfiles::WriteFileBytes(folder.At("library/door.xml"),
                                          MonitoredPartXml("http://x/check?id=W01")));
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    const std::vector<std::string> options = {"--id", "D01",       "--version",
                                              "3.0",  "--library", folder.At("library")};
    ExpectRefused(options, part, "door.xml: a part of object W01");

    // D01's own part of that name: replaced, nothing to say.
    ASSERT_TRUE(
        testfiles::WriteFileBytes(folder.At("library/door.xml"), MonitoredPartXml(D01Url())));
    ASSERT_EQ(Publish(options, part), 0) << err;
    EXPECT_EQ(err, "");
}

TEST_F(PublishTest, PlainPartOfAnotherNameThanTheObjectsPartInTheLibraryGetsANote) {
    ASSERT_TRUE(
        testfiles::WriteFileBytes(folder.At("library/D01 Door.xml"), MonitoredPartXml(D01Url())));
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    const std::vector<std::string> options = {"--id", "D01",       "--version",
                                              "3.0",  "--library", folder.At("library")};
    ASSERT_EQ(Publish(options, part), 0) << err;
    // Beside the part's file, which it does not replace: the maker is told.
    EXPECT_EQ(err, "orvservice publish: note: the add-on saves this update as \"door.xml\" in the "
                   "part's folder, beside \"D01 Door.xml\", a part of D01 too, which it does not "
                   "replace; publish the file under that name to replace it\n");
}

TEST_F(PublishTest, LibraryThatIsNoFolderIsRefused) {
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    ExpectRefused({"--id", "D01", "--version", "3.0", "--library", folder.At("nowhere")}, part,
                  "--library " + folder.At("nowhere") + " is not a folder");
}

TEST_F(PublishTest, CommandLineItDoesNotUnderstandIsAUsageError) {
    const std::string part = Input("door.xml", MonitoredPartXml(D01Url()));
    const std::vector<std::pair<std::vector<std::string>, std::string>> lines = {
        {{"--version", "3.0", part}, "--id is required"},
        {{"--id", "D01", part}, "--version is required"},
        {{"--id", "D01", "--version", "3.0"}, "the FILE to publish is missing"},
        {{"--id", "D01", "--version", "3.0", part, part}, "one FILE only, not 2"},
        {{"--id", "D01", "--version", "3.0", "--frobnicate", part}, "unknown option"},
        {{"--id", "D01", "--version", "3.0", "--force", part}, "--force goes with --library"},
        {{"--id", "D01", "--id", "D02", "--version", "3.0", part}, "--id is given twice"},
        {{"--id", "D01", "--version", "3.0", part, "--library"}, "--library needs a value"},
        {{"--id", "", "--version", "3.0", part}, "--id needs a value"},
    };
    const auto before = Snapshot();
    for (const auto& [options, expected] : lines) {
        EXPECT_EQ(Publish(options, ""), 2) << expected;
        EXPECT_NE(err.find(expected), std::string::npos) << err;
        EXPECT_NE(err.find("usage: orvservice publish --catalog FILE --files DIR --id ID "
                           "--version V [--test] [--library DIR [--force]] FILE"),
                  std::string::npos)
            << err;
    }
    EXPECT_EQ(RunInProcess(orvservice::RunPublish, {"orvservice", "publish"}, out, err), 2);
    EXPECT_NE(err.find("--catalog is required"), std::string::npos) << err;
    EXPECT_EQ(Snapshot(), before);
}

TEST_F(PublishTest, HelpDescribesTheCommand) {
    EXPECT_EQ(Publish({"--help"}, ""), 0);
    EXPECT_NE(out.find("usage: orvservice publish"), std::string::npos) << out;
    EXPECT_NE(out.find("--test"), std::string::npos) << out;
}

}  // namespace
}  // namespace servicetest
