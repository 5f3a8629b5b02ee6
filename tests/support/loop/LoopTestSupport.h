// LoopTestSupport.h: a fixture that gives each test of the main loop a fresh loop, a window of its
// own whose messages go to the test, and the trace lines the loop wrote.
#pragma once

#include "presentation/Backends.h"
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

#include <functional>
#include <gtest/gtest.h>
#include <json/json.h>
#include <string>
#include <vector>

namespace looptest {

using MessageHandler = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;

// A message box as the add-on opens one: its UTF-16 text through the system's wide call, which on
// Windows is user32's own.
int32_t ShowMessageBox(const char16_t* text, const char16_t* caption, UINT type);

// Script lines as the emulator would hand them over: words split at spaces, lines from 1.
std::vector<presentation::ScriptAction> ParseScript(const std::vector<std::string>& lines);

class LoopTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Drives the loop with `lines`; other verbs than the loop's go to `verb`.
    void UseScript(const std::vector<std::string>& lines,
                   std::function<void(const presentation::ScriptAction&)> verb = {});
    // A further message-only window of the test's class, destroyed after the test.
    HWND NewWindow();
    // The trace lines of one kind, parsed.
    std::vector<Json::Value> TraceOfKind(const std::string& kind) const;
    uint64_t Now() const { return winsys::MainLoop::Instance().NowMilliseconds(); }

    // Where the window procedure of the test's class sends every message.
    MessageHandler onMessage;
    std::string className;
    HWND window = nullptr;
    std::vector<std::string> traceLines;

private:
    std::vector<HWND> windows;
};

}  // namespace looptest
