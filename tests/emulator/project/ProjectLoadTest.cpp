// ProjectLoadTest.cpp: reading a project folder: project.json, the library, what is refused and
// what is only warned about.
#include "ProjectTestSupport.h"
#include "charcode/CharCode.h"
#include "emulator/LibraryPartXml.h"
#include "emulator/Project.h"
#include "hostkit/HostABI.h"

#include <cctype>
#include <gtest/gtest.h>

namespace orvhost {
namespace {

using test::MakeSampleProject;
using test::ParameterXml;
using test::ProjectJson;
using test::StringParameterXml;
using test::SymbolXml;
using test::TempFolder;
using test::WriteFileBytes;
using testfiles::PathOf;
using testfiles::Utf8Of;

API_Guid GuidOf(const char* text) {
    GS::Guid guid;
    EXPECT_TRUE(guid.FromString(text));
    return guid.ToAPIGuid();
}

const Parameter* FindIn(const std::vector<Parameter>& parameters, const std::string& name) {
    for (const Parameter& parameter : parameters) {
        if (parameter.name == name) {
            return &parameter;
        }
    }
    return nullptr;
}

// The message of the ProjectError that loading a project of this project.json throws, with the
// sample library beside it; "" when it loads. Also checks that nothing on disk changed.
std::string RefusalOf(const std::string& projectJson) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "project.json", projectJson);
    const auto before = test::Snapshot(folder.Path());
    std::string message;
    try {
        std::vector<std::string> warnings;
        Project::Load(folder.Path(), warnings);
    } catch (const ProjectError& e) {
        message = e.what();
    }
    EXPECT_EQ(test::Snapshot(folder.Path()), before) << "a load changed the project's files";
    return message;
}

std::string ElementJson(const std::string& guid, int type, const std::string& rest = "") {
    return "{\"guid\": \"" + guid + "\", \"type\": " + std::to_string(type) + rest + "}";
}

constexpr const char* kGuid1 = "11111111-2222-4333-8444-555555555555";
constexpr const char* kGuid2 = "11111111-2222-4333-8444-666666666666";

TEST(ProjectLoad, NumbersPartsFromOneInByteOrderOfTheirRelativePaths) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    // Byte order, not per-step path order: "Doors-old/..." ('-' is 0x2D) comes before
    // "Doors/..." ('/' is 0x2F); "Objects/B..." before "Objects/a...".
    WriteFileBytes(folder.Path() / "Library/Doors-old/D00.xml", SymbolXml(""));
    WriteFileBytes(folder.Path() / "Library/Objects/a.xml", SymbolXml(""));
    WriteFileBytes(folder.Path() / "Library/Objects/B.XML", SymbolXml(""));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    EXPECT_TRUE(warnings.empty()) << warnings.front();

    std::vector<std::string> paths;
    for (const LibraryPart& part : project.Parts()) {
        paths.push_back(part.relativePath);
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"Doors-old/D00.xml", "Doors/D01.xml",
                                               "Doors/D02.xml", "Lamps/L1.xml", "Objects/B.XML",
                                               "Objects/Chair.xml", "Objects/a.xml"}));
    EXPECT_EQ(project.IndexOf("Doors/D01.xml"), 2);
    EXPECT_EQ(project.IndexOf("Objects/a.xml"), 7);
    EXPECT_EQ(project.IndexOf("Objects/none.xml"), 0);
    EXPECT_EQ(project.PartAt(2)->relativePath, "Doors/D01.xml");
    EXPECT_EQ(project.PartAt(0), nullptr);
    EXPECT_EQ(project.PartAt(8), nullptr);
    EXPECT_EQ(project.PartAt(-1), nullptr);
}

