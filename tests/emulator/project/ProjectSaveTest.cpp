// ProjectSaveTest.cpp: writing project.json back: what it holds, that it reads back the same,
// and that a failed save leaves the old file as it was.
#include "ProjectTestSupport.h"
#include "emulator/Project.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <json/json.h>
#include <limits>

#ifndef _WIN32
#include <csignal>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace orvhost {
namespace {

using test::MakeSampleProject;
using test::ProjectJson;
using test::ReadFileBytes;
using test::StringParameterXml;
using test::SymbolXml;
using test::TempFolder;
using test::WriteFileBytes;
using testfiles::ListNames;
using testfiles::PathOf;
using testfiles::Utf8Of;

constexpr const char* kGuid1 = "11111111-2222-4333-8444-555555555555";

Json::Value ParseJson(const std::string& text) {
    Json::Value root;
    std::string errors;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &errors)) << errors;
    return root;
}

#ifndef _WIN32  // file modes and attributes
bool CanCreateIn(const std::filesystem::path& folder) {
    const std::filesystem::path probe = folder / "probe";
    const int fd = ::open(probe.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (fd < 0) {
        return false;
    }
    ::close(fd);
    ::unlink(probe.c_str());
    return true;
}

// Makes a folder unwritable while it lives: read-only permissions, and for a user who writes
// into those anyway (root) the immutable attribute, where the file system and the user allow it.
class ReadOnlyFolder {
public:
    explicit ReadOnlyFolder(const std::filesystem::path& folder) : folder(folder) {
        ::chmod(folder.c_str(), 0555);
        if (CanCreateIn(folder)) {
            SetImmutable(true);
        }
        effective = !CanCreateIn(folder);
    }
    ~ReadOnlyFolder() { Release(); }
    ReadOnlyFolder(const ReadOnlyFolder&) = delete;
    ReadOnlyFolder& operator=(const ReadOnlyFolder&) = delete;

    bool Effective() const { return effective; }
    // Writable again; the folder's time and mode are as before.
    void Release() {
        if (immutable) {
            SetImmutable(false);
        }
        ::chmod(folder.c_str(), 0700);
    }

private:
    void SetImmutable(bool on) {
        const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) {
            return;
        }
        int flags = 0;
        if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0) {
            flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
            if (::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0) {
                immutable = on;
            }
        }
        ::close(fd);
    }

    std::filesystem::path folder;
    bool immutable = false;
    bool effective = false;
};
#endif

void ExpectSameElements(const Project& a, const Project& b) {
    ASSERT_EQ(a.Elements().size(), b.Elements().size());
    for (size_t i = 0; i < a.Elements().size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(a.Elements()[i].guid, b.Elements()[i].guid);
        EXPECT_EQ(a.Elements()[i].type, b.Elements()[i].type);
        EXPECT_EQ(a.Elements()[i].part, b.Elements()[i].part);
        EXPECT_EQ(a.Elements()[i].libIndex, b.Elements()[i].libIndex);
        EXPECT_EQ(a.Elements()[i].ownValues, b.Elements()[i].ownValues);
    }
}

TEST(ProjectSave, WritesFormatLibraryAndEachElementWithItsOwnValues) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    project.Save();

    const Json::Value root = ParseJson(ReadFileBytes(folder.Path() / "project.json"));
    EXPECT_EQ(root["format"].asString(), "orvhost-project/1");
    EXPECT_EQ(root["library"].asString(), "Library");
    ASSERT_EQ(root["elements"].size(), 3u);
    const Json::Value& door = root["elements"][0];
    EXPECT_EQ(door["guid"].asString(), test::kDoorGuid);
    EXPECT_EQ(door["type"].asInt(), 5);
    EXPECT_EQ(door["part"].asString(), "Doors/D01.xml");
    EXPECT_EQ(door["parameters"].getMemberNames(),
              (std::vector<std::string>{"A", "extra", "uptodate", "version"}));
    EXPECT_TRUE(door["parameters"]["uptodate"].isInt());
    EXPECT_EQ(door["parameters"]["version"].asString(), "1.1");
    const Json::Value& wall = root["elements"][2];
    EXPECT_FALSE(wall.isMember("part"));
    EXPECT_EQ(wall["parameters"]["height"].asInt(), 3);
    EXPECT_TRUE(root["elements"][1]["parameters"].isObject());
}

TEST(ProjectSave, WritesWholeNumbersWithoutAFraction) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    project.Save();
    const std::string text = ReadFileBytes(folder.Path() / "project.json");
    EXPECT_NE(text.find("\"A\": 1,"), std::string::npos) << text;  // 1.0 in the original
    EXPECT_NE(text.find("\"uptodate\": 2,"), std::string::npos) << text;
    EXPECT_EQ(text.find(".0,"), std::string::npos) << text;
}

