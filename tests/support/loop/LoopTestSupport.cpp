// LoopTestSupport.cpp: the fixture of the main loop's tests.
#include "LoopTestSupport.h"

#include <sstream>

namespace looptest {

namespace {

MessageHandler* currentHandler = nullptr;

LRESULT TestWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (currentHandler != nullptr && *currentHandler) {
        return (*currentHandler)(window, message, wParam, lParam);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace

int32_t ShowMessageBox(const char16_t* text, const char16_t* caption, UINT type) {
    return MessageBoxW(nullptr, winsys::SystemText(text), winsys::SystemText(caption), type);
}

std::vector<presentation::ScriptAction> ParseScript(const std::vector<std::string>& lines) {
    std::vector<presentation::ScriptAction> actions;
    int number = 0;
    for (const std::string& line : lines) {
        ++number;
        std::istringstream words(line);
        presentation::ScriptAction action;
        action.line = number;
        if (!(words >> action.verb)) {
            continue;
        }
        for (std::string word; words >> word;) {
            action.words.push_back(word);
        }
        actions.push_back(std::move(action));
    }
    return actions;
}

void LoopTest::SetUp() {
    winsys::MainLoop& loop = winsys::MainLoop::Instance();
    loop.SetBackend(presentation::MakeNoneBackend());
    loop.SetTraceSink([this](const std::string& line) { traceLines.push_back(line); });
    currentHandler = &onMessage;

    // Each test has a class of its own, so that no test sees another's leftovers.
    static int classCount = 0;
    className = "LoopTestClass" + std::to_string(++classCount);
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = TestWindowProc;
    windowClass.lpszClassName = className.c_str();
    ASSERT_NE(RegisterClassExA(&windowClass), 0);
    window = NewWindow();
    ASSERT_NE(window, nullptr);
}

void LoopTest::TearDown() {
    for (HWND each : windows) {
        DestroyWindow(each);
    }
    UnregisterClassA(className.c_str(), nullptr);
    winsys::MainLoop& loop = winsys::MainLoop::Instance();
    loop.SetTraceSink(nullptr);
    loop.SetBackend(presentation::MakeNoneBackend());
    currentHandler = nullptr;
}

void LoopTest::UseScript(const std::vector<std::string>& lines,
                         std::function<void(const presentation::ScriptAction&)> verb) {
    winsys::MainLoop::Instance().SetBackend(
        presentation::MakeScriptBackend(ParseScript(lines), std::move(verb)));
}

HWND LoopTest::NewWindow() {
    HWND created = CreateWindowExA(0, className.c_str(), "test", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                   nullptr, nullptr, nullptr);
    if (created != nullptr) {
        windows.push_back(created);
    }
    return created;
}

std::vector<Json::Value> LoopTest::TraceOfKind(const std::string& kind) const {
    std::vector<Json::Value> found;
    for (const std::string& line : traceLines) {
        Json::Value value;
        Json::CharReaderBuilder builder;
        std::string errors;
        std::istringstream in(line);
        EXPECT_TRUE(Json::parseFromStream(builder, in, &value, &errors)) << line;
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        if (value["kind"].asString() == kind) {
            found.push_back(value);
        }
    }
    return found;
}

}  // namespace looptest