TEST(ProjectLoad, PartKnowsItsDocumentNameFileAndLocation) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / PathOf("Library/Objects/Židle.v2.xml"), SymbolXml(""));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);

    const LibraryPart* door = project.PartAt(project.IndexOf("Doors/D01.xml"));
    ASSERT_NE(door, nullptr);
    EXPECT_EQ(door->documentName, u"D01");
    EXPECT_EQ(door->file, folder.Path() / "Library/Doors/D01.xml");
    EXPECT_TRUE(door->file.is_absolute());
    ASSERT_NE(door->location, nullptr);
    EXPECT_EQ(door->location->ToPath(), GS::UniString(Utf8Of(door->file).c_str(), CC_UTF8));

    const LibraryPart* chair = project.PartAt(project.IndexOf("Objects/Židle.v2.xml"));
    ASSERT_NE(chair, nullptr);
    EXPECT_EQ(chair->documentName, u"Židle.v2");
    const std::u16string path = charcode::Utf8ToUtf16(Utf8Of(chair->file));
    EXPECT_EQ(chair->location->ToPath(),
              GS::UniString(path.c_str(), static_cast<GS::USize>(path.size())));
    EXPECT_EQ(project.Folder(), folder.Path());
    EXPECT_EQ(project.LibraryFolder(), folder.Path() / "Library");
}

TEST(ProjectLoad, ReadsThePartsParameters) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    const LibraryPart* door = project.PartAt(project.IndexOf("Doors/D01.xml"));
    ASSERT_NE(door, nullptr);
    ASSERT_EQ(door->parameters.size(), 7u);
    EXPECT_EQ(door->parameters[0].name, "A");
    EXPECT_EQ(door->parameters[0].type, ParameterType::Length);
    EXPECT_EQ(door->parameters[0].description, u"Width");
    EXPECT_EQ(door->parameters[2].type, ParameterType::Title);
    const Parameter* url = door->Find("check_url");
    ASSERT_NE(url, nullptr);
    EXPECT_EQ(url->type, ParameterType::String);
    EXPECT_EQ(url->value.texts, std::vector<std::u16string>{u"http://127.0.0.1/check"});
    EXPECT_EQ(door->Find("nothing"), nullptr);
}

TEST(ProjectLoad, ElementsGetTheIndexOfTheirPart) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(project.Elements().size(), 3u);

    const Element* door = project.FindElement(GuidOf(test::kDoorGuid));
    ASSERT_NE(door, nullptr);
    EXPECT_EQ(door->type, ElementType::Door);
    EXPECT_EQ(door->part, "Doors/D01.xml");
    EXPECT_EQ(door->libIndex, 1);
    const Element* chair = project.FindElement(GuidOf(test::kChairGuid));
    ASSERT_NE(chair, nullptr);
    EXPECT_EQ(chair->libIndex, 4);
    const Element* wall = project.FindElement(GuidOf(test::kWallGuid));
    ASSERT_NE(wall, nullptr);
    EXPECT_EQ(wall->part, "");
    EXPECT_EQ(wall->libIndex, 0);
    EXPECT_EQ(wall->ownValues.at("height").numbers, std::vector<double>{3});
    EXPECT_EQ(project.FindElement(GuidOf(kGuid1)), nullptr);
}

TEST(ProjectLoad, ElementOwnValuesStandOverThePartsValues) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    const Element* door = project.FindElement(GuidOf(test::kDoorGuid));
    ASSERT_NE(door, nullptr);

    const std::vector<Parameter> effective = project.EffectiveParameters(*door);
    ASSERT_EQ(effective.size(), 7u);
    EXPECT_EQ(FindIn(effective, "A")->value.numbers, std::vector<double>{1.0});       // own
    EXPECT_EQ(FindIn(effective, "B")->value.numbers, std::vector<double>{2.1});       // part's
    EXPECT_EQ(FindIn(effective, "uptodate")->value.numbers, std::vector<double>{2});  // own
    EXPECT_EQ(FindIn(effective, "version")->value.texts, std::vector<std::u16string>{u"1.1"});
    EXPECT_EQ(FindIn(effective, "check_url")->value.texts,
              std::vector<std::u16string>{u"http://127.0.0.1/check"});
    EXPECT_EQ(FindIn(effective, "A")->description, u"Width");
    // The part's order stands.
    EXPECT_EQ(effective[0].name, "A");
    EXPECT_EQ(effective[6].name, "glazed");

    const Element* chair = project.FindElement(GuidOf(test::kChairGuid));
    const std::vector<Parameter> chairs = project.EffectiveParameters(*chair);
    ASSERT_EQ(chairs.size(), 2u);
    EXPECT_EQ(chairs[1].value.texts, std::vector<std::u16string>{u"2.3"});
}

