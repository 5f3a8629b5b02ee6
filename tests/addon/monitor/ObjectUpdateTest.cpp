// ObjectUpdateTest.cpp: the summary dialog's update button end to end: the real module in orvhost
// downloads from the in-process version service and puts the file in place of the library part,
// seen from outside (message boxes and dialog states in the trace, the files on disk, the
// service's request log).
#include "MonitorFixture.h"
#include "service/Publish.h"

#include <filesystem>
#include <sstream>
#include <string>
#include <unistd.h>

namespace monitortest {
namespace {

using testfiles::FilesBelow;
using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::WriteFileBytes;

// The texts the update path shows; the message box's title is the add-on's name.
const std::string kAddOnName = "OrvUpdate Brennerstein";
const std::string kReopenProject = "Objekt aktualizován, ale bude nutné znovu otevřít projekt";
const std::string kCannotReplace = "Nepodařilo se nahradit starý objekt";
const std::string kCannotWrite = "Nepodařilo se zapsat aktualizaci";
const std::string kOldObjectNotFound = "Nepodařilo se otevřít starý objekt";
const std::string kUnexpectedStatus = "Neočekávaná odpověď ze serveru s kódem: ";
const std::string kInvalidObject = "Neplatný objekt";
const std::string kRowDownloadFailed =
    "Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později";
const std::string kRowUpdateFailed =
    "Nepodařilo se aktualizovat objekt. Kontaktujte prosím podporu";
// What the archive library's exception says of a body that starts with "PK" but is no archive
// (no end record found): nothing, so the message box is empty.
const std::string kNoArchiveText = "";

// One object of the service's catalog: versions 1.0 and 2.0, 2.0 the latest, `file` its file.
struct Offer {
    std::string id;
    std::string file;   // empty: no file
    std::string bytes;  // the file's bytes
    std::string fileFaults = "{}";
    std::string checkFaults = "{}";
    std::string latest = "2.0";
};

// One row of a traced summary dialog.
struct RowView {
    std::string name;
    std::string state;
    std::string status;  // the second line
    bool hasButton = false;
    bool buttonEnabled = false;
    int click = 0;  // the number `click` takes for it, its place among all rows; 0 without button
};

int Top(const Json::Value& item) { return item["rect"][1].asInt(); }

// The rows of a dialog line, told apart by geometry: a row is 50 high, its name label (the only
// text of font size 0) starts it, the state stands beside the name, the status 30 below.
std::vector<RowView> RowsOf(const Json::Value& dialog) {
    std::vector<RowView> rows;
    std::vector<int> tops;
    for (const Json::Value& item : dialog["items"]) {
        if (item["kind"].asString() == "LeftText" && item["fontSize"].asInt() == 0) {
            RowView row;
            row.name = item["text"].asString();
            rows.push_back(row);
            tops.push_back(Top(item));
        }
    }
    for (const Json::Value& item : dialog["items"]) {
        const std::string kind = item["kind"].asString();
        const bool updateButton = kind == "Button" && !item["cancel"].asBool();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const int offset = Top(item) - tops[i];
            if (offset < 0 || offset >= 50) {
                continue;
            }
            if (kind == "LeftText" && item["fontSize"].asInt() != 0) {
                (offset < 30 ? rows[i].state : rows[i].status) = item["text"].asString();
            } else if (updateButton) {
                rows[i].hasButton = true;
                rows[i].buttonEnabled = item["enabled"].asBool();
                rows[i].click = static_cast<int>(i) + 1;
            }
        }
    }
    return rows;
}

std::optional<RowView> RowNamed(const Json::Value& dialog, const std::string& name) {
    for (const RowView& row : RowsOf(dialog)) {
        if (row.name == name) {
            return row;
        }
    }
    return std::nullopt;
}

// A library part's XML as orvhost reads it, for the files the service hands out.
std::string PartXml(const std::string& checkUrl, const std::string& marker) {
    return testfiles::GdlPartXml({GdlTextParameter("check_url", checkUrl),
                                  GdlNumberParameter("uptodate", 0),
                                  GdlTextParameter("origin", marker)});
}

class ObjectUpdateTest : public MonitorTest {
protected:
    // The service starts in each test with the objects it needs (Serve); temporary files go to a
    // folder of the test's own, where they can be looked at.
    void SetUp() override {
        messageBoxesExpected = true;
        std::filesystem::create_directories(TempRoot());
        // wine-run.sh hands the Windows build its folder as a Windows path, on wine's drive Z:
        // that stands for the root.
        environment = WindowsHost() ? "ORV_WINE_TEMP=" + Quote("Z:" + TempRoot())
                                    : "TMPDIR=" + Quote(TempRoot());
    }

