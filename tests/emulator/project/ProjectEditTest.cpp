// ProjectEditTest.cpp: changing a loaded project: an element's values, placing elements, reading
// the library again.
#include "ProjectTestSupport.h"
#include "emulator/Project.h"
#include "hostkit/HostABI.h"

#include <gtest/gtest.h>
#include <memory>
#include <set>

namespace orvhost {
namespace {

using test::MakeSampleProject;
using test::ParameterXml;
using test::SymbolXml;
using test::TempFolder;
using test::WriteFileBytes;

API_Guid GuidOf(const char* text) {
    GS::Guid guid;
    EXPECT_TRUE(guid.FromString(text));
    return guid.ToAPIGuid();
}

Parameter* FindIn(std::vector<Parameter>& parameters, const std::string& name) {
    for (Parameter& parameter : parameters) {
        if (parameter.name == name) {
            return &parameter;
        }
    }
    return nullptr;
}

std::string PlacementRefusal(Project& project, int32_t type, const std::string& part) {
    const size_t count = project.Elements().size();
    try {
        project.PlaceElement(type, part);
    } catch (const ProjectError& e) {
        EXPECT_EQ(project.Elements().size(), count) << "a refused placement added an element";
        return e.what();
    }
    return {};
}

class ProjectEdit : public testing::Test {
protected:
    void SetUp() override {
        MakeSampleProject(folder.Path());
        project = std::make_unique<Project>(Project::Load(folder.Path(), warnings));
        ASSERT_TRUE(warnings.empty()) << warnings.front();
    }
    Element& Door() { return *project->FindElement(GuidOf(test::kDoorGuid)); }
    Element& Chair() { return *project->FindElement(GuidOf(test::kChairGuid)); }

    TempFolder folder;
    std::vector<std::string> warnings;
    std::unique_ptr<Project> project;
};

TEST_F(ProjectEdit, SetParametersKeepsOnlyValuesThatDifferFromThePart) {
    std::vector<Parameter> parameters = project->EffectiveParameters(Chair());
    ASSERT_TRUE(Chair().ownValues.empty());
    FindIn(parameters, "version")->value.texts = {u"2.4"};
    project->SetParameters(Chair(), parameters);
    ASSERT_EQ(Chair().ownValues.size(), 1u);
    EXPECT_EQ(Chair().ownValues.at("version").texts, std::vector<std::u16string>{u"2.4"});
    EXPECT_EQ(project->EffectiveParameters(Chair()), parameters);
}

TEST_F(ProjectEdit, SetParametersKeepsValuesAlreadyOwnEvenWhenTheyEqualThePart) {
    std::vector<Parameter> parameters = project->EffectiveParameters(Door());
    // "A" is own (1.0); set back to the part's 0.9 it stays own. "B" equals the part: not own.
    FindIn(parameters, "A")->value.numbers = {0.9};
    FindIn(parameters, "uptodate")->value.numbers = {1};
    project->SetParameters(Door(), parameters);
    const auto& own = Door().ownValues;
    EXPECT_EQ(own.at("A").numbers, std::vector<double>{0.9});
    EXPECT_EQ(own.at("uptodate").numbers, std::vector<double>{1});
    EXPECT_EQ(own.at("version").texts, std::vector<std::u16string>{u"1.1"});
    EXPECT_EQ(own.at("extra").numbers, std::vector<double>{7});  // not given: untouched
    EXPECT_EQ(own.count("B"), 0u);
    EXPECT_EQ(own.count("check_url"), 0u);
    EXPECT_EQ(own.count("gs_title"), 0u);
    EXPECT_EQ(own.size(), 4u);
}

TEST_F(ProjectEdit, SetParametersOnAnElementWithoutPartKeepsEveryValue) {
    Element& wall = *project->FindElement(GuidOf(test::kWallGuid));
    Parameter height;
    height.name = "height";
    height.type = ParameterType::Length;
    height.value.numbers = {2.7};
    Parameter name;
    name.name = "name";
    name.type = ParameterType::String;
    name.value.texts = {u"Zeď"};
    project->SetParameters(wall, {height, name});
    EXPECT_EQ(wall.ownValues.at("height").numbers, std::vector<double>{2.7});
    EXPECT_EQ(wall.ownValues.at("name").texts, std::vector<std::u16string>{u"Zeď"});
}

TEST_F(ProjectEdit, ReloadLibraryReadsAChangedPartFile) {
    WriteFileBytes(
        folder.Path() / "Library/Objects/Chair.xml",
        SymbolXml(ParameterXml("Length", "A", "0.5") + test::StringParameterXml("version", "3.0")));
    project->ReloadLibrary(warnings);
    EXPECT_TRUE(warnings.empty());
    const std::vector<Parameter> parameters = project->EffectiveParameters(Chair());
    ASSERT_EQ(parameters.size(), 2u);
    EXPECT_EQ(parameters[0].value.numbers, std::vector<double>{0.5});
    EXPECT_EQ(parameters[1].value.texts, std::vector<std::u16string>{u"3.0"});
    // The door's own values still stand over its part's.
    EXPECT_EQ(project->EffectiveParameters(Door())[0].value.numbers, std::vector<double>{1.0});
}

TEST_F(ProjectEdit, ReloadLibraryRenumbersElementsAsPartsComeAndGo) {
    WriteFileBytes(folder.Path() / "Library/Doors/D00.xml", SymbolXml(""));
    project->ReloadLibrary(warnings);
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(Door().libIndex, 2);
    EXPECT_EQ(Chair().libIndex, 5);

    std::filesystem::remove(folder.Path() / "Library/Doors/D01.xml");
    project->ReloadLibrary(warnings);
    EXPECT_EQ(Door().libIndex, 0);
    EXPECT_EQ(Chair().libIndex, 4);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find("\"Doors/D01.xml\" is missing"), std::string::npos) << warnings[0];