TEST(ProjectLoad, OwnValueThePartDoesNotDeclareIsKeptButNotEffective) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    const Element* door = project.FindElement(GuidOf(test::kDoorGuid));
    ASSERT_NE(door, nullptr);
    EXPECT_EQ(door->ownValues.at("extra").numbers, std::vector<double>{7});
    EXPECT_EQ(FindIn(project.EffectiveParameters(*door), "extra"), nullptr);
}

TEST(ProjectLoad, OwnValueOfTheWrongKindLeavesThePartsValueEffective) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(
        folder.Path() / "project.json",
        ProjectJson({ElementJson(kGuid1, 5,
                                 ", \"part\": \"Doors/D01.xml\", \"parameters\": {\"A\": "
                                 "\"wide\", \"version\": 3, \"B\": [1, 2]}")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    const std::vector<Parameter> effective =
        project.EffectiveParameters(project.Elements().front());
    EXPECT_EQ(FindIn(effective, "A")->value.numbers, std::vector<double>{0.9});
    EXPECT_EQ(FindIn(effective, "B")->value.numbers, std::vector<double>{2.1});
    EXPECT_EQ(FindIn(effective, "version")->value.texts, std::vector<std::u16string>{u"1.0"});
    EXPECT_EQ(project.Elements().front().ownValues.size(), 3u);
}

TEST(ProjectLoad, ElementWithoutPartHasNoEffectiveParameters) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    EXPECT_TRUE(project.EffectiveParameters(*project.FindElement(GuidOf(test::kWallGuid))).empty());
}

TEST(ProjectLoad, ReadsBooleansAsOneAndZeroAndArraysFlat) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({ElementJson(kGuid1, 1,
                                            ", \"parameters\": {\"yes\": true, \"no\": false, "
                                            "\"list\": [1, 2.5, true], \"names\": [\"a\", \"b\"], "
                                            "\"empty\": []}")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    const auto& own = project.Elements().front().ownValues;
    EXPECT_EQ(own.at("yes").numbers, std::vector<double>{1});
    EXPECT_EQ(own.at("no").numbers, std::vector<double>{0});
    EXPECT_EQ(own.at("list").numbers, (std::vector<double>{1, 2.5, 1}));
    EXPECT_EQ(own.at("names").texts, (std::vector<std::u16string>{u"a", u"b"}));
    EXPECT_EQ(own.at("empty"), ParameterValue{});
}

TEST(ProjectLoad, LibraryFolderDefaultsToLibraryAndElementsToNone) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "project.json", "{\"format\": \"orvhost-project/1\"}");
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    EXPECT_EQ(project.LibraryFolder(), folder.Path() / "Library");
    EXPECT_EQ(project.Parts().size(), 4u);
    EXPECT_TRUE(project.Elements().empty());
    EXPECT_TRUE(warnings.empty());
}

TEST(ProjectLoad, ReadsTheLibraryFolderTheProjectNames) {
    TempFolder folder;
    WriteFileBytes(folder.Path() / "Parts/Sub/X.xml", SymbolXml(ParameterXml("Length", "A", "1")));
    WriteFileBytes(folder.Path() / "project.json", ProjectJson({}, "Parts"));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(project.Parts().size(), 1u);
    EXPECT_EQ(project.Parts()[0].relativePath, "Sub/X.xml");
}

TEST(ProjectLoad, MissingLibraryFolderIsWarnedAboutAndEmpty) {
    TempFolder folder;
    WriteFileBytes(folder.Path() / "project.json", ProjectJson({}, "Nowhere"));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    EXPECT_TRUE(project.Parts().empty());
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].rfind("Nowhere: the library folder ", 0), 0u) << warnings[0];
}

TEST(ProjectLoad, MissingPartFileIsWarnedAboutAndTheElementKeptWithoutIndex) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({ElementJson(kGuid1, 6,
                                            ", \"part\": \"Objects/Gone.xml\", \"parameters\": "
                                            "{\"A\": 2}"),
                                ElementJson(kGuid2, 5, ", \"part\": \"Doors/D02.xml\"")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0], std::string("project.json: element 1 (guid ") + kGuid1 +
                               "): its library part \"Objects/Gone.xml\" is missing or could not "
                               "be read; the element is kept without one");
    ASSERT_EQ(project.Elements().size(), 2u);
    const Element& gone = project.Elements()[0];
    EXPECT_EQ(gone.part, "Objects/Gone.xml");
    EXPECT_EQ(gone.libIndex, 0);
    EXPECT_EQ(gone.ownValues.at("A").numbers, std::vector<double>{2});
    EXPECT_TRUE(project.EffectiveParameters(gone).empty());
    EXPECT_EQ(project.Elements()[1].libIndex, 2);
}