    std::string TempRoot() const { return folder.At("tmp"); }
    // The add-on's folder for this user below TempRoot: the Windows build's is private to the
    // user already.
    static std::string TempFolderName() {
        return WindowsHost() ? "Orvanta" : "Orvanta-" + std::to_string(::geteuid());
    }
    // Where the add-on keeps its temporary files.
    std::map<std::string, std::string> TempFiles() const { return FilesBelow(TempRoot()); }

    void Serve(const std::vector<Offer>& offers) {
        std::string catalog = "{\"objects\": [";
        std::map<std::string, std::string> files;
        for (std::size_t i = 0; i < offers.size(); ++i) {
            const Offer& offer = offers[i];
            catalog += i == 0 ? "\n" : ",\n";
            catalog += "{\"id\": \"" + offer.id + "\", \"versions\": [\"1.0\", \"2.0\"], " +
                       "\"latest\": \"" + offer.latest + "\", ";
            if (!offer.file.empty()) {
                catalog += "\"file\": \"" + offer.file + "\", ";
                files[offer.file] = offer.bytes;
            }
            catalog += "\"faults\": {\"check\": " + offer.checkFaults +
                       ", \"file\": " + offer.fileFaults + "}}";
        }
        catalog += "\n]}";
        StartService(catalog, files);
    }

    // An object whose check the service holds until the test lets it go, so that the test can
    // change the project folder while the scan waits, before the script reaches the dialog; up
    // to date: its row has no button.
    static Offer HeldOffer() {
        Offer held;
        held.id = "HELD";
        held.latest = "1.0";
        held.checkFaults = R"({"hold": true})";
        return held;
    }

    // Makes a ZIP archive of `members` (name to bytes, names taken as they are) with python3.
    void MakeZip(const std::string& path, const std::map<std::string, std::string>& members) {
        const std::string staging = folder.At("zip-staging");
        std::filesystem::remove_all(staging);
        std::string program = "import sys, zipfile\n"
                              "with zipfile.ZipFile(sys.argv[1], 'w', zipfile.ZIP_DEFLATED) as z:\n"
                              "    for i in range(2, len(sys.argv), 2):\n"
                              "        info = zipfile.ZipInfo(sys.argv[i])\n"
                              "        info.compress_type = zipfile.ZIP_DEFLATED\n"
                              "        z.writestr(info, open(sys.argv[i + 1], 'rb').read())\n";
        ASSERT_TRUE(WriteFileBytes(staging + "/make.py", program));
        std::string command = "python3 " + Quote(staging + "/make.py") + " " + Quote(path);
        int number = 0;
        for (const auto& [name, bytes] : members) {
            const std::string source = staging + "/member" + std::to_string(++number);
            ASSERT_TRUE(WriteFileBytes(source, bytes));
            command += " " + Quote(name) + " " + Quote(source);
        }
        std::string output;
        ASSERT_EQ(RunCommand(command, &output), 0) << output;
    }

    std::string ZipBytes(const std::map<std::string, std::string>& members) {
        const std::string path = folder.At("made.zip");
        std::filesystem::remove(path);
        MakeZip(path, members);
        return ReadFileBytes(path);
    }

    // The usual run: the dialog opens, row `row` is pressed, its message box acknowledged.
    RunResult PressOnce(int row = 1) {
        return RunScript({"wait 2000", "click " + std::to_string(row), "ok", "close"});
    }

    std::vector<Json::Value> MessageBoxes() const { return Lines("messagebox"); }
    std::vector<std::string> MessageTexts() const {
        std::vector<std::string> texts;
        for (const Json::Value& line : MessageBoxes()) {
            EXPECT_EQ(line["title"].asString(), kAddOnName);
            // A warning icon and one OK button.
            EXPECT_EQ(line["type"].asInt(), 0x30);
            texts.push_back(line["text"].asString());
        }
        return texts;
    }
    std::vector<Json::Value> DialogUpdates() const {
        std::vector<Json::Value> updates;
        for (const Json::Value& line : Lines("dialog")) {
            if (line["event"].asString() == "update") {
                updates.push_back(line);
            }
        }
        return updates;
    }
    // The /files requests the service saw.
    std::vector<orvservice::RequestRecord> Downloads() const {
        std::vector<orvservice::RequestRecord> downloads;
        for (const orvservice::RequestRecord& record : service->Requests()) {
            if (record.target.rfind("/files/", 0) == 0) {
                downloads.push_back(record);
            }
        }
        return downloads;
    }