TEST(ProjectSave, NumbersReadBackEqual) {
    TempFolder folder;
    const std::vector<double> numbers = {0.1,
                                         1.0 / 3,
                                         -2.5e-7,
                                         1e300,
                                         123456789012345678.0,
                                         -0.0,
                                         4503599627370497.0,
                                         9007199254740993.0,
                                         2.2250738585072014e-308};
    std::string list;
    for (double number : numbers) {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.17g", number);
        list += (list.empty() ? "" : ", ") + std::string(buffer);
    }
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({std::string("{\"guid\": \"") + kGuid1 +
                                "\", \"type\": 1, \"parameters\": {\"n\": [" + list + "]}}"}));
    std::vector<std::string> warnings;
    const Project first = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(first.Elements().front().ownValues.at("n").numbers, numbers);
    first.Save();
    const Project second = Project::Load(folder.Path(), warnings);
    EXPECT_EQ(second.Elements().front().ownValues.at("n").numbers, numbers);
    EXPECT_NE(ReadFileBytes(folder.Path() / "project.json").find("0.1, "), std::string::npos);
}

TEST(ProjectSave, SavedProjectLoadsTheSameAndSavesByteForByteAgain) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "Library/Objects/Text.xml",
                   SymbolXml(StringParameterXml("note", "x") +
                             "<String Name=\"names\"><ArrayValues FirstDimension=\"1\">"
                             "<AVal Row=\"1\">\"a\"</AVal></ArrayValues></String>\n"
                             "<RealNum Name=\"grid\"><ArrayValues FirstDimension=\"1\" "
                             "SecondDimension=\"2\"><AVal Row=\"1\" Column=\"1\">1</AVal>"
                             "<AVal Row=\"1\" Column=\"2\">2</AVal></ArrayValues></RealNum>\n"));
    const std::string longText(600, 'L');
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({std::string("{\"guid\": \"") + kGuid1 +
                                "\", \"type\": 6, \"part\": \"Objects/Text.xml\", \"parameters\": {"
                                "\"note\": \"Příliš \\\"žluťoučký\\\" kůň\\n\\t\\\\ \\u0001 " +
                                longText +
                                "\", \"names\": [\"b\"], \"grid\": [3, 4, 5, 6], \"flag\": true, "
                                "\"nothing\": [], \"emoji\": \"\\ud83d\\ude00\"}}"}));
    std::vector<std::string> warnings;
    Project first = Project::Load(folder.Path(), warnings);
    ASSERT_TRUE(warnings.empty()) << warnings.front();
    first.Save();
    const std::string firstText = ReadFileBytes(folder.Path() / "project.json");

    Project second = Project::Load(folder.Path(), warnings);
    ASSERT_TRUE(warnings.empty()) << warnings.front();
    ExpectSameElements(first, second);
    second.Save();
    EXPECT_EQ(ReadFileBytes(folder.Path() / "project.json"), firstText);

    // A one-value array of the part is written as an array, as it was read.
    const Json::Value root = ParseJson(firstText);
    EXPECT_TRUE(root["elements"][0]["parameters"]["names"].isArray());
    EXPECT_EQ(root["elements"][0]["parameters"]["flag"].asInt(), 1);
    EXPECT_EQ(root["elements"][0]["parameters"]["note"].asString(),
              "Příliš \"žluťoučký\" kůň\n\t\\ \x01 " + longText);
    EXPECT_NE(firstText.find("Příliš"), std::string::npos) << "texts are written as UTF-8";
}

TEST(ProjectSave, NumberJsonCannotHoldIsRefusedAndProjectJsonLeftAsItWas) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    project.FindElement(project.Elements()[1].guid)->ownValues["A"].numbers = {
        std::numeric_limits<double>::quiet_NaN()};
    const auto before = test::Snapshot(folder.Path());
    try {
        project.Save();
        FAIL() << "saved";
    } catch (const ProjectError& e) {
        EXPECT_EQ(std::string(e.what()),
                  "cannot save " + Utf8Of(folder.Path() / "project.json") +
                      ": project.json: element 2 (guid " + test::kChairGuid +
                      "): parameter \"A\" holds NaN, which JSON cannot hold");
    }
    project.FindElement(project.Elements()[1].guid)->ownValues["A"].numbers = {
        -std::numeric_limits<double>::infinity()};
    EXPECT_THROW(project.Save(), ProjectError);
    EXPECT_EQ(test::Snapshot(folder.Path()), before);
}

TEST(ProjectSave, SavesAnEmptyProject) {
    TempFolder folder;
    WriteFileBytes(folder.Path() / "project.json", "{\"format\": \"orvhost-project/1\"}");
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    project.Save();
    EXPECT_EQ(ReadFileBytes(folder.Path() / "project.json"),
              "{\n  \"format\": \"orvhost-project/1\",\n  \"library\": \"Library\",\n"
              "  \"elements\": []\n}\n");
}

TEST(ProjectSave, LeavesNoTemporaryFile) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    project.Save();
    project.Save();
    EXPECT_EQ(ListNames(Utf8Of(folder.Path())),
              (std::vector<std::string>{"Library", "project.json"}));
}