TEST(ProjectLoad, BrokenXmlFileIsWarnedAboutSkippedAndTheRestLoads) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "Library/Doors/D02.xml", "<Symbol><ParamSection>");
    WriteFileBytes(folder.Path() / "Library/Objects/Bad.xml",
                   SymbolXml(ParameterXml("Length", "A", "wide")));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0].rfind("Library/Doors/D02.xml: not well-formed XML: ", 0), 0u)
        << warnings[0];
    EXPECT_EQ(warnings[1], "Library/Objects/Bad.xml: parameter 1 (\"A\"): \"wide\" is not a "
                           "number; the file is skipped");
    std::vector<std::string> paths;
    for (const LibraryPart& part : project.Parts()) {
        paths.push_back(part.relativePath);
    }
    EXPECT_EQ(paths,
              (std::vector<std::string>{"Doors/D01.xml", "Lamps/L1.xml", "Objects/Chair.xml"}));
    EXPECT_EQ(project.FindElement(GuidOf(test::kChairGuid))->libIndex, 3);
}

TEST(ProjectLoad, ElementOnASkippedPartIsWarnedAboutToo) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "Library/Doors/D01.xml", "not xml at all");
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0].rfind("Library/Doors/D01.xml: ", 0), 0u) << warnings[0];
    EXPECT_NE(warnings[1].find("element 1 (guid " + std::string(test::kDoorGuid) + ")"),
              std::string::npos)
        << warnings[1];
    EXPECT_EQ(project.FindElement(GuidOf(test::kDoorGuid))->libIndex, 0);
}

TEST(ProjectLoad, XmlFileWhoseRootIsNotSymbolIsIgnoredSilently) {
    TempFolder folder;
    MakeSampleProject(folder.Path());  // has Objects/catalog.xml and readme.txt
    WriteFileBytes(folder.Path() / "Library/Deep/er/info.xml", "<Info><Symbol/></Info>");
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(project.Parts().size(), 4u);
    EXPECT_EQ(project.IndexOf("Objects/catalog.xml"), 0);
    EXPECT_EQ(project.IndexOf("Deep/er/info.xml"), 0);
}

