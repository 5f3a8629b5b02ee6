// SummaryDialogTest.cpp: the summary dialog built from a monitor's table: its rows, its
// geometry as the script backend traces it, its notifications.
#include "ui/SummaryDialog.h"

#include "TestFiles.h"
#include "common/CUtils.h"
#include "common/PlatformHooks.h"
#include "presentation/Backends.h"
#include "presentation/DialogRows.h"
#include "service/VersionService.h"
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

#include <gtest/gtest.h>
#include <json/json.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

VersionCheckState Record(const std::string& name, int32_t state, const std::string& url) {
    VersionCheckState record;
    record.url = GS::UniString("http://127.0.0.1:1/check?id=1&version=1");
    record.version = GS::UniString("1.0");
    record.name = GS::UniString(name.c_str(), CC_UTF8);
    record.downloadUrl = GS::UniString(url.c_str(), CC_UTF8);
    record.state = state;
    record.checkTime = 0;
    return record;
}

class SummaryDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The icon is looked for beside the module: here, the test's own folder.
        CUtils::SetModulePathOverride(CUtils::StringUTF8ToWstring(folder.At("OrvUpdate.so")));
        testfiles::WriteFileBytes(folder.At("Graphics/brennerstein.png"),
                                  testfiles::ReadFileBytes(ORV_ICON_FILE));
        winsys::MainLoop::Instance().SetTraceSink(
            [this](const std::string& line) { trace.push_back(line); });
        // A backend of the emulator's presentation, as orvhost sets one before it loads the
        // add-on: it traces what the dialog does before it is invoked (its resize).
        winsys::MainLoop::Instance().SetBackend(presentation::MakeNoneBackend());
        // The runtime's alerts reach the host's message box, as the module arranges at its load.
        GetPlatformHooks().messageBox = [](void* owner, const WString& caption, const WString& text,
                                           uint32_t type) {
            MessageBoxW(static_cast<HWND>(owner), winsys::SystemText(text.c_str()),
                        winsys::SystemText(caption.c_str()), type);
        };
    }
    void TearDown() override {
        GetPlatformHooks().messageBox = nullptr;
        winsys::MainLoop::Instance().SetTraceSink(nullptr);
        winsys::MainLoop::Instance().SetBackend(nullptr);
        CUtils::SetModulePathOverride(WString());
    }

    void AddRecords(int count) {
        for (int i = 1; i <= count; ++i) {
            monitor.GetTable().Add(i, Record("Door " + std::to_string(i), StateUpdateAvailable,
                                             "http://x/files/d.zip"));
        }
    }

    // Runs the dialog under a script; the "open" trace line of the dialog.
    Json::Value InvokeAndTrace(SummaryDialog& dialog, std::vector<std::string> script = {"close"}) {
        std::vector<presentation::ScriptAction> actions;
        int line = 1;
        for (const std::string& text : script) {
            std::istringstream words(text);
            presentation::ScriptAction action;
            action.line = line++;
            words >> action.verb;
            for (std::string word; words >> word;) {
                action.words.push_back(word);
            }
            actions.push_back(action);
        }
        winsys::MainLoop::Instance().SetBackend(presentation::MakeScriptBackend(actions, nullptr));
        invoked = dialog.Invoke();
        for (const std::string& line : trace) {
            Json::Value value;
            std::istringstream(line) >> value;
            if (value["kind"] == "dialog" && value["event"] == "open") {
                return value;
            }
        }
        ADD_FAILURE() << "no dialog traced";
        return Json::Value();
    }

    // The traced items of one kind with their texts and rectangles.
    static std::vector<Json::Value> ItemsOf(const Json::Value& dialog, const std::string& kind) {
        std::vector<Json::Value> items;
        for (const Json::Value& item : dialog["items"]) {
            if (item["kind"] == kind) {
                items.push_back(item);
            }
        }
        return items;
    }

    // The dialog's calls of Resize, as traced from its construction on.
    std::vector<Json::Value> Resizes() const {
        std::vector<Json::Value> resizes;
        for (const std::string& line : trace) {
            Json::Value value;
            std::istringstream(line) >> value;
            if (value["kind"] == "dialog" && value["event"] == "resize") {
                resizes.push_back(value);
            }
        }
        return resizes;
    }

    static std::vector<int> RectOf(const Json::Value& item) {
        std::vector<int> rect;
        for (const Json::Value& value : item["rect"]) {
            rect.push_back(value.asInt());
        }
        return rect;
    }

    testfiles::TempFolder folder;
    ObjectsMonitor monitor;
    std::vector<std::string> trace;
    bool invoked = false;
};

