// HostErrorsTest.cpp: both tables of host error texts, row by row, and where they differ.
#include "common/HostErrors.h"

#include "HostErrorRows.h"
#include "TestFiles.h"
#include "common/OVException.h"

#include <gtest/gtest.h>
#include <set>

namespace {

using testfiles::Wide;

bool InNarrow(const HostErrorRow& row) { return std::string(row.table) != "wide"; }
bool InWide(const HostErrorRow& row) { return std::string(row.table) != "narrow"; }

}  // namespace

TEST(HostErrorTables, EveryNarrowRowGivesItsText) {
    int rows = 0;
    for (const HostErrorRow& row : kHostErrorRows) {
        if (!InNarrow(row))
            continue;
        ++rows;
        EXPECT_EQ(static_cast<int32_t>(row.code), row.signedCode);
        EXPECT_EQ(LookupHostError(row.signedCode), row.text) << std::hex << row.code;
    }
    EXPECT_EQ(rows, 73);
    EXPECT_EQ(BuildHostErrorTable().size(), 73u);
}

TEST(HostErrorTables, EveryWideRowGivesItsText) {
    int rows = 0;
    for (const HostErrorRow& row : kHostErrorRows) {
        if (!InWide(row))
            continue;
        ++rows;
        EXPECT_EQ(HostErrorDescription(row.code), Wide(row.text)) << std::hex << row.code;
        EXPECT_EQ(OVException(row.signedCode, "x").GetCodeDescription(), Wide(row.text));
    }
    EXPECT_EQ(rows, 70);
}

TEST(HostErrorTables, CodesOfOneTableAloneAreUnknownToTheOther) {
    std::set<uint32_t> narrow, wide;
    for (const HostErrorRow& row : kHostErrorRows) {
        if (InNarrow(row))
            narrow.insert(row.code);
        if (InWide(row))
            wide.insert(row.code);
    }
    int narrowOnly = 0, wideOnly = 0, differing = 0;
    for (const HostErrorRow& row : kHostErrorRows) {
        if (std::string(row.table) == "narrow" && !wide.count(row.code)) {
            ++narrowOnly;
            EXPECT_EQ(HostErrorDescription(row.code), WString()) << std::hex << row.code;
        } else if (std::string(row.table) == "wide" && !narrow.count(row.code)) {
            ++wideOnly;
            EXPECT_EQ(LookupHostError(row.signedCode), "Unknown error code.");
        } else if (std::string(row.table) == "narrow") {
            ++differing;
            EXPECT_NE(Wide(LookupHostError(row.signedCode).c_str()),
                      HostErrorDescription(row.code));
        }
    }
    EXPECT_EQ(narrowOnly, 6);
    EXPECT_EQ(wideOnly, 3);
    EXPECT_EQ(differing, 8);
}

TEST(HostErrorTables, CanceledByUserHasABracketInNarrowAndCommaBlankInWide) {
    EXPECT_EQ(LookupHostError(static_cast<int32_t>(0x81060003u)),
              "The operation has been canceled by the user[in case of a long process.");
    EXPECT_EQ(HostErrorDescription(0x81060003u),
              u"The operation has been canceled by the user, in case of a long process.");
}

TEST(HostErrorTables, UsersWorkspaceLosesItsApostropheInNarrow) {
    EXPECT_EQ(LookupHostError(static_cast<int32_t>(0x81060132u)),
              "The database item is not in the users workspace.");
    EXPECT_EQ(HostErrorDescription(0x81060132u),
              u"The database item is not in the user's workspace.");
}

TEST(HostErrorTables, ModulDataTextHasNoBlankAfterFullStopInNarrow) {
    EXPECT_NE(LookupHostError(static_cast<int32_t>(0x81060195u)).find("unique ID.See ACAPI"),
              std::string::npos);
    EXPECT_NE(HostErrorDescription(0x81060195u).find(u"unique ID. See ACAPI"), WString::npos);
}

TEST(HostErrorTables, ZeroIsEmptyDescriptionAndUnknownNarrowText) {
    EXPECT_EQ(OVException(0, "x").GetCodeDescription(), WString());
    EXPECT_EQ(LookupHostError(0), "Unknown error code.");
}

TEST(HostErrorTables, MissingOperationCodeStandsInBoth) {
    const char* text = "The command is not supported by the server application. It is not "
                       "environment dependent. The server application cannot execute the "
                       "command generally.";
    EXPECT_EQ(LookupHostError(-2130312313), text);
    EXPECT_EQ(HostErrorDescription(0x81060387u), Wide(text));
}

TEST(HostErrorTables, NarrowOnlyAndWideOnlyCodes) {
    for (uint32_t code : {0x8106038Du, 0x81060133u, 0x81060134u}) {
        EXPECT_NE(LookupHostError(static_cast<int32_t>(code)), "Unknown error code.");
        EXPECT_EQ(HostErrorDescription(code), WString());
    }
    for (uint32_t code : {0x81060259u, 0x8106025Au, 0x8106025Bu}) {
        EXPECT_EQ(LookupHostError(static_cast<int32_t>(code)), "Unknown error code.");
        EXPECT_NE(HostErrorDescription(code), WString());
    }
}

TEST(HostErrorTables, CodeInNeitherTable) {
    EXPECT_EQ(LookupHostError(static_cast<int32_t>(0x81060004u)), "Unknown error code.");
    EXPECT_EQ(HostErrorDescription(0x81060004u), WString());
    EXPECT_FALSE(OVException(static_cast<int32_t>(0x81060004u), "x").GetCodeDescription().empty());
}