TEST(ProjectLoad, KeepsArraysOfOneAndTwoDimensions) {
    TempFolder folder;
    WriteFileBytes(
        folder.Path() / "Library/Grid.xml",
        SymbolXml("<Length Name=\"row\"><ArrayValues FirstDimension=\"3\" "
                  "SecondDimension=\"0\"><AVal Row=\"1\">1</AVal><AVal Row=\"2\">2</AVal>"
                  "<AVal Row=\"3\">3</AVal></ArrayValues></Length>\n"
                  "<String Name=\"grid\"><ArrayValues FirstDimension=\"2\" "
                  "SecondDimension=\"2\"><AVal Row=\"1\" Column=\"1\">\"a\"</AVal>"
                  "<AVal Row=\"1\" Column=\"2\">\"b\"</AVal><AVal Row=\"2\" Column=\"1\">"
                  "\"c\"</AVal><AVal Row=\"2\" Column=\"2\">\"d\"</AVal></ArrayValues>"
                  "</String>\n"));
    WriteFileBytes(
        folder.Path() / "project.json",
        ProjectJson({ElementJson(kGuid1, 6,
                                 ", \"part\": \"Grid.xml\", \"parameters\": {\"row\": [4, "
                                 "5, 6, 7], \"grid\": [\"w\", \"x\", \"y\", \"z\", \"u\", "
                                 "\"v\"]}"),
                     ElementJson(kGuid2, 6, ", \"part\": \"Grid.xml\"")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    ASSERT_TRUE(warnings.empty()) << warnings.front();

    const std::vector<Parameter> plain = project.EffectiveParameters(project.Elements()[1]);
    ASSERT_EQ(plain.size(), 2u);
    EXPECT_TRUE(plain[0].isArray);
    EXPECT_EQ(plain[0].dimension1, 3);
    EXPECT_EQ(plain[0].dimension2, 1);
    EXPECT_EQ(plain[0].value.numbers, (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(plain[1].dimension1, 2);
    EXPECT_EQ(plain[1].dimension2, 2);
    EXPECT_EQ(plain[1].value.texts, (std::vector<std::u16string>{u"a", u"b", u"c", u"d"}));

    // An element's own array may have another number of rows; its columns are the part's.
    const std::vector<Parameter> own = project.EffectiveParameters(project.Elements()[0]);
    EXPECT_EQ(own[0].dimension1, 4);
    EXPECT_EQ(own[0].value.numbers, (std::vector<double>{4, 5, 6, 7}));
    EXPECT_EQ(own[1].dimension1, 3);
    EXPECT_EQ(own[1].dimension2, 2);
    EXPECT_EQ(own[1].value.texts.size(), 6u);
}

TEST(ProjectLoad, KeepsTextsLongerThan255UnitsWhole) {
    TempFolder folder;
    const std::string partText(300, 'p');
    const std::string ownText(1000, 'o');
    WriteFileBytes(
        folder.Path() / "Library/Long.xml",
        SymbolXml(StringParameterXml("note", partText) + StringParameterXml("other", partText)));
    WriteFileBytes(
        folder.Path() / "project.json",
        ProjectJson({ElementJson(kGuid1, 6,
                                 ", \"part\": \"Long.xml\", \"parameters\": {\"note\": \"" +
                                     ownText + "\"}")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    const std::vector<Parameter> effective =
        project.EffectiveParameters(project.Elements().front());
    ASSERT_EQ(effective.size(), 2u);
    EXPECT_EQ(effective[0].value.texts, std::vector<std::u16string>{std::u16string(1000, u'o')});
    EXPECT_EQ(effective[1].value.texts, std::vector<std::u16string>{std::u16string(300, u'p')});
}

TEST(ProjectLoad, ReadsCzechTextFromPartsAndProject) {
    TempFolder folder;
    WriteFileBytes(folder.Path() / PathOf("Library/Dveře/Vchodové dveře.xml"),
                   SymbolXml(StringParameterXml("popis", "Vchodové dveře", "Popis dílu")));
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({ElementJson(kGuid1, 5,
                                            ", \"part\": \"Dveře/Vchodové dveře.xml\", "
                                            "\"parameters\": {\"poznámka\": \"žluťoučký kůň\", "
                                            "\"escaped\": \"\\u010d\\u0159\"}")}));
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    ASSERT_TRUE(warnings.empty()) << warnings.front();
    ASSERT_EQ(project.Parts().size(), 1u);
    EXPECT_EQ(project.Parts()[0].documentName, u"Vchodové dveře");
    EXPECT_EQ(project.Parts()[0].parameters[0].description, u"Popis dílu");
    const Element& element = project.Elements().front();
    EXPECT_EQ(element.libIndex, 1);
    EXPECT_EQ(element.ownValues.at("poznámka").texts,
              std::vector<std::u16string>{u"žluťoučký kůň"});
    EXPECT_EQ(element.ownValues.at("escaped").texts, std::vector<std::u16string>{u"čř"});
    EXPECT_EQ(project.EffectiveParameters(element)[0].value.texts,
              std::vector<std::u16string>{u"Vchodové dveře"});
}

TEST(ProjectLoad, LoadingAGoodProjectChangesNothingOnDisk) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "Library/Doors/D02.xml", "<broken");
    const auto before = test::Snapshot(folder.Path());
    std::vector<std::string> warnings;
    Project project = Project::Load(folder.Path(), warnings);
    project.ReloadLibrary(warnings);
    EXPECT_EQ(test::Snapshot(folder.Path()), before);
}

// ---- Refused projects ----

TEST(ProjectLoad, MissingProjectJsonIsRefused) {
    TempFolder folder;
    std::vector<std::string> warnings;
    try {
        Project::Load(folder.Path(), warnings);
        FAIL() << "loaded";
    } catch (const ProjectError& e) {
        const std::string what = e.what();
        const std::string start = Utf8Of(folder.Path() / "project.json") + ": cannot be read: ";
        EXPECT_EQ(what.rfind(start, 0), 0u) << what;
#ifndef _WIN32  // the system's words, which Windows and wine say each their own way
        EXPECT_EQ(what.substr(start.size()), "No such file or directory");
#endif
        EXPECT_GT(what.size(), start.size()) << what;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(ProjectLoad, ProjectErrorIsARuntimeError) {
    TempFolder folder;
    std::vector<std::string> warnings;
    EXPECT_THROW(Project::Load(folder.Path(), warnings), std::runtime_error);
}

TEST(ProjectLoad, ProjectJsonThatIsNotJsonIsRefused) {
    const std::string message = RefusalOf("{\"format\": \"orvhost-project/1\", \"elements\": [");
    EXPECT_EQ(message.rfind("project.json: not valid JSON: ", 0), 0u) << message;
    EXPECT_EQ(RefusalOf("").rfind("project.json: not valid JSON: ", 0), 0u);
    EXPECT_EQ(RefusalOf("{\"format\": \"orvhost-project/1\"} trailing")
                  .rfind("project.json: not valid JSON: ", 0),
              0u);
}

TEST(ProjectLoad, ProjectJsonWithTheSameKeyTwiceIsRefused) {
    const std::string message =
        RefusalOf("{\"format\": \"orvhost-project/1\", \"format\": \"orvhost-project/1\"}");
    EXPECT_EQ(message.rfind("project.json: not valid JSON: ", 0), 0u) << message;
}

TEST(ProjectLoad, ProjectJsonWithAByteOrderMarkLoads) {
    EXPECT_EQ(RefusalOf("\xef\xbb\xbf" + ProjectJson({})), "");
}

TEST(ProjectLoad, ProjectJsonThatIsNoObjectIsRefused) {
    EXPECT_EQ(RefusalOf("[1, 2]"), "project.json: must hold a JSON object");
}

TEST(ProjectLoad, WrongFormatIsRefused) {
    EXPECT_EQ(RefusalOf("{\"format\": \"orvhost-project/2\"}"),
              "project.json: \"format\" must be \"orvhost-project/1\", not "
              "\"orvhost-project/2\"");
    EXPECT_EQ(RefusalOf("{\"elements\": []}"),
              "project.json: \"format\" must be \"orvhost-project/1\", and it is missing");
    EXPECT_EQ(RefusalOf("{\"format\": 1}"),
              "project.json: \"format\" must be \"orvhost-project/1\"");
}

TEST(ProjectLoad, LibraryThatIsNoRelativeFolderNameIsRefused) {
    const std::string expected =
        "project.json: \"library\" must be the name of a folder inside the project";
    EXPECT_EQ(RefusalOf(ProjectJson({}, "/etc")), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({}, "")), expected);
    EXPECT_EQ(RefusalOf("{\"format\": \"orvhost-project/1\", \"library\": 3}"), expected);
#ifdef _WIN32  // a drive, or a root without one, leads out of the project there too
    EXPECT_EQ(RefusalOf(ProjectJson({}, "C:Library")), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({}, "\\\\etc")), expected);
#endif
}

TEST(ProjectLoad, ElementsThatAreNoArrayAreRefused) {
    EXPECT_EQ(RefusalOf("{\"format\": \"orvhost-project/1\", \"elements\": {}}"),
              "project.json: \"elements\" must be an array");
}

TEST(ProjectLoad, ElementThatIsNoObjectIsRefused) {
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 1), "[1]"})),
              "project.json: element 2: must be an object");
}