using Rect = std::vector<int>;

TEST_F(SummaryDialogTest, NoRowsLeavesOnlyTheCloseButtonAt210By215) {
    SummaryDialog dialog(monitor);
    const Json::Value traced = InvokeAndTrace(dialog);
    EXPECT_TRUE(dialog.GetPanels().IsEmpty());
    EXPECT_EQ(traced["width"].asInt(), 500);
    EXPECT_EQ(traced["height"].asInt(), 250);
    const auto buttons = ItemsOf(traced, "Button");
    ASSERT_EQ(buttons.size(), 1u);
    EXPECT_EQ(buttons[0]["text"].asString(), "Zavřít");
    EXPECT_EQ(RectOf(buttons[0]), (Rect{210, 215, 290, 245}));
    EXPECT_TRUE(ItemsOf(traced, "LeftText").empty());
    EXPECT_EQ(traced["title"].asString(), "Seznam aktualizovatelných objektů");
}

TEST_F(SummaryDialogTest, OneRowHasNameStateButtonAndAnEmptySecondLine) {
    monitor.GetTable().Add(7, Record("Dveře", StateUpdateAvailable, "http://x/files/d.zip"));
    SummaryDialog dialog(monitor);
    const Json::Value traced = InvokeAndTrace(dialog);
    const auto texts = ItemsOf(traced, "LeftText");
    ASSERT_EQ(texts.size(), 3u);  // second line, name, state
    EXPECT_EQ(texts[0]["text"].asString(), "");
    EXPECT_EQ(RectOf(texts[0]), (Rect{10, 40, 490, 60}));
    EXPECT_EQ(texts[1]["text"].asString(), "Dveře");
    EXPECT_EQ(RectOf(texts[1]), (Rect{10, 10, 50, 40})) << "8 pixels a character";
    EXPECT_EQ(texts[1]["fontStyle"].asInt(), 16);
    EXPECT_EQ(texts[2]["text"].asString(), "Nová verze k dispozici");
    EXPECT_EQ(RectOf(texts[2]), (Rect{50, 10, 410, 40})) << "the state takes what is left";
    const auto buttons = ItemsOf(traced, "Button");
    ASSERT_EQ(buttons.size(), 2u);
    EXPECT_EQ(buttons[1]["text"].asString(), "Aktualizovat");
    EXPECT_EQ(RectOf(buttons[1]), (Rect{410, 10, 490, 40}));
    EXPECT_EQ(dialog.GetPanels()[0].key, 7);
}

TEST_F(SummaryDialogTest, FourRowsFitWithoutAResize) {
    AddRecords(4);
    SummaryDialog dialog(monitor);
    EXPECT_TRUE(Resizes().empty());
    EXPECT_EQ(dialog.GetHeight(), 250);
    const Json::Value traced = InvokeAndTrace(dialog);
    EXPECT_EQ(RectOf(ItemsOf(traced, "Button")[0]), (Rect{210, 215, 290, 245}));
    const auto texts = ItemsOf(traced, "LeftText");
    ASSERT_EQ(texts.size(), 12u);
    // The fourth row: its second line, its name ("Door 4", 6 characters), its state.
    EXPECT_EQ(RectOf(texts[9]), (Rect{10, 190, 490, 210}));
    EXPECT_EQ(RectOf(texts[10]), (Rect{10, 160, 58, 190}));
    EXPECT_EQ(RectOf(texts[11]), (Rect{58, 160, 410, 190}));
}

TEST_F(SummaryDialogTest, FiveRowsGrowTheDialogBy50) {
    AddRecords(5);
    SummaryDialog dialog(monitor);
    const auto resizes = Resizes();
    ASSERT_EQ(resizes.size(), 1u);
    EXPECT_EQ(resizes[0]["widthChange"].asInt(), 0);
    EXPECT_EQ(resizes[0]["heightChange"].asInt(), 50);
    EXPECT_EQ(dialog.GetWidth(), 500);
    EXPECT_EQ(dialog.GetHeight(), 300);
    const Json::Value traced = InvokeAndTrace(dialog);
    EXPECT_EQ(RectOf(ItemsOf(traced, "Button")[0]), (Rect{210, 265, 290, 295}));
}