#ifndef _WIN32  // file modes
TEST(ProjectSave, KeepsThePermissionsOfProjectJsonAndLeavesNoTemporaryFile) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    ASSERT_EQ(::chmod((folder.Path() / "project.json").c_str(), 0640), 0);
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    project.Save();
    struct stat status {};
    ASSERT_EQ(::stat((folder.Path() / "project.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(ListNames(Utf8Of(folder.Path())),
              (std::vector<std::string>{"Library", "project.json"}));
}
#endif

#ifndef _WIN32  // a file size limit

TEST(ProjectSave, SaveThatCannotWriteTheTemporaryFileLeavesProjectJsonIntact) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    project.FindElement(project.Elements().front().guid)
        ->ownValues["big"]
        .texts.push_back(std::u16string(8192, u'x'));
    const std::string before = ReadFileBytes(folder.Path() / "project.json");

    // A file size limit stops the write even for root; the signal it raises is ignored so that
    // write fails with EFBIG instead.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string message;
    try {
        project.Save();
    } catch (const ProjectError& e) {
        message = e.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(message.rfind(
                  "cannot save " + Utf8Of(folder.Path() / "project.json") + ": cannot write ", 0),
              0u)
        << message;
    EXPECT_NE(message.find("File too large"), std::string::npos) << message;
    EXPECT_EQ(ReadFileBytes(folder.Path() / "project.json"), before);
    EXPECT_EQ(ListNames(Utf8Of(folder.Path())),
              (std::vector<std::string>{"Library", "project.json"}));
}
#endif

TEST(ProjectSave, SaveThatCannotRenameLeavesWhatStandsAtProjectJson) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    // A folder that is not empty cannot be renamed over, not even by root.
    std::filesystem::remove(folder.Path() / "project.json");
    WriteFileBytes(folder.Path() / "project.json/keep.txt", "kept");
    const auto before = test::Snapshot(folder.Path());

    try {
        project.Save();
        FAIL() << "saved";
    } catch (const ProjectError& e) {
        EXPECT_NE(std::string(e.what()).find(": cannot rename "), std::string::npos) << e.what();
    }
    EXPECT_EQ(test::Snapshot(folder.Path()), before);
    EXPECT_EQ(ListNames(Utf8Of(folder.Path())),
              (std::vector<std::string>{"Library", "project.json"}));
}

TEST(ProjectSave, SaveIntoAFolderThatIsGoneFailsNamingTheFolder) {
    TempFolder folder;
    MakeSampleProject(folder.Path() / "project");
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path() / "project", warnings);
    std::filesystem::remove_all(folder.Path() / "project");
    try {
        project.Save();
        FAIL() << "saved";
    } catch (const ProjectError& e) {
        const std::string what = e.what();
        const std::string start =
            "cannot save " + Utf8Of(folder.Path() / "project" / "project.json") +
            ": cannot create a temporary file in " + Utf8Of(folder.Path() / "project") + ": ";
        EXPECT_EQ(what.rfind(start, 0), 0u) << what;
        EXPECT_GT(what.size(), start.size()) << "the system's reason follows: " << what;
    }
    EXPECT_EQ(ListNames(Utf8Of(folder.Path())), std::vector<std::string>{});
}

TEST(ProjectSave, AProjectWithACzechNameSavesAndItsMessagesNameItInUtf8) {
    TempFolder folder;
    const std::filesystem::path czech = folder.Path() / PathOf("Příliš žluťoučký kůň");
    MakeSampleProject(czech);
    std::vector<std::string> warnings;
    const Project project = Project::Load(czech, warnings);
    project.Save();
    EXPECT_EQ(ListNames(Utf8Of(czech)), (std::vector<std::string>{"Library", "project.json"}));
    EXPECT_EQ(Project::Load(czech, warnings).Elements().size(), project.Elements().size());

    std::filesystem::remove_all(czech);
    try {
        project.Save();
        FAIL() << "saved";
    } catch (const ProjectError& e) {
        EXPECT_EQ(
            std::string(e.what()).rfind("cannot save " + Utf8Of(czech / "project.json") + ": ", 0),
            0u)
            << e.what();
        EXPECT_NE(std::string(e.what()).find("Příliš žluťoučký kůň"), std::string::npos);
    }
}

#ifndef _WIN32  // file modes and attributes
TEST(ProjectSave, SaveIntoAReadOnlyFolderFailsAndLeavesProjectJsonIntact) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    const auto before = test::Snapshot(folder.Path());
    ReadOnlyFolder readOnly(folder.Path());
    if (!readOnly.Effective()) {
        GTEST_SKIP() << "this user writes into read-only folders, and the folder cannot be made "
                        "immutable here";
    }
    try {
        project.Save();
        FAIL() << "saved";
    } catch (const ProjectError& e) {
        EXPECT_EQ(std::string(e.what()).rfind("cannot save " +
                                                  Utf8Of(folder.Path() / "project.json") +
                                                  ": cannot create a temporary file in ",
                                              0),
                  0u)
            << e.what();
    }
    readOnly.Release();
    EXPECT_EQ(test::Snapshot(folder.Path()), before);
}
#endif

}  // namespace
}  // namespace orvhost