TEST(ProjectLoad, ElementWithoutGuidIsRefused) {
    EXPECT_EQ(RefusalOf(ProjectJson({"{\"type\": 1}"})),
              "project.json: element 1: \"guid\" is missing");
}

TEST(ProjectLoad, ElementWithMalformedGuidIsRefused) {
    const std::string expected = "project.json: element 1: \"guid\" must be a text of the form "
                                 "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson("1234", 1)})), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({"{\"guid\": 5, \"type\": 1}"})), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson("11111111-2222-4333-8444-55555555555G", 1)})),
              expected);
}

TEST(ProjectLoad, ElementWithTheNullGuidIsRefused) {
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson("00000000-0000-0000-0000-000000000000", 1)})),
              "project.json: element 1 (guid 00000000-0000-0000-0000-000000000000): \"guid\" "
              "must not be the null identifier");
}

TEST(ProjectLoad, ElementWithAGuidAlreadyUsedIsRefused) {
    // The same identifier in another case is the same identifier.
    std::string lower = kGuid1;
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    EXPECT_EQ(RefusalOf(ProjectJson(
                  {ElementJson(kGuid1, 1), ElementJson(kGuid2, 1), ElementJson(lower, 2)})),
              std::string("project.json: element 3 (guid ") + kGuid1 +
                  "): the guid is already used by element 1");
}