TEST_F(SummaryDialogTest, TwelveRowsGrowTheDialogBy400) {
    AddRecords(12);
    SummaryDialog dialog(monitor);
    EXPECT_EQ(dialog.GetHeight(), 650);
    const Json::Value traced = InvokeAndTrace(dialog);
    EXPECT_EQ(RectOf(ItemsOf(traced, "Button")[0]), (Rect{210, 615, 290, 645}));
    const auto texts = ItemsOf(traced, "LeftText");
    ASSERT_EQ(texts.size(), 36u);
    EXPECT_EQ(RectOf(texts[35])[1], 10 + 11 * 50) << "the last row's state";
}

TEST_F(SummaryDialogTest, UpToDateRecordWithAnAddressHasNoButton) {
    monitor.GetTable().Add(1, Record("Okno", StateUpToDate, "http://x/files/o.zip"));
    SummaryDialog dialog(monitor);
    EXPECT_EQ(dialog.GetPanels()[0].updateButton, nullptr);
}

TEST_F(SummaryDialogTest, UnknownRecordWithAnAddressHasAButton) {
    monitor.GetTable().Add(1, Record("Okno", StateUnknown, "http://x/files/o.zip"));
    SummaryDialog dialog(monitor);
    EXPECT_NE(dialog.GetPanels()[0].updateButton, nullptr);
}

TEST_F(SummaryDialogTest, RecordWithoutAnAddressHasNoButtonInAnyState) {
    for (int32_t state : {StateUnknown, StateUpToDate, StateUpdateAvailable, StateTestVersion}) {
        monitor.GetTable().Add(state + 1, Record("Lampa", state, ""));
    }
    SummaryDialog dialog(monitor);
    ASSERT_EQ(dialog.GetPanels().GetSize(), 4u);
    for (const auto& panel : dialog.GetPanels()) {
        EXPECT_EQ(panel.updateButton, nullptr);
    }
}

TEST_F(SummaryDialogTest, EveryRecordGetsARowInTheTablesOrderUpToDateOnesIncluded) {
    monitor.GetTable().Add(20, Record("A", StateUpToDate, ""));
    monitor.GetTable().Add(3, Record("B", StateUpdateAvailable, "http://x/b.zip"));
    monitor.GetTable().Add(5, Record("C", StateTestVersion, ""));
    SummaryDialog dialog(monitor);
    std::vector<int32_t> keys;
    for (const auto& panel : dialog.GetPanels()) {
        keys.push_back(panel.key);
    }
    std::vector<int32_t> storage;
    for (const auto& entry : monitor.GetTable()) {
        storage.push_back(entry.key);
    }
    EXPECT_EQ(keys, storage);
    EXPECT_EQ(keys.size(), 3u);
}

TEST_F(SummaryDialogTest, EveryItemOfARowSaysItsRowAndTheRestStandInNone) {
    monitor.GetTable().Add(20, Record("A", StateUpToDate, ""));
    monitor.GetTable().Add(3, Record("B", StateUpdateAvailable, "http://x/b.zip"));
    SummaryDialog dialog(monitor);
    // Rows in the table's order, from 1: three texts each, and the update button where there is
    // one.
    const auto& panels = dialog.GetPanels();
    ASSERT_EQ(panels.GetSize(), 2u);
    int buttons = 0;
    for (USize index = 0; index < panels.GetSize(); ++index) {
        const auto row = static_cast<int32_t>(index + 1);
        EXPECT_EQ(panels[index].progressLabel->GetRow(), row);
        EXPECT_EQ(panels[index].stateLabel->GetRow(), row);
        if (panels[index].updateButton != nullptr) {
            ++buttons;
            EXPECT_EQ(panels[index].updateButton->GetRow(), row);
        }
    }
    EXPECT_EQ(buttons, 1);
    // The close button and the seven strips stand in no row; the names in theirs.
    std::map<int32_t, int> itemsOfRow;
    for (const DG::Item* item : dialog.GetItems()) {
        ++itemsOfRow[item->GetRow()];
    }
    EXPECT_EQ(itemsOfRow[0], 8);
    EXPECT_EQ(itemsOfRow[1] + itemsOfRow[2], 7);
    EXPECT_EQ(itemsOfRow.size(), 3u);
}

