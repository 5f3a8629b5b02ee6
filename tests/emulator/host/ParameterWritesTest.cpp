// ParameterWritesTest.cpp: what the add-on's writes leave in the elements and in the saved
// project, what undoing them puts back, and how the names in its records find their parameters.
#include "GdlPartXml.h"
#include "HostTestSupport.h"
#include "emulator/ParameterRecords.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <map>

namespace orvhost::test {
namespace {

using OwnValues = std::map<std::string, ParameterValue>;

constexpr std::size_t kNoHandles = ParameterRecord::kSize;  // a plain record, compared whole

class ParameterWrites : public HostTest {
protected:
    const Element& ElementOf(const std::string& guid) {
        const Element* element = project->FindElement(GuidOf(guid));
        EXPECT_NE(element, nullptr) << guid;
        static const Element none;
        return element != nullptr ? *element : none;
    }
    OwnValues OwnOf(const std::string& guid) { return ElementOf(guid).ownValues; }
    std::vector<Parameter> EffectiveOf(const std::string& guid) {
        return project->EffectiveParameters(ElementOf(guid));
    }
    std::string Saved() {
        project->Save();
        return testfiles::ReadFileBytes(testfiles::Utf8Of(folder.Path() / "project.json"));
    }

    // Takes the element's memo, lets `edit` change its parameter block in place, and hands the
    // memo back through ChangeElement inside a command.
    int32_t ChangeThroughMemo(const std::string& guid, const std::function<void(GSHandle)>& edit) {
        return CallUndoable("Edit", [&] {
            ElementMemo memo;
            const int32_t got = GetMemo(guid, memo);
            GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
            if (got != 0 || block == nullptr) {
                ADD_FAILURE() << "no parameter block for " << guid;
                FreeBlockAsAddOn(block);
                return got != 0 ? got : HostError::General;
            }
            edit(block);
            const int32_t changed = ChangeElement(guid, memo);
            FreeBlockAsAddOn(block);
            return changed;
        });
    }
};

// The record of `name` inside a block, in place.
std::byte* RecordIn(GSHandle block, const std::string& name) {
    const std::size_t count =
        static_cast<std::size_t>(BMGetHandleSize(block)) / ParameterRecord::kSize;
    for (std::size_t i = 0; i < count; ++i) {
        auto* record = reinterpret_cast<std::byte*>(*block) + i * ParameterRecord::kSize;
        if (name == reinterpret_cast<const char*>(record + ParameterField::Name)) {
            return record;
        }
    }
    ADD_FAILURE() << "no record " << name;
    return nullptr;
}

const Parameter* Find(const std::vector<Parameter>& parameters, const std::string& name) {
    for (const Parameter& parameter : parameters) {
        if (parameter.name == name) {
            return &parameter;
        }
    }
    return nullptr;
}

TEST_F(ParameterWrites, UndoPutsBackEveryValueAndTheSavedFileByteForByte) {
    const std::string before = Saved();
    std::map<std::string, std::vector<Parameter>> effective;
    std::map<std::string, OwnValues> own;
    for (const char* guid : {kDoorGuid, kChairGuid, kChair2Guid, kLampGuid}) {
        effective[guid] = EffectiveOf(guid);
        own[guid] = OwnOf(guid);
    }
    ASSERT_EQ(CallUndoable("Sync",
                           [&] {
                               EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
                               EXPECT_EQ(WriteNumber(kDoorGuid, "uptodate", 3), 0);
                               EXPECT_EQ(WriteNumber(kLampGuid, "uptodate", 2), 0);
                               // A second write of one element: the undo goes back past both.
                               return WriteNumber(kChairGuid, "uptodate", 2);
                           }),
              0);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 2.0);
    EXPECT_NE(Saved(), before);

    ASSERT_TRUE(session->Undo());
    for (const auto& [guid, parameters] : effective) {
        EXPECT_EQ(EffectiveOf(guid), parameters) << guid;
        EXPECT_EQ(OwnOf(guid), own[guid]) << guid;
    }
    EXPECT_EQ(Saved(), before);
}

TEST_F(ParameterWrites, InheritedValueWrittenUnchangedStaysThePartsAndAChangedOneBecomesOwn) {
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kLampGuid, "uptodate", 0); }), 0);
    EXPECT_TRUE(OwnOf(kLampGuid).empty());
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kLampGuid, "uptodate", 1); }), 0);
    EXPECT_EQ(OwnOf(kLampGuid), (OwnValues{{"uptodate", ParameterValue{{1.0}, {}}}}));
    // Another element of the same part keeps inheriting.
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChair2Guid, "uptodate", 0); }), 0);
    EXPECT_EQ(OwnOf(kChair2Guid).count("uptodate"), 0u);
}

TEST_F(ParameterWrites, OverriddenValueStaysOwnEvenWhenItComesBackToThePartsValue) {
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kDoorGuid, "uptodate", 0); }), 0);
    EXPECT_EQ(OwnOf(kDoorGuid), (OwnValues{{"uptodate", ParameterValue{{0.0}, {}}}}));
    EXPECT_NE(Saved().find("\"uptodate\": 0"), std::string::npos);
}