    // It comes back: the element finds it again.
    MakeSampleProject(folder.Path());
    warnings.clear();
    project->ReloadLibrary(warnings);
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(Door().libIndex, 2);
}

TEST_F(ProjectEdit, ReloadLibraryKeepsEveryLocationHandedOut) {
    const IO::Location* chair = project->PartAt(4)->location.get();
    const IO::Location* lamp = project->PartAt(3)->location.get();
    const GS::UniString lampPath = lamp->ToPath();
    std::filesystem::remove(folder.Path() / "Library/Lamps/L1.xml");
    project->ReloadLibrary(warnings);
    ASSERT_EQ(project->Parts().size(), 3u);
    EXPECT_EQ(project->PartAt(3)->location.get(), chair);
    EXPECT_EQ(lamp->ToPath(), lampPath);  // still alive (the address sanitizer would say)
}

TEST_F(ProjectEdit, PlaceElementAddsAnElementWithANewGuidAndItsPartsIndex) {
    std::set<std::string> guids;
    for (const Element& element : project->Elements()) {
        guids.insert(GS::Guid(element.guid).ToString());
    }
    const Element& door = project->PlaceElement(ElementType::Door, "Doors/D02.xml");
    EXPECT_EQ(door.type, ElementType::Door);
    EXPECT_EQ(door.part, "Doors/D02.xml");
    EXPECT_EQ(door.libIndex, 2);
    EXPECT_TRUE(door.ownValues.empty());
    EXPECT_FALSE(GS::Guid(door.guid).IsNull());
    EXPECT_TRUE(guids.insert(GS::Guid(door.guid).ToString()).second);
    const API_Guid doorGuid = door.guid;

    const Element& slab = project->PlaceElement(ElementType::Slab, "");
    EXPECT_EQ(slab.libIndex, 0);
    EXPECT_EQ(slab.part, "");
    EXPECT_TRUE(guids.insert(GS::Guid(slab.guid).ToString()).second);

    ASSERT_EQ(project->Elements().size(), 5u);
    EXPECT_EQ(project->FindElement(doorGuid)->libIndex, 2);
    EXPECT_EQ(project->EffectiveParameters(*project->FindElement(doorGuid)).size(), 2u);
}

TEST_F(ProjectEdit, PlacedElementIsSavedAndLoadsAgain) {
    const API_Guid guid = project->PlaceElement(ElementType::Lamp, "Lamps/L1.xml").guid;
    project->Save();
    std::vector<std::string> more;
    Project again = Project::Load(folder.Path(), more);
    ASSERT_NE(again.FindElement(guid), nullptr);
    EXPECT_EQ(again.FindElement(guid)->libIndex, 3);
}

TEST_F(ProjectEdit, ElementsAreFoundByIdentifierAsTheyComeGoAndMove) {
    // Each look-up first tries the last one's position: it must not answer for another element.
    const API_Guid door = GuidOf(test::kDoorGuid);
    const API_Guid chair = GuidOf(test::kChairGuid);
    const Element doorBefore = *project->FindElement(door);
    ASSERT_EQ(project->PositionOf(door), 0u);
    project->RemoveElement(door);
    EXPECT_EQ(project->FindElement(door), nullptr);
    EXPECT_EQ(project->PositionOf(door), project->Elements().size());
    ASSERT_NE(project->FindElement(chair), nullptr);
    EXPECT_EQ(project->PositionOf(chair), 0u);
    project->InsertElement(0, doorBefore);
    ASSERT_NE(project->FindElement(chair), nullptr);
    EXPECT_EQ(project->FindElement(chair)->guid, chair);
    EXPECT_EQ(project->PositionOf(chair), 1u);
    ASSERT_NE(project->FindElement(door), nullptr);
    EXPECT_EQ(project->FindElement(door)->guid, door);
    const API_Guid placed = project->PlaceElement(ElementType::Lamp, "Lamps/L1.xml").guid;
    EXPECT_EQ(project->PositionOf(placed), project->Elements().size() - 1);
    EXPECT_EQ(project->FindElement(door)->guid, door);
    EXPECT_EQ(project->FindElement(GuidOf("22222222-0000-4000-8000-000000000000")), nullptr);
}

TEST_F(ProjectEdit, PlaceElementRefusesATypeOutOfRange) {
    EXPECT_EQ(PlacementRefusal(*project, 0, ""),
              "cannot place an element of type 0: the type must be from 1 to 8");
    EXPECT_EQ(PlacementRefusal(*project, 9, "Doors/D01.xml"),
              "cannot place an element of type 9: the type must be from 1 to 8");
}

TEST_F(ProjectEdit, PlaceElementRefusesAPartTheLibraryDoesNotHave) {
    EXPECT_EQ(PlacementRefusal(*project, ElementType::Object, "Objects/Table.xml"),
              "cannot place an element on \"Objects/Table.xml\": the library has no such part");
    EXPECT_EQ(PlacementRefusal(*project, ElementType::Object, "Objects/catalog.xml"),
              "cannot place an element on \"Objects/catalog.xml\": the library has no such part");
}

TEST_F(ProjectEdit, PlaceElementRefusesATypeWithLibraryPartWithoutOne) {
    EXPECT_EQ(PlacementRefusal(*project, ElementType::Window, ""),
              "cannot place an element of type 4: it needs a library part");
}

TEST_F(ProjectEdit, PlaceElementRefusesAPartForATypeWithoutOne) {
    EXPECT_EQ(PlacementRefusal(*project, ElementType::Wall, "Doors/D01.xml"),
              "cannot place an element of type 1 on \"Doors/D01.xml\": only types 4 to 7 have a "
              "library part");
}

}  // namespace
}  // namespace orvhost
