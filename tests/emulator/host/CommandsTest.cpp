// CommandsTest.cpp: undoable commands, element changes inside and outside them, rollback and the
// undo stack.
#include "HostTestSupport.h"

#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>

namespace orvhost::test {
namespace {

using Commands = HostTest;

TEST_F(Commands, ChangeOutsideACommandNeedsAnUndoScope) {
    EXPECT_EQ(WriteNumber(kDoorGuid, "uptodate", 1), HostError::NeedsUndoScope);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
    EXPECT_TRUE(session->UndoTitles().empty());
}

TEST_F(Commands, ChangeInsideACommandSetsTheElementsParameters) {
    EXPECT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 1.0);
    // The other chair on the same part keeps its value.
    EXPECT_EQ(NumberOf(kChair2Guid, "uptodate"), 0.0);
}

TEST_F(Commands, ChangedValuesAreSavedWithTheProject) {
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 3); }), 0);
    project->Save();
    std::vector<std::string> warnings;
    Project reread = Project::Load(folder.Path(), warnings);
    const Element* chair = reread.FindElement(GuidOf(kChairGuid));
    ASSERT_NE(chair, nullptr);
    double value = -1;
    for (const Parameter& parameter : reread.EffectiveParameters(*chair)) {
        if (parameter.name == "uptodate") {
            value = parameter.value.numbers.at(0);
        }
    }
    EXPECT_EQ(value, 3.0);
}

TEST_F(Commands, ChangingAnUnknownElementIsBadId) {
    ElementMemo memo;
    ZeroRecord(memo);
    EXPECT_EQ(
        CallUndoable("Sync",
                     [&] { return ChangeElement("22222222-0000-4000-8000-000000000000", memo); }),
        HostError::BadId);
}