TEST_F(ParameterWrites, WriteOfOneParameterLeavesTheOthersInheritedUnlessTheRecordCannotHoldThem) {
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    const OwnValues own = OwnOf(kChairGuid);
    EXPECT_EQ(own.at("uptodate"), (ParameterValue{{1.0}, {}}));
    // The arrays came back as the part has them.
    EXPECT_EQ(own.count("grid"), 0u);
    EXPECT_EQ(own.count("names"), 0u);
    // A record holds 255 units of text: the chair's longer check_url comes back cut, and the
    // element keeps the cut text as its own.
    ASSERT_EQ(own.count("check_url"), 1u);
    EXPECT_EQ(own.at("check_url").texts,
              std::vector<std::u16string>{testfiles::Wide(kLongUrl.substr(0, 255))});
}

TEST_F(ParameterWrites, ArrayChangedInTheMemoBecomesTheElementsOwnAndUndoTakesItBack) {
    ASSERT_EQ(ChangeThroughMemo(kChairGuid,
                                [](GSHandle block) {
                                    std::byte* grid = RecordIn(block, "grid");
                                    ASSERT_NE(grid, nullptr);
                                    GSHandle values;
                                    std::memcpy(&values, grid + ParameterField::ArrayValues,
                                                sizeof values);
                                    const double changed = 99;
                                    std::memcpy(*values + sizeof(double), &changed, sizeof changed);
                                }),
              0);
    EXPECT_EQ(OwnOf(kChairGuid).at("grid").numbers, (std::vector<double>{11, 99, 13, 21, 22, 23}));
    EXPECT_EQ(OwnOf(kChairGuid).count("names"), 0u);
    EXPECT_TRUE(OwnOf(kChair2Guid).empty());

    ElementMemo memo;
    ASSERT_EQ(GetMemo(kChairGuid, memo), 0);
    const GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
    const std::vector<ParameterRecord> records = RecordsOf(block);
    const ParameterRecord& grid = Named(records, "grid");
    const auto values = GetField<GSHandle>(grid, ParameterField::ArrayValues);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(reinterpret_cast<const double*>(*values)[1], 99.0);
    FreeBlockAsAddOn(block);

    ASSERT_TRUE(session->Undo());
    EXPECT_TRUE(OwnOf(kChairGuid).empty());
}

TEST_F(ParameterWrites, ArrayOfMoreRowsIsKeptAndTheMemoGivesItsRows) {
    ASSERT_EQ(ChangeThroughMemo(
                  kChairGuid,
                  [](GSHandle block) {
                      std::byte* grid = RecordIn(block, "grid");
                      ASSERT_NE(grid, nullptr);
                      GSHandle values;
                      std::memcpy(&values, grid + ParameterField::ArrayValues, sizeof values);
                      BMKillHandle(&values);
                      values = BMAllocateHandle(9 * sizeof(double), 0, 0);
                      for (int i = 0; i < 9; ++i) {
                          const double value = i;
                          std::memcpy(*values + i * sizeof(double), &value, sizeof value);
                      }
                      std::memcpy(grid + ParameterField::ArrayValues, &values, sizeof values);
                      const int32_t rows = 3;
                      std::memcpy(grid + ParameterField::Dimension1, &rows, sizeof rows);
                  }),
              0);
    EXPECT_EQ(OwnOf(kChairGuid).at("grid").numbers.size(), 9u);
    const std::vector<Parameter> effective = EffectiveOf(kChairGuid);
    const Parameter* grid = Find(effective, "grid");
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->dimension1, 3);
    EXPECT_EQ(grid->dimension2, 3);

    ElementMemo memo;
    ASSERT_EQ(GetMemo(kChairGuid, memo), 0);
    const GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
    const std::vector<ParameterRecord> records = RecordsOf(block);
    const ParameterRecord& record = Named(records, "grid");
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Dimension1), 3);
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Dimension2), 3);
    EXPECT_EQ(BMGetHandleSize(GetField<GSHandle>(record, ParameterField::ArrayValues)),
              static_cast<GSSize>(9 * sizeof(double)));
    FreeBlockAsAddOn(block);
    // The other chair still has the part's two rows.
    const std::vector<Parameter> other = EffectiveOf(kChair2Guid);
    ASSERT_NE(Find(other, "grid"), nullptr);
    EXPECT_EQ(Find(other, "grid")->dimension1, 2);
}

TEST_F(ParameterWrites, RecordNameInAnotherCaseWritesUnderThePartsSpelling) {
    ASSERT_EQ(ChangeThroughMemo(kLampGuid,
                                [](GSHandle block) {
                                    std::byte* record = RecordIn(block, "uptodate");
                                    ASSERT_NE(record, nullptr);
                                    std::memcpy(record + ParameterField::Name, "UpToDate", 8);
                                    const double value = 4;
                                    std::memcpy(record + ParameterField::Value, &value,
                                                sizeof value);
                                }),
              0);
    EXPECT_EQ(OwnOf(kLampGuid), (OwnValues{{"uptodate", ParameterValue{{4.0}, {}}}}));
}

