// SystemMessageBoxTest.cpp: on Windows the add-on's message boxes are user32's own; the main loop
// sees each one come up, traces it, puts it on its modal stack for the backend, and gives the
// backend its turns while user32's loop runs the box. Needs a display (Xvfb under wine).
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

#include <functional>
#include <gtest/gtest.h>
#include <json/json.h>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using winsys::MainLoop;
using winsys::MessageBoxModal;
using winsys::ModalWindow;

class ScriptedBackend final : public winsys::UiBackend {
public:
    std::function<void(ModalWindow&)> onOpened;
    // The backend's input; without it, none ever comes.
    std::function<bool()> onWait;
    int closings = 0;

    std::string Name() const override { return "scripted"; }
    uint64_t NowMilliseconds() override { return winsys::SteadyMilliseconds(); }
    bool Wait(std::optional<uint64_t> deadline) override {
        return onWait ? onWait() : winsys::WaitWithoutInput(deadline);
    }
    void ModalOpened(ModalWindow& window) override {
        if (onOpened) {
            onOpened(window);
        }
    }
    void ModalClosing(ModalWindow& /*window*/) override { ++closings; }
};

class SystemMessageBoxTest : public ::testing::Test {
protected:
    void SetUp() override {
        MainLoop::Instance().SetTraceSink([this](const std::string& line) {
            Json::Value value;
            std::istringstream(line) >> value;
            traces.push_back(value);
        });
    }
    void TearDown() override {
        MainLoop::Instance().SetBackend(nullptr);
        MainLoop::Instance().SetTraceSink({});
    }

    ScriptedBackend& UseBackend() {
        auto backend = std::make_unique<ScriptedBackend>();
        ScriptedBackend& used = *backend;
        MainLoop::Instance().SetBackend(std::move(backend));
        return used;
    }

    std::vector<Json::Value> traces;
};

int Show(const wchar_t* text, const wchar_t* caption, UINT type) {
    return MessageBoxW(nullptr, text, caption, type);
}

TEST_F(SystemMessageBoxTest, NobodyThereAcknowledgesWithOkAndTheBoxIsTraced) {
    EXPECT_EQ(Show(L"P\u0159\u00edli\u0161 \u017elu\u0165ou\u010dk\u00fd", L"OrvUpdate",
                   MB_OKCANCEL | MB_ICONERROR),
              IDOK);
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_EQ(traces[0]["kind"].asString(), "messagebox");
    EXPECT_EQ(traces[0]["title"].asString(), "OrvUpdate");
    EXPECT_EQ(traces[0]["text"].asString(), "P\u0159\u00edli\u0161 \u017elu\u0165ou\u010dk\u00fd");
    EXPECT_EQ(traces[0]["type"].asUInt(), MB_OKCANCEL | MB_ICONERROR);
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(SystemMessageBoxTest, TheBackendSeesTheBoxOnTopAndItsAnswerIsReturned) {
    ScriptedBackend& backend = UseBackend();
    std::string title;
    std::string text;
    uint32_t type = 0;
    bool onTop = false;
    backend.onOpened = [&](ModalWindow& window) {
        onTop = MainLoop::Instance().TopModal() == &window;
        auto* box = dynamic_cast<MessageBoxModal*>(&window);
        ASSERT_NE(box, nullptr);
        title = box->Title();
        text = box->Text();
        type = box->Type();
        box->Answer(IDCANCEL);
    };
    EXPECT_EQ(Show(L"Soubor nelze st\u00e1hnout.", L"Chyba", MB_OKCANCEL | MB_ICONWARNING),
              IDCANCEL);
    EXPECT_TRUE(onTop);
    EXPECT_EQ(title, "Chyba");
    EXPECT_EQ(text, "Soubor nelze st\u00e1hnout.");
    EXPECT_EQ(type, static_cast<uint32_t>(MB_OKCANCEL | MB_ICONWARNING));
    EXPECT_EQ(backend.closings, 1);
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(SystemMessageBoxTest, TheCloseBoxAnswersCancelWhereThereIsOneElseOk) {
    ScriptedBackend& backend = UseBackend();
    backend.onOpened = [](ModalWindow& window) { EXPECT_TRUE(window.PressCloseBox()); };
    EXPECT_EQ(Show(L"a", L"b", MB_OKCANCEL), IDCANCEL);
    EXPECT_EQ(Show(L"a", L"b", MB_OK | MB_ICONINFORMATION), IDOK);
    EXPECT_EQ(traces.at(1)["type"].asUInt(), MB_OK | MB_ICONINFORMATION);
}

TEST_F(SystemMessageBoxTest, TheBackendGetsItsTurnsWhileTheSystemRunsTheBox) {
    ScriptedBackend& backend = UseBackend();
    int turns = 0;
    backend.onWait = [&] {
        if (++turns == 3) {
            auto* box = dynamic_cast<MessageBoxModal*>(MainLoop::Instance().TopModal());
            EXPECT_NE(box, nullptr);
            if (box != nullptr) {
                box->Answer(IDCANCEL);
            }
        }
        return true;
    };
    EXPECT_EQ(Show(L"a", L"b", MB_OKCANCEL), IDCANCEL);
    EXPECT_EQ(turns, 3);
}

TEST_F(SystemMessageBoxTest, ABackendWithoutMoreInputClosesTheBoxAndSaysSo) {
    ScriptedBackend& backend = UseBackend();
    backend.onWait = [] { return false; };
    EXPECT_EQ(Show(L"a", L"b", MB_OKCANCEL), IDCANCEL);
    ASSERT_EQ(traces.size(), 2u);
    EXPECT_EQ(traces[1]["kind"].asString(), "script");
    EXPECT_EQ(traces[1]["note"].asString(), "script ended with a window open: closed");
}

}  // namespace