TEST_F(Commands, ChangeWithoutAParameterBlockChangesNothing) {
    ElementMemo memo;
    ZeroRecord(memo);
    EXPECT_EQ(CallUndoable("Sync", [&] { return ChangeElement(kDoorGuid, memo); }), 0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(Commands, ChangeWithABrokenParameterBlockIsBadParameters) {
    ElementMemo memo;
    ZeroRecord(memo);
    GSHandle block = BMAllocateHandle(100, ALLOCATE_CLEAR, 0);
    SetField<GSHandle>(memo, MemoField::Params, block);
    EXPECT_EQ(CallUndoable("Sync", [&] { return ChangeElement(kDoorGuid, memo); }),
              HostError::BadParameters);
    BMKillHandle(&block);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(Commands, TextChangedInTheParameterSetReachesTheElement) {
    const int32_t status = CallUndoable("Sync", [&] {
        ElementMemo memo;
        EXPECT_EQ(GetMemo(kDoorGuid, memo), 0);
        OpenParametersRecord open;
        ZeroRecord(open);
        SetField<API_Guid>(open, OpenParametersField::Guid, GuidOf(kDoorGuid));
        SetField<int32_t>(open, OpenParametersField::Type, ElementType::Door);
        EXPECT_EQ(CallUtility(UtilityCode::OpenParameters, &open), 0);
        ChangeParameterRecord change;
        ZeroRecord(change);
        std::memcpy(change.bytes + ChangeParameterField::Name, "check_url", 10);
        const std::u16string url = u"http://y/check?id=ü";
        SetField<const char16_t*>(change, ChangeParameterField::TextValue, url.c_str());
        EXPECT_EQ(CallUtility(UtilityCode::ChangeParameter, &change), 0);
        GetParametersRecord result;
        ZeroRecord(result);
        EXPECT_EQ(CallUtility(UtilityCode::GetParameters, &result), 0);
        EXPECT_EQ(CallUtility(UtilityCode::CloseParameters, nullptr), 0);
        FreeBlockAsAddOn(GetField<GSHandle>(memo, MemoField::Params));
        SetField<GSHandle>(memo, MemoField::Params,
                           GetField<GSHandle>(result, GetParametersField::Params));
        const int32_t changed = ChangeElement(kDoorGuid, memo);
        FreeBlockAsAddOn(GetField<GSHandle>(memo, MemoField::Params));
        return changed;
    });
    EXPECT_EQ(status, 0);
    const Element* door = project->FindElement(GuidOf(kDoorGuid));
    ASSERT_NE(door, nullptr);
    std::u16string url;
    for (const Parameter& parameter : project->EffectiveParameters(*door)) {
        if (parameter.name == "check_url") {
            url = parameter.value.texts.at(0);
        }
    }
    EXPECT_EQ(url, u"http://y/check?id=ü");
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(Commands, MemoParameterBlockIsTakenWhateverTheMemoMask) {
    const int32_t status = CallUndoable("Sync", [&] {
        ElementMemo memo;
        EXPECT_EQ(GetMemo(kLampGuid, memo), 0);
        const GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
        EXPECT_NE(block, nullptr);
        if (block == nullptr) {
            return -1;
        }
        const double value = 5;
        std::memcpy(*block + ParameterField::Value, &value, sizeof value);
        ElementRecord element;
        ZeroRecord(element);
        SetField<API_Guid>(element, ElementField::Guid, GuidOf(kLampGuid));
        ElementRecord mask;
        ZeroRecord(mask);
        const int32_t changed = Entry<HostEntry::ChangeElementFn>(HostEntry::ChangeElement)(
            token, &element, &mask, &memo, 0, false);
        FreeBlockAsAddOn(block);
        return changed;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(NumberOf(kLampGuid, "uptodate"), 5.0);
}

TEST_F(Commands, DoneCommandStandsOnTheUndoStackUnderItsTitle) {
    EXPECT_EQ(CallUndoable("Aktualizace objektů", [] { return 0; }), 0);
    EXPECT_EQ(CallUndoable("Second", [&] { return WriteNumber(kLampGuid, "uptodate", 1); }), 0);
    EXPECT_EQ(session->UndoTitles(), (std::vector<std::string>{"Aktualizace objektů", "Second"}));
}

TEST_F(Commands, NonZeroStatusRollsTheChangesBackAndIsReturned) {
    const int32_t status = CallUndoable("Sync", [&] {
        EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
        EXPECT_EQ(WriteNumber(kDoorGuid, "uptodate", 1), 0);
        EXPECT_EQ(WriteNumber(kDoorGuid, "uptodate", 3), 0);
        return HostError::BadName;
    });
    EXPECT_EQ(status, HostError::BadName);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
    EXPECT_TRUE(session->UndoTitles().empty());
}

TEST_F(Commands, ExceptionFromTheCommandRollsBackAndIsCommandThrew) {
    const int32_t status = CallUndoable("Sync", [&]() -> int32_t {
        EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
        throw std::runtime_error("boom");
    });
    EXPECT_EQ(status, HostError::CommandThrew);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
    EXPECT_TRUE(session->UndoTitles().empty());
}

TEST_F(Commands, NestedCommandRunsInsideTheOuterOne) {
    EXPECT_EQ(CallUndoable("Outer",
                           [&] {
                               EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
                               return CallUndoable(
                                   "Inner", [&] { return WriteNumber(kDoorGuid, "uptodate", 1); });
                           }),
              0);
    EXPECT_EQ(session->UndoTitles(), std::vector<std::string>{"Outer"});
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(Commands, FailedNestedCommandRollsBackOnlyItsOwnChanges) {
    EXPECT_EQ(CallUndoable("Outer",
                           [&] {
                               EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
                               EXPECT_EQ(CallUndoable("Inner",
                                                      [&] {
                                                          WriteNumber(kChairGuid, "uptodate", 5);
                                                          WriteNumber(kDoorGuid, "uptodate", 5);
                                                          return HostError::General;
                                                      }),
                                         HostError::General);
                               return 0;
                           }),
              0);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 1.0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(Commands, UndoRestoresWhatTheLastCommandChanged) {
    ASSERT_EQ(CallUndoable("First", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    ASSERT_EQ(CallUndoable("Second",
                           [&] {
                               WriteNumber(kChairGuid, "uptodate", 2);
                               return WriteNumber(kDoorGuid, "uptodate", 0);
                           }),
              0);
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 1.0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
    EXPECT_EQ(session->UndoTitles(), std::vector<std::string>{"First"});
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
    EXPECT_FALSE(session->Undo());
}

TEST_F(Commands, UndoOfAPlacementRemovesTheElement) {
    const API_Guid placed = session->PlaceElement(ElementType::Lamp, "Objects/Lamp.xml").guid;
    EXPECT_NE(project->FindElement(placed), nullptr);
    EXPECT_EQ(session->UndoTitles(), std::vector<std::string>{"Place element"});
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(project->FindElement(placed), nullptr);
    EXPECT_EQ(project->Elements().size(), 5u);
}

}  // namespace
}  // namespace orvhost::test