TEST(ProjectLoad, ElementTypeOutOfRangeIsRefused) {
    const std::string expected = std::string("project.json: element 1 (guid ") + kGuid1 +
                                 "): \"type\" must be an integer from 1 to 8";
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 0)})), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 9)})), expected);
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, -6)})), expected);
    EXPECT_EQ(
        RefusalOf(ProjectJson({"{\"guid\": \"" + std::string(kGuid1) + "\", \"type\": \"6\"}"})),
        expected);
    EXPECT_EQ(
        RefusalOf(ProjectJson({"{\"guid\": \"" + std::string(kGuid1) + "\", \"type\": 6.5}"})),
        expected);
    EXPECT_EQ(RefusalOf(ProjectJson({"{\"guid\": \"" + std::string(kGuid1) + "\"}"})), expected);
}

TEST(ProjectLoad, ElementOfATypeWithALibraryPartButNoPartIsRefused) {
    for (int type = 4; type <= 7; ++type) {
        EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 1), ElementJson(kGuid2, type)})),
                  std::string("project.json: element 2 (guid ") + kGuid2 +
                      "): an element of type " + std::to_string(type) +
                      " needs a \"part\", the relative path of its library part");
    }
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 6, ", \"part\": \"\"")})),
              std::string("project.json: element 1 (guid ") + kGuid1 +
                  "): \"part\" must be a relative path such as \"Doors/D01.xml\"");
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 6, ", \"part\": 4")})),
              std::string("project.json: element 1 (guid ") + kGuid1 +
                  "): \"part\" must be a relative path such as \"Doors/D01.xml\"");
}

TEST(ProjectLoad, PartOfAnElementTypeWithoutLibraryPartIsIgnored) {
    TempFolder folder;
    MakeSampleProject(folder.Path());
    WriteFileBytes(folder.Path() / "project.json",
                   ProjectJson({ElementJson(kGuid1, 8, ", \"part\": \"Doors/D01.xml\"")}));
    std::vector<std::string> warnings;
    const Project project = Project::Load(folder.Path(), warnings);
    EXPECT_EQ(project.Elements().front().part, "");
    EXPECT_EQ(project.Elements().front().libIndex, 0);
}

TEST(ProjectLoad, ParametersThatAreNoObjectAreRefused) {
    EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(kGuid1, 1, ", \"parameters\": [1]")})),
              std::string("project.json: element 1 (guid ") + kGuid1 +
                  "): \"parameters\" must be an object of names and values");
}

TEST(ProjectLoad, ParameterValueOfAWrongJsonKindIsRefused) {
    const std::string expected = std::string("project.json: element 1 (guid ") + kGuid1 +
                                 "): parameter \"A\" must be a number, a text, true, false, or "
                                 "an array of numbers or of texts";
    for (const char* value : {"null", "{}", "[1, \"a\"]", "[\"a\", 1]", "[[1]]", "[null]"}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(RefusalOf(ProjectJson({ElementJson(
                      kGuid1, 1, std::string(", \"parameters\": {\"A\": ") + value + "}")})),
                  expected);
    }
}

TEST(ProjectLoad, RefusedProjectLeavesEveryFileUntouched) {
    // RefusalOf compares every file's bytes, time and mode before and after.
    EXPECT_NE(RefusalOf("{broken"), "");
    EXPECT_NE(RefusalOf(ProjectJson({ElementJson(kGuid1, 42)})), "");
}

}  // namespace
}  // namespace orvhost