TEST_F(SummaryDialogTest, StateTextsFollowTheStateAndAnOtherValueGivesNone) {
    const char* const expected[] = {"Neznámý", "Aktuální verze", "Nová verze k dispozici",
                                    "Testovací verze", ""};
    for (int32_t state = 0; state <= 4; ++state) {
        monitor.GetTable().Add(state + 1, Record("X", state, ""));
    }
    SummaryDialog dialog(monitor);
    for (int32_t state = 0; state <= 4; ++state) {
        const auto* label = dialog.GetPanels()[static_cast<USize>(state)].stateLabel;
        EXPECT_TRUE(label->GetText() == GS::UniString(expected[state], CC_UTF8)) << state;
    }
}

TEST_F(SummaryDialogTest, FiftyOneCharacterNameWithAButtonGivesTheStateMinus8) {
    monitor.GetTable().Add(1, Record(std::string(51, 'N'), StateUpdateAvailable, "http://x/n"));
    SummaryDialog dialog(monitor);
    const DG::Rect state = dialog.GetPanels()[0].stateLabel->GetRect();
    EXPECT_EQ(state.GetLeft(), 418);
    EXPECT_EQ(state.GetRight() - state.GetLeft(), -8);
}

TEST_F(SummaryDialogTest, CloseButtonAbortsTheModalLoop) {
    SummaryDialog dialog(monitor);
    InvokeAndTrace(dialog, {"close"});
    EXPECT_TRUE(invoked);
    EXPECT_FALSE(dialog.IsOpen());
}

TEST_F(SummaryDialogTest, ScriptClickFindsTheRowsUpdateButtonAndAFailedDownloadEndsAsRow7) {
    monitor.GetTable().Add(1, Record("A", StateUpToDate, ""));
    // Nothing listens on port 1: the download fails at once.
    monitor.GetTable().Add(2, Record("B", StateUpdateAvailable, "http://127.0.0.1:1/b.zip"));
    SummaryDialog dialog(monitor);
    EXPECT_EQ(presentation::RowButton(dialog, 1), nullptr);
    EXPECT_EQ(presentation::RowButton(dialog, 2), dialog.GetPanels()[1].updateButton);
    EXPECT_EQ(presentation::RowButton(dialog, 3), nullptr);
    InvokeAndTrace(dialog, {"click 2", "ok", "close"});
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
    const SummaryDialog::ItemPanel& row = dialog.GetPanels()[1];
    EXPECT_TRUE(
        row.progressLabel->GetText() ==
        GS::UniString("Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později", CC_UTF8));
    EXPECT_TRUE(row.updateButton->IsEnabled());
    bool boxShown = false;
    for (const std::string& line : trace) {
        boxShown = boxShown || line.find("\"messagebox\"") != std::string::npos;
    }
    EXPECT_TRUE(boxShown);
}

TEST_F(SummaryDialogTest, FailedDownloadShowsTheErrorInAWarningBoxAndEnablesTheButtonAgain) {
    // Nothing listens on port 1: the download fails at once.
    monitor.GetTable().Add(1, Record("B", StateUpdateAvailable, "http://127.0.0.1:1/b.zip"));
    SummaryDialog dialog(monitor);
    const SummaryDialog::ItemPanel& row = dialog.GetPanels()[0];

    // Clicked in-process: the backend without a user acknowledges the box with OK.
    dialog.ButtonClicked(DG::ButtonClickEvent{row.updateButton});

    std::vector<Json::Value> boxes;
    for (const std::string& line : trace) {
        Json::Value value;
        std::istringstream(line) >> value;
        if (value["kind"] == "messagebox") {
            boxes.push_back(value);
        }
    }
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0]["type"].asUInt(), 0x30u) << "a warning with one OK button";
    // The exception's text: the connection refused, in WinHTTP's number on both platforms.
    EXPECT_EQ(boxes[0]["text"].asString(), "Failed to send request: 12029");
    EXPECT_TRUE(
        row.progressLabel->GetText() ==
        GS::UniString("Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později", CC_UTF8));
    EXPECT_TRUE(row.updateButton->IsEnabled());
}