    // The dialog opened once with `name` as row `place` with a button; after the press, that row
    // reads `status` with its button enabled again, and the one message box said `text`.
    void ExpectOnePress(const RunResult& run, const std::string& name, const std::string& text,
                        const std::string& status, int place = 1, std::size_t opensExpected = 1) {
        EXPECT_EQ(run.status, 0) << run.output;
        const auto opens = DialogOpens();
        ASSERT_EQ(opens.size(), opensExpected) << run.output;
        const auto before = RowNamed(opens[0], name);
        ASSERT_TRUE(before) << opens[0];
        EXPECT_EQ(before->click, place) << opens[0];
        EXPECT_EQ(before->status, "");
        EXPECT_EQ(MessageTexts(), std::vector<std::string>{text});
        const auto updates = DialogUpdates();
        ASSERT_EQ(updates.size(), 1u);
        const auto after = RowNamed(updates[0], name);
        ASSERT_TRUE(after) << updates[0];
        EXPECT_EQ(after->status, status);
        EXPECT_TRUE(after->hasButton);
        EXPECT_TRUE(after->buttonEnabled);
        EXPECT_EQ(after->state, kStateUpdateText);
    }

    // A project of one plain part Library/Plain/NAME.xml on offer as `offer`.
    void PlainPartOnOffer(const std::string& name, Offer offer) {
        offer.id = name;
        Serve({offer});
        MakeMonitoredPart("Plain/" + name + ".xml", CheckUrl(name, "1.0"));
        MakeProject({});
    }
};

// ---- The failure table, one row each ----

TEST_F(ObjectUpdateTest, SuccessShowsReopenTextAndRowReadsAsFailure) {
    const std::string newPart = "new part file\n";
    PlainPartOnOffer("P01", {"", "P01.xml", newPart});
    MakePart("Plain/Other.xml", {GdlNumberParameter("A", 1)});
    const std::string other = ReadFileBytes(LibraryPath("Plain/Other.xml"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kReopenProject, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), newPart);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/Other.xml")), other);
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")).size(), 2u);
    // The temporary file was renamed into place.
    EXPECT_TRUE(TempFiles().empty());
    ASSERT_EQ(Downloads().size(), 1u);
    EXPECT_EQ(Downloads()[0].target, "/files/P01.xml");
}

TEST_F(ObjectUpdateTest, DownloadStatus404ShowsStatusAndRowReadsDownloadFailed) {
    PlainPartOnOffer("P01", {"", "P01.xml", "new", R"({"status": 404})"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/P01.xml"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kUnexpectedStatus + "404", kRowDownloadFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), old);
    EXPECT_TRUE(TempFiles().empty()) << "nothing is written after a failed download";
}

TEST_F(ObjectUpdateTest, DownloadStatus503ShowsStatusAndRowReadsDownloadFailed) {
    PlainPartOnOffer("P01", {"", "P01.xml", "new", R"({"status": 503})"});

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kUnexpectedStatus + "503", kRowDownloadFailed);
    EXPECT_TRUE(TempFiles().empty());
}

TEST_F(ObjectUpdateTest, DownloadOfOneByteShowsInvalidObjectAndRowReadsDownloadFailed) {
    PlainPartOnOffer("P01", {"", "P01.xml", "new", R"({"body": "X"})"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/P01.xml"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kInvalidObject, kRowDownloadFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), old);
}

TEST_F(ObjectUpdateTest, DownloadCutShortShowsReadFailureAndRowReadsDownloadFailed) {
    if (WindowsHost()) {
        GTEST_SKIP() << "wine's WinHTTP takes a body cut short for a whole one";
    }
    PlainPartOnOffer("P01", {"", "P01.xml", std::string(100000, 'x'), R"({"cut_body": true})"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/P01.xml"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", "Failed to read response: 12030", kRowDownloadFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), old);
}

TEST_F(ObjectUpdateTest, TempFileNotWritableShowsCannotWriteAndRowReadsUpdateFailed) {
    PlainPartOnOffer("P01", {"", "P01.xml", "new part file\n"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/P01.xml"));
    // The temporary folder's place is taken by a file: no temporary file can be made.
    ASSERT_TRUE(WriteFileBytes(TempRoot() + "/" + TempFolderName(), "a file, not a folder"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kCannotWrite, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), old);
    EXPECT_EQ(ReadFileBytes(TempRoot() + "/" + TempFolderName()), "a file, not a folder");
}

TEST_F(ObjectUpdateTest, RenameFailureShowsCannotReplaceAndRowReadsUpdateFailed) {
    // The server names a file that is a non-empty folder beside the part: the rename cannot
    // take its place.
    PlainPartOnOffer("P01", {"", "P01.xml", "new part file\n",
                             R"({"disposition": "attachment; filename=Sub"})"});
    ASSERT_TRUE(WriteFileBytes(LibraryPath("Plain/Sub/keep.txt"), "kept"));
    const auto before = FilesBelow(LibraryPath("Plain"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kCannotReplace, kRowUpdateFailed);
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")), before);
    // In the plain branch a failed rename leaves the temporary file where it is.
    const auto temp = TempFiles();
    ASSERT_EQ(temp.size(), 1u);
    EXPECT_EQ(temp.begin()->first, TempFolderName() + "/Sub");
    EXPECT_EQ(temp.begin()->second, "new part file\n");
}

TEST_F(ObjectUpdateTest, UnzipFailureShowsCannotReplaceAndRowReadsUpdateFailed) {
    // The part's folder becomes a file while the dialog is open: the archive has nowhere to go.
    Offer zipped{"Z01", "Z01-2.0.zip", ZipBytes({{"Z01.xml", "new"}})};
    Serve({HeldOffer(), zipped});
    MakeMonitoredPart("Aaa/Held.xml", CheckUrl("HELD", "1.0"));
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({});

    const RunResult run = RunScriptWhileHeld({"wait 2000", "click 2", "ok", "close"}, [this] {
        std::filesystem::remove_all(LibraryPath("Zipped"));
        WriteFileBytes(LibraryPath("Zipped"), "a file where the folder was");
    });

    ExpectOnePress(run, "Z01", kCannotReplace, kRowUpdateFailed, 2);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Zipped")), "a file where the folder was");
    EXPECT_TRUE(TempFiles().empty()) << "the archive's temporary file is deleted in any case";
}

// Also the failure table's row of a library part that cannot be found.
TEST_F(ObjectUpdateTest, PartRemovedWhileDialogOpenShowsOldObjectNotFound) {
    Offer plain{"GONE", "Gone.xml", "new part file\n"};
    Serve({HeldOffer(), plain});
    // Sorted last, so that after the reload no other part takes its index.
    MakeMonitoredPart("Aaa/Held.xml", CheckUrl("HELD", "1.0"));
    MakeMonitoredPart("Objects/Gone.xml", CheckUrl("GONE", "1.0"));
    MakeProject({});

    // The file vanishes during the scan; the reload lets the host forget the part.
    const RunResult run =
        RunScriptWhileHeld({"wait 2000", "reload", "click 2", "ok", "close"},
                           [this] { std::filesystem::remove(LibraryPath("Objects/Gone.xml")); });

    // The reload's library event sets the monitor's deferred write going again, and with it a
    // second summary once the first is closed: the monitor's doing, not the update's.
    ExpectOnePress(run, "Gone", kOldObjectNotFound, kRowUpdateFailed, 2, 2);
    EXPECT_FALSE(std::filesystem::exists(LibraryPath("Objects/Gone.xml")));
    EXPECT_TRUE(TempFiles().empty()) << "the part is looked up before anything is written";
    EXPECT_EQ(Downloads().size(), 1u);
}

// ---- The edge cases ----

TEST_F(ObjectUpdateTest, NoContentDispositionPlainBodyTargetsTheFolderAndFails) {
    PlainPartOnOffer("P01",
                     {"", "P01.xml", "new part file\n", R"({"no_content_disposition": true})"});
    MakePart("Plain/Other.xml", {GdlNumberParameter("A", 1)});
    const auto before = FilesBelow(LibraryPath("Plain"));

    const RunResult run = PressOnce();

    // The rename's target is the folder itself; the delete it tries first refuses a folder.
    ExpectOnePress(run, "P01", kCannotReplace, kRowUpdateFailed);
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")), before);
    EXPECT_TRUE(std::filesystem::is_directory(LibraryPath("Plain")));
    // Made under a random name, as the empty name is the folder's; it stays.
    const auto temp = TempFiles();
    ASSERT_EQ(temp.size(), 1u);
    EXPECT_EQ(temp.begin()->second, "new part file\n");
}

TEST_F(ObjectUpdateTest, NoContentDispositionZipBodyUnpacksAll) {
    const std::string zip = ZipBytes({{"Z01.xml", "new zipped part\n"}});
    Serve({{"Z01", "Z01-2.0.zip", zip, R"({"no_content_disposition": true})"}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({});

    const RunResult run = PressOnce();

    ExpectOnePress(run, "Z01", kReopenProject, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Zipped/Z01.xml")), "new zipped part\n");
    EXPECT_EQ(FilesBelow(LibraryPath("Zipped")).size(), 1u);
    EXPECT_TRUE(TempFiles().empty());
}

// Linux allows double quotes in a file name: the quoted name is made and the file lands beside
// the old one, which stays.
TEST_F(ObjectUpdateTest, QuotedFileNameKeepsQuotesAndLandsBesideTheOldFile) {
    PlainPartOnOffer("Q01", {"", "Q01.xml", "new part file\n", R"({"quoted_filename": true})"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/Q01.xml"));

    const RunResult run = PressOnce();

    if (WindowsHost()) {
        // A quote cannot stand in a Windows file name: the temporary file is never made.
        ExpectOnePress(run, "Q01", kCannotWrite, kRowUpdateFailed);
        EXPECT_EQ(FilesBelow(LibraryPath("Plain")).size(), 1u);
    } else {
        ExpectOnePress(run, "Q01", kReopenProject, kRowUpdateFailed);
        EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/\"Q01.xml\"")), "new part file\n");
        EXPECT_EQ(FilesBelow(LibraryPath("Plain")).size(), 2u);
    }
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/Q01.xml")), old);
    EXPECT_TRUE(TempFiles().empty());
}

TEST_F(ObjectUpdateTest, BodyOfJustPKGoesToTheZipBranchAndFails) {
    PlainPartOnOffer("P01", {"", "P01.xml", "unused", R"({"body": "PK"})"});
    const auto before = FilesBelow(LibraryPath("Plain"));

    const RunResult run = PressOnce();

    // No archive to open: the archive's own exception reaches the user.
    ExpectOnePress(run, "P01", kNoArchiveText, kRowUpdateFailed);
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")), before);
    // The exception skips the deletion that follows the unpacking: the temporary file stays.
    const auto temp = TempFiles();
    ASSERT_EQ(temp.size(), 1u);
    EXPECT_EQ(temp.begin()->second, "PK");
}

TEST_F(ObjectUpdateTest, PlainFileBeginningWithPKGoesToTheZipBranch) {
    const std::string body = "PK is how this part file happens to begin\n";
    PlainPartOnOffer("P01", {"", "P01.xml", body});
    const auto before = FilesBelow(LibraryPath("Plain"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kNoArchiveText, kRowUpdateFailed);
    // Not renamed into place: the folder is as it was.
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")), before);
    const auto temp = TempFiles();
    ASSERT_EQ(temp.size(), 1u);
    EXPECT_EQ(temp.begin()->first, TempFolderName() + "/P01.xml");
    EXPECT_EQ(temp.begin()->second, body);
}

TEST_F(ObjectUpdateTest, SecondPressAfterSuccessDownloadsAndReplacesAgain) {
    PlainPartOnOffer("P01", {"", "P01.xml", "new part file\n"});

    const RunResult run = RunScript({"wait 2000", "click 1", "ok", "click 1", "ok", "close"});

    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(MessageTexts(), (std::vector<std::string>{kReopenProject, kReopenProject}));
    const auto updates = DialogUpdates();
    ASSERT_EQ(updates.size(), 2u);
    for (const Json::Value& update : updates) {
        const auto row = RowNamed(update, "P01");
        ASSERT_TRUE(row);
        EXPECT_EQ(row->status, kRowUpdateFailed);
        EXPECT_TRUE(row->buttonEnabled);
    }
    EXPECT_EQ(Downloads().size(), 2u);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), "new part file\n");
    EXPECT_TRUE(TempFiles().empty());
    // No new check: the update changes nothing in the monitor's table.
    EXPECT_EQ(Requests().size(), 1u);
}

// ---- Archives ----

TEST_F(ObjectUpdateTest, ZipReplacesTheFilesOfThePartFolderAndLeavesTheRest) {
    const std::string zip =
        ZipBytes({{"Z01.xml", "new zipped part\n"}, {"Sub/New.txt", "a new file\n"}});
    Serve({{"Z01", "Z01-2.0.zip", zip}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakePart("Zipped/Other.xml", {GdlNumberParameter("A", 1)});
    ASSERT_TRUE(WriteFileBytes(LibraryPath("Zipped/Sub/Old.txt"), "old\n"));
    MakePart("Elsewhere/E01.xml", {GdlNumberParameter("A", 2)});
    MakeProject({});
    auto expected = FilesBelow(LibraryPath(""));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "Z01", kReopenProject, kRowUpdateFailed);
    expected["Zipped/Z01.xml"] = "new zipped part\n";
    expected["Zipped/Sub/New.txt"] = "a new file\n";
    EXPECT_EQ(FilesBelow(LibraryPath("")), expected);
    EXPECT_TRUE(TempFiles().empty());
}

// The archive decides what is written over the part's folder: a neighbouring part's file too.
TEST_F(ObjectUpdateTest, ZipOverwritesANeighbouringPartsFileInTheSameFolder) {
    const std::string zip =
        ZipBytes({{"Z01.xml", "new zipped part\n"}, {"Other.xml", "the archive's other\n"}});
    Serve({{"Z01", "Z01-2.0.zip", zip}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakePart("Zipped/Other.xml", {GdlNumberParameter("A", 1)});
    MakeProject({});

    const RunResult run = PressOnce();

    ExpectOnePress(run, "Z01", kReopenProject, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Zipped/Other.xml")), "the archive's other\n");
}

// The server's name decides where a plain file goes: another name than the part's lands beside
// the old file, which stays.
TEST_F(ObjectUpdateTest, PlainFileOfAnotherNameLandsBesideTheOldFile) {
    PlainPartOnOffer("P01", {"", "P01-2.0.xml", "new part file\n"});
    const std::string old = ReadFileBytes(LibraryPath("Plain/P01.xml"));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01", kReopenProject, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), old);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01-2.0.xml")), "new part file\n");
    EXPECT_EQ(FilesBelow(LibraryPath("Plain")).size(), 2u);
}

// orvservice publish places a plain part under its own name, in a folder of its own: the add-on
// saves the download under that name and so replaces the part's file in place, nothing beside it.
TEST_F(ObjectUpdateTest, PlainPartPublishedByTheServiceReplacesThePartInPlace) {
    Offer offer;
    offer.id = "P01";
    Serve({offer});
    MakeMonitoredPart("Plain/P01 Door.xml", CheckUrl("P01", "1.0"));
    MakePart("Plain/Other.xml", {GdlNumberParameter("A", 1)});
    MakeProject({});
    // The maker's next version, as it stands in the maker's library.
    const std::string newPart = PartXml(CheckUrl("P01", "3.0"), "published P01");
    ASSERT_TRUE(WriteFileBytes(folder.At("maker/P01 Door.xml"), newPart));
    std::ostringstream out;
    std::ostringstream err;
    ASSERT_EQ(orvservice::RunPublish(
                  {"orvservice", "publish", "--catalog", folder.At("service/catalog.json"),
                   "--files", folder.At("service/files"), "--id", "P01", "--version", "3.0",
                   "--library", LibraryPath("Plain"), folder.At("maker/P01 Door.xml")},
                  out, err),
              0)
        << err.str();
    EXPECT_EQ(err.str(), "") << "the library's part has the name published";
    service->ReloadCatalog();
    auto expected = FilesBelow(LibraryPath(""));

    const RunResult run = PressOnce();

    ExpectOnePress(run, "P01 Door", kReopenProject, kRowUpdateFailed);
    const auto downloads = Downloads();
    ASSERT_EQ(downloads.size(), 1u);
    EXPECT_EQ(downloads[0].target, "/files/P01-3.0/P01%20Door.xml");
    EXPECT_EQ(downloads[0].status, 200);
    expected["Plain/P01 Door.xml"] = newPart;
    EXPECT_EQ(FilesBelow(LibraryPath("")), expected);
    EXPECT_TRUE(TempFiles().empty());
}

// Files of the test folder, without the run's own files and the saved project.
std::map<std::string, std::string> FilesBesideTheRun(const std::string& root) {
    auto files = FilesBelow(root);
    for (const char* own : {"script.txt", "trace.jsonl", "project/project.json"}) {
        files.erase(own);
    }
    return files;
}

TEST_F(ObjectUpdateTest, ZipWithDotDotMemberWritesNothingOutsideThePartFolder) {
    const std::string zip = ZipBytes({{"Z01.xml", "new zipped part\n"},
                                      {"../Escaped.txt", "out\n"},
                                      {"Sub/../../Escaped2.txt", "out\n"}});
    Serve({{"Z01", "Z01-2.0.zip", zip}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({});
    auto expected = FilesBesideTheRun(folder.Path().string());

    const RunResult run = PressOnce();

    // The refused members are passed over and the rest is unpacked, which counts as success.
    ExpectOnePress(run, "Z01", kReopenProject, kRowUpdateFailed);
    // Only the part's file changed.
    expected["project/Library/Zipped/Z01.xml"] = "new zipped part\n";
    EXPECT_EQ(FilesBesideTheRun(folder.Path().string()), expected);
}

// A server's file name that is a path would put the file outside the part's folder (and the
// temporary file outside the temporary folder): it is refused before anything is written.
TEST_F(ObjectUpdateTest, ServerFileNameThatIsAPathIsRefusedAndNothingIsWritten) {
    std::filesystem::create_directories(folder.At("outside"));
    const std::string absolute = folder.At("outside/Abs.xml");
    for (const std::string& name :
         {std::string("../../Up.xml"), std::string(R"(..\\Back.xml)"), std::string("Sub/In.xml"),
          absolute, std::string("C:Drive.xml"), std::string("..")}) {
        SCOPED_TRACE(name);
        PlainPartOnOffer("P01", {"", "P01.xml", "new part file\n",
                                 R"({"disposition": "attachment; filename=)" + name + R"("})"});
        const auto before = FilesBesideTheRun(folder.Path().string());

        const RunResult run = PressOnce();

        ExpectOnePress(run, "P01", kCannotWrite, kRowUpdateFailed);
        EXPECT_EQ(FilesBesideTheRun(folder.Path().string()), before);
        EXPECT_TRUE(TempFiles().empty());
    }
}

TEST_F(ObjectUpdateTest, ServerFileNameThatIsAPathIsRefusedForAnArchiveToo) {
    const std::string zip = ZipBytes({{"Z01.xml", "new zipped part\n"}});
    Serve({{"Z01", "Z01-2.0.zip", zip, R"({"disposition": "attachment; filename=../Z01.zip"})"}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({});
    const auto before = FilesBesideTheRun(folder.Path().string());

    const RunResult run = PressOnce();

    ExpectOnePress(run, "Z01", kCannotWrite, kRowUpdateFailed);
    EXPECT_EQ(FilesBesideTheRun(folder.Path().string()), before);
    EXPECT_TRUE(TempFiles().empty());
}

TEST_F(ObjectUpdateTest, Aes256ZipWithTheBuiltInPasswordUnpacks) {
    const std::string staging = folder.At("aes");
    ASSERT_TRUE(WriteFileBytes(staging + "/Z01.xml", "new encrypted part\n"));
    std::string output;
    ASSERT_EQ(RunCommand("cd " + Quote(staging) +
                             " && 7z a -tzip -mem=AES256 -pBrennerstein-OrvUpdate update.zip"
                             " Z01.xml > /dev/null && 7z l -slt update.zip",
                         &output),
              0)
        << output;
    ASSERT_NE(output.find("AES-256"), std::string::npos) << output;
    Serve({{"Z01", "Z01-2.0.zip", ReadFileBytes(staging + "/update.zip")}});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({});

    const RunResult run = PressOnce();

    ExpectOnePress(run, "Z01", kReopenProject, kRowUpdateFailed);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Zipped/Z01.xml")), "new encrypted part\n");
    EXPECT_EQ(FilesBelow(LibraryPath("Zipped")).size(), 1u);
}

// ---- The whole road ----

TEST_F(ObjectUpdateTest, OpenUpdateBothKindsThenReopenFindsThemUpToDate) {
    // The service's files name the newer version, so a reopened project reads them as latest;
    // their check addresses need the port, so they are written once the service runs.
    Serve({{"P01", "P01.xml", "placeholder"},
           {"Z01", "Z01-2.0.zip", "placeholder"},
           {"K01", "", "", "{}", "{}", "1.0"}});
    const std::string newPlain = PartXml(CheckUrl("P01", "2.0"), "served P01");
    const std::string newZipped = PartXml(CheckUrl("Z01", "2.0"), "served Z01");
    ASSERT_TRUE(WriteFileBytes(ServedFile("P01.xml"), newPlain));
    ASSERT_TRUE(WriteFileBytes(ServedFile("Z01-2.0.zip"), ZipBytes({{"Z01.xml", newZipped}})));

    MakeMonitoredPart("Keep/K01.xml", CheckUrl("K01", "1.0"));
    MakeMonitoredPart("Plain/P01.xml", CheckUrl("P01", "1.0"));
    MakePart("Zipped/Other.xml", {GdlNumberParameter("A", 1)});
    MakeMonitoredPart("Zipped/Z01.xml", CheckUrl("Z01", "1.0"));
    MakeProject({{Guid(1), 6, "Plain/P01.xml"},
                 {Guid(2), 6, "Zipped/Z01.xml"},
                 {Guid(3), 6, "Keep/K01.xml"},
                 {Guid(4), 6, "Zipped/Other.xml"},
                 {Guid(5), 1, ""}});
    const auto filesBefore = FilesBelow(ProjectPath());

    // First opening: states written, the summary shown, both parts updated.
    const RunResult first = RunScript({"wait 2000", "click 2", "ok", "click 3", "ok", "close"});

    ASSERT_EQ(first.status, 0) << first.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 2);
    EXPECT_EQ(SavedUpToDate(Guid(3)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(4)), kUntouched);
    const auto opens = DialogOpens();
    ASSERT_EQ(opens.size(), 1u);
    const auto rows = RowsOf(opens[0]);
    ASSERT_EQ(rows.size(), 3u) << opens[0];
    const auto plainRow = RowNamed(opens[0], "P01");
    const auto zippedRow = RowNamed(opens[0], "Z01");
    const auto keptRow = RowNamed(opens[0], "K01");
    ASSERT_TRUE(plainRow && zippedRow && keptRow) << opens[0];
    EXPECT_EQ(plainRow->click, 2);
    EXPECT_EQ(zippedRow->click, 3);
    EXPECT_EQ(plainRow->state, kStateUpdateText);
    EXPECT_EQ(keptRow->state, kStateUpToDateText);
    EXPECT_FALSE(keptRow->hasButton);
    EXPECT_EQ(MessageTexts(), (std::vector<std::string>{kReopenProject, kReopenProject}));
    EXPECT_EQ(ReadFileBytes(LibraryPath("Plain/P01.xml")), newPlain);
    EXPECT_EQ(ReadFileBytes(LibraryPath("Zipped/Z01.xml")), newZipped);
    EXPECT_TRUE(TempFiles().empty());

    // Nothing else on disk changed.
    auto filesAfter = FilesBelow(ProjectPath());
    auto expected = filesBefore;
    expected["Library/Plain/P01.xml"] = newPlain;
    expected["Library/Zipped/Z01.xml"] = newZipped;
    expected.erase("project.json");
    filesAfter.erase("project.json");
    EXPECT_EQ(filesAfter, expected);

    // Second opening of the same project: the new files ask for the newer version.
    const std::size_t checksBefore = Requests().size();
    const RunResult second = RunScript({"wait 2000"});

    ASSERT_EQ(second.status, 0) << second.output;
    const auto checks = Requests();
    std::vector<std::string> asked;
    for (std::size_t i = checksBefore; i < checks.size(); ++i) {
        asked.push_back(checks[i].target);
    }
    EXPECT_EQ(asked.size(), 3u);
    for (const std::string& target : asked) {
        if (target.find("id=P01") != std::string::npos ||
            target.find("id=Z01") != std::string::npos) {
            EXPECT_NE(target.find("version=2.0"), std::string::npos) << target;
        }
    }
    EXPECT_TRUE(DialogOpens().empty()) << "nothing left to update";
    EXPECT_TRUE(MessageBoxes().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(3)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(4)), kUntouched);
    EXPECT_EQ(EffectiveUpToDate(Guid(1)), 1);
    EXPECT_EQ(Downloads().size(), 2u) << "the second opening downloads nothing";
    auto filesSecond = FilesBelow(ProjectPath());
    filesSecond.erase("project.json");
    EXPECT_EQ(filesSecond, expected);
}

}  // namespace
}  // namespace monitortest