TEST_F(ParameterWrites, MemoHoldsTheRecordsOfACopyOfTheEffectiveParameters) {
    // The chair's own values: a number, a cut text, and an array of three rows.
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    Element& chair = *project->FindElement(GuidOf(kChairGuid));
    chair.ownValues["grid"] = ParameterValue{{1, 2, 3, 4, 5, 6, 7, 8, 9}, {}};
    for (const char* guid : {kDoorGuid, kChairGuid, kChair2Guid, kLampGuid}) {
        ElementMemo memo;
        ASSERT_EQ(GetMemo(guid, memo), 0);
        const GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
        const GSHandle copy = MakeParameterBlock(EffectiveOf(guid));
        const std::vector<ParameterRecord> records = RecordsOf(block);
        const std::vector<ParameterRecord> expected = RecordsOf(copy);
        ASSERT_EQ(records.size(), expected.size()) << guid;
        for (std::size_t i = 0; i < records.size(); ++i) {
            const bool array =
                GetField<int16_t>(expected[i], ParameterField::Form) == ParameterField::kFormArray;
            // An array's handles are new ones each time: their contents are compared instead.
            const std::size_t handles = array ? ParameterField::ArrayDescriptions : kNoHandles;
            EXPECT_EQ(std::memcmp(records[i].bytes, expected[i].bytes, handles), 0)
                << guid << " record " << i;
            if (array) {
                EXPECT_EQ(GetField<GSHandle>(records[i], ParameterField::ArrayDescriptions),
                          nullptr);
                const auto values = GetField<GSHandle>(records[i], ParameterField::ArrayValues);
                const auto expectedValues =
                    GetField<GSHandle>(expected[i], ParameterField::ArrayValues);
                ASSERT_EQ(BMGetHandleSize(values), BMGetHandleSize(expectedValues));
                EXPECT_EQ(std::memcmp(*values, *expectedValues,
                                      static_cast<std::size_t>(BMGetHandleSize(values))),
                          0);
                EXPECT_EQ(std::memcmp(records[i].bytes + ParameterField::ArrayValues + 8,
                                      expected[i].bytes + ParameterField::ArrayValues + 8,
                                      ParameterRecord::kSize - ParameterField::ArrayValues - 8),
                          0);
            }
        }
        FreeBlockAsAddOn(block);
        FreeBlockAsAddOn(copy);
    }
}

// A part whose names need more than ASCII, or more bytes than a record keeps.
class ParameterNames : public ParameterWrites {
protected:
    void SetUp() override {
        ParameterWrites::SetUp();
        ASSERT_TRUE(testfiles::WriteFileBytes(
            testfiles::Utf8Of(folder.Path() / "Library/Objects/Named.xml"),
            testfiles::GdlPartXml({testfiles::GdlNumberParameter(kCzech, 1, "Length"),
                                   testfiles::GdlNumberParameter(kLong, 2),
                                   testfiles::GdlNumberParameter(kLongThenCzech, 3)})));
        session->ReloadLibrary();
        named = TextOf(session->PlaceElement(ElementType::Object, "Objects/Named.xml").guid);
    }

    static constexpr const char* kCzech = "\xC5\xA1\xC3\xAD\xC5\x99ka";  // "šířka"
    static constexpr const char* kLong = "a_name_longer_than_the_thirty_one_bytes_kept";
    // 31 bytes of ASCII, then "ž": the record keeps the ASCII alone.
    static constexpr const char* kLongThenCzech = "b_name_of_thirty_one_bytes_then\xC5\xBE";
    std::string named;
};

TEST_F(ParameterNames, RecordsSpellNamesInTheDefaultCodeCutToThirtyOneBytes) {
    ElementMemo memo;
    ASSERT_EQ(GetMemo(named, memo), 0);
    const GSHandle block = GetField<GSHandle>(memo, MemoField::Params);
    const std::vector<ParameterRecord> records = RecordsOf(block);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(NameOf(records[0]), "\x9A\xED\xF8ka");
    EXPECT_EQ(NameOf(records[1]), std::string(kLong).substr(0, 31));
    EXPECT_EQ(NameOf(records[2]), "b_name_of_thirty_one_bytes_then");
    FreeBlockAsAddOn(block);
}

TEST_F(ParameterNames, WritesByRecordNameReachTheFullNames) {
    ASSERT_EQ(CallUndoable("Sync",
                           [&] {
                               EXPECT_EQ(WriteNumber(named, "\x9A\xED\xF8KA", 5), 0);
                               EXPECT_EQ(WriteNumber(named, std::string(kLong).substr(0, 31), 6),
                                         0);
                               return WriteNumber(named, "B_NAME_OF_THIRTY_ONE_BYTES_THEN", 7);
                           }),
              0);
    EXPECT_EQ(OwnOf(named), (OwnValues{{kCzech, ParameterValue{{5.0}, {}}},
                                       {kLong, ParameterValue{{6.0}, {}}},
                                       {kLongThenCzech, ParameterValue{{7.0}, {}}}}));
    const std::string saved = Saved();
    EXPECT_NE(saved.find(std::string("\"") + kLongThenCzech + "\": 7"), std::string::npos);
}

}  // namespace
}  // namespace orvhost::test