TEST_F(SummaryDialogTest, DownloadFailureLeavesTheFileNameAsTheDownloadLastSetIt) {
    if (testfiles::RunningUnderWine()) {
        GTEST_SKIP() << "wine's WinHTTP hands over a body cut short of its length as complete, "
                        "without the failed read this test brings about";
    }
    // The service names the file, then ends the body short of its length.
    ASSERT_TRUE(testfiles::WriteFileBytes(
        folder.At("service/catalog.json"),
        R"({"objects": [{"id": "B", "versions": ["1.0"], "latest": "1.0", "file": "b.zip"}]})"));
    ASSERT_TRUE(
        testfiles::WriteFileBytes(folder.At("service/files/b.zip"), std::string(4096, 'x')));
    orvservice::ServiceOptions options;
    options.catalog = folder.At("service/catalog.json");
    options.files = folder.At("service/files");
    orvservice::VersionService service(options);
    service.Start();
    const std::string url = service.BaseUrl() + "/files/b.zip?fault_cut_body=true";
    monitor.GetTable().Add(1, Record("B", StateUpdateAvailable, url));
    SummaryDialog dialog(monitor);

    InvokeAndTrace(dialog, {"click 1", "ok", "close"});

    const SummaryDialog::ItemPanel& row = dialog.GetPanels()[0];
    EXPECT_TRUE(
        row.progressLabel->GetText() ==
        GS::UniString("Nepodařilo se stáhnout aktualizaci. Zkuste to prosím později", CC_UTF8));
    EXPECT_EQ(row.fileName.ToCStr(CC_UTF8).Get(), std::string("b.zip"));
    service.Stop();
}

TEST_F(SummaryDialogTest, ClickOnAButtonOfNoRowDoesNothing) {
    monitor.GetTable().Add(1, Record("B", StateUpdateAvailable, "http://x/b.zip"));
    SummaryDialog dialog(monitor);
    DG::Button stranger(dialog, DG::Rect(), 0, 0);
    dialog.ButtonClicked(DG::ButtonClickEvent{&stranger});
    EXPECT_TRUE(dialog.GetPanels()[0].progressLabel->GetText().IsEmpty());
}

TEST_F(SummaryDialogTest, ProgressOfMinusOneOrZeroDoesNothingAndTheNameIsKept) {
    monitor.GetTable().Add(1, Record("B", StateUpdateAvailable, "http://x/b.zip"));
    SummaryDialog dialog(monitor);
    SummaryDialog::ItemPanel panel = dialog.GetPanels()[0];
    panel.OnFileName(GS::UniString("b.zip"));
    panel.OnProgress(10, -1, -1);
    panel.OnProgress(10, 1000, 0);
    panel.OnProgress(500, 1000, 50);
    EXPECT_TRUE(panel.fileName == GS::UniString("b.zip"));
    EXPECT_TRUE(panel.progressLabel->GetText().IsEmpty());
}

TEST_F(SummaryDialogTest, TheIconComesFromGraphicsBesideTheModule) {
    {
        SummaryDialog dialog(monitor);
        EXPECT_FALSE(dialog.GetIcon().IsEmpty());
        EXPECT_EQ(dialog.GetIcon().GetWidth(), 32);
    }
    testfiles::WriteFileBytes(folder.At("Graphics/brennerstein.png"), "not a picture");
    SummaryDialog dialog(monitor);
    EXPECT_TRUE(dialog.GetIcon().IsEmpty()) << "an unreadable file is taken as it comes";
}

// Counts what the dialog tells a backend.
class CountingView final : public DG::DialogView {
public:
    void ItemChanged(DG::Item&, DG::Item::Aspect aspect) override {
        rects += aspect == DG::Item::Aspect::Rect ? 1 : 0;
    }
    void DialogChanged() override { ++redraws; }
    int rects = 0;
    int redraws = 0;
};

class OtherPanel final : public DG::Dialog {
public:
    OtherPanel() : DG::Dialog(100, 100) {}
};

TEST_F(SummaryDialogTest, ResizeFromAnotherPanelMovesNothingAndStillRedraws) {
    AddRecords(2);
    SummaryDialog dialog(monitor);
    CountingView view;
    dialog.SetView(&view);
    OtherPanel other;
    DG::PanelResizeEvent event;
    event.source = &other;
    dialog.PanelResized(event);
    EXPECT_EQ(view.rects, 0);
    EXPECT_EQ(view.redraws, 1);
    dialog.SetView(nullptr);
}

TEST_F(SummaryDialogTest, ResizeOfTheDialogItselfLaysItOutAgain) {
    AddRecords(1);
    SummaryDialog dialog(monitor);
    dialog.Resize(100, 0);
    DG::PanelResizeEvent event;
    event.source = &dialog;
    dialog.PanelResized(event);
    EXPECT_EQ(dialog.GetPanels()[0].progressLabel->GetRect(), DG::Rect(10, 40, 590, 60));
}

}  // namespace
