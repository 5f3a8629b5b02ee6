// WindowTest.cpp: window classes, message-only windows, messages and the last error.
#include "LoopTestSupport.h"

#include <cctype>
#include <set>
#include <thread>

namespace {

using looptest::LoopTest;

LRESULT OtherProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

WNDCLASSEXA ClassNamed(const char* name, WNDPROC procedure = OtherProc) {
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = procedure;
    windowClass.lpszClassName = name;
    return windowClass;
}

using WindowClasses = LoopTest;
using Windows = LoopTest;
using WindowMessages = LoopTest;

TEST_F(WindowClasses, RegisteringATakenNameFailsWithClassAlreadyExists) {
    const WNDCLASSEXA again = ClassNamed(className.c_str());
    SetLastError(0);
    EXPECT_EQ(RegisterClassExA(&again), 0);
    EXPECT_EQ(GetLastError(), ERROR_CLASS_ALREADY_EXISTS);
}

TEST_F(WindowClasses, NamesCompareWithoutAsciiCase) {
    std::string upper = className;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const WNDCLASSEXA again = ClassNamed(upper.c_str());
    EXPECT_EQ(RegisterClassExA(&again), 0);
    EXPECT_EQ(GetLastError(), ERROR_CLASS_ALREADY_EXISTS);
}

TEST_F(WindowClasses, NullProcedureOrNameOrWrongSizeIsAnInvalidParameter) {
    const WNDCLASSEXA noProcedure = ClassNamed("WindowClassesNoProcedure", nullptr);
    EXPECT_EQ(RegisterClassExA(&noProcedure), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    const WNDCLASSEXA noName = ClassNamed(nullptr);
    SetLastError(0);
    EXPECT_EQ(RegisterClassExA(&noName), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    WNDCLASSEXA wrongSize = ClassNamed("WindowClassesWrongSize");
    wrongSize.cbSize = 0;
    SetLastError(0);
    EXPECT_EQ(RegisterClassExA(&wrongSize), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);

    SetLastError(0);
    EXPECT_EQ(RegisterClassExA(nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(WindowClasses, AtomsAreDistinctFrom0xC000Up) {
    const WNDCLASSEXA first = ClassNamed("WindowClassesAtomOne");
    const WNDCLASSEXA second = ClassNamed("WindowClassesAtomTwo");
    const ATOM one = RegisterClassExA(&first);
    const ATOM two = RegisterClassExA(&second);
    EXPECT_GE(one, 0xC000);
    EXPECT_GE(two, 0xC000);
    EXPECT_NE(one, two);
    EXPECT_TRUE(UnregisterClassA("WindowClassesAtomOne", nullptr));
    EXPECT_TRUE(UnregisterClassA("WindowClassesAtomTwo", nullptr));
}

TEST_F(WindowClasses, UnregisteringAnUnknownClassFailsWithClassDoesNotExist) {
    SetLastError(0);
    EXPECT_FALSE(UnregisterClassA("WindowClassesNeverRegistered", nullptr));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);
}

TEST_F(WindowClasses, UnregisteringFailsWhileWindowsOfTheClassExist) {
    const WNDCLASSEXA windowClass = ClassNamed("WindowClassesBusy");
    ASSERT_NE(RegisterClassExA(&windowClass), 0);
    HWND busy = CreateWindowExA(0, "WindowClassesBusy", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                nullptr, nullptr);
    ASSERT_NE(busy, nullptr);
    SetLastError(0);
    EXPECT_FALSE(UnregisterClassA("WindowClassesBusy", nullptr));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_HAS_WINDOWS);
    EXPECT_TRUE(DestroyWindow(busy));
    EXPECT_TRUE(UnregisterClassA("WindowClassesBusy", nullptr));
    // Gone for good: a second unregistration finds nothing.
    EXPECT_FALSE(UnregisterClassA("WindowClassesBusy", nullptr));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_DOES_NOT_EXIST);
}

TEST_F(WindowClasses, ANameIsFreeAgainAfterUnregistering) {
    const WNDCLASSEXA windowClass = ClassNamed("WindowClassesReused");
    const ATOM first = RegisterClassExA(&windowClass);
    ASSERT_NE(first, 0);
    ASSERT_TRUE(UnregisterClassA("WindowClassesReused", nullptr));
    const ATOM second = RegisterClassExA(&windowClass);
    EXPECT_NE(second, 0);
    EXPECT_NE(second, first);
    EXPECT_TRUE(UnregisterClassA("WindowClassesReused", nullptr));
}

TEST_F(Windows, AnUnknownClassGivesNullAndCannotFindWindowClass) {
    SetLastError(0);
    EXPECT_EQ(CreateWindowExA(0, "WindowsNoSuchClass", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              nullptr, nullptr),
              nullptr);
    EXPECT_EQ(GetLastError(), ERROR_CANNOT_FIND_WND_CLASS);
}

TEST_F(Windows, OnlyMessageOnlyWindowsCanBeCreated) {
    SetLastError(0);
    EXPECT_EQ(CreateWindowExA(0, className.c_str(), "", 0, 0, 0, 100, 100, nullptr, nullptr,
                              nullptr, nullptr),
              nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(Windows, AClassAtomNamesTheClass) {
    const WNDCLASSEXA windowClass = ClassNamed("WindowsByAtom");
    const ATOM atom = RegisterClassExA(&windowClass);
    ASSERT_NE(atom, 0);
    const auto* name = reinterpret_cast<const char*>(static_cast<uintptr_t>(atom));
    HWND byAtom =
        CreateWindowExA(0, name, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    EXPECT_NE(byAtom, nullptr);
    EXPECT_TRUE(DestroyWindow(byAtom));
    EXPECT_TRUE(UnregisterClassA(name, nullptr));
}

TEST_F(Windows, HandlesAreDistinctNonNullAndNeverReused) {
    std::set<HWND> seen{window};
    for (int i = 0; i < 20; ++i) {
        HWND created = NewWindow();
        ASSERT_NE(created, nullptr);
        EXPECT_NE(created, HWND_MESSAGE);
        EXPECT_TRUE(seen.insert(created).second);
        EXPECT_TRUE(DestroyWindow(created));
    }
}

TEST_F(Windows, DestroyingAnUnknownOrDestroyedWindowFails) {
    HWND created = NewWindow();
    ASSERT_TRUE(DestroyWindow(created));
    SetLastError(0);
    EXPECT_FALSE(DestroyWindow(created));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_FALSE(DestroyWindow(nullptr));
}

TEST_F(WindowMessages, SendMessageCallsTheProcedureAndReturnsItsResult) {
    std::vector<UINT> received;
    onMessage = [&](HWND target, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
        EXPECT_EQ(target, window);
        EXPECT_EQ(wParam, 7u);
        EXPECT_EQ(lParam, -9);
        received.push_back(message);
        return 42;
    };
    EXPECT_EQ(SendMessageW(window, 0x0400, 7, -9), 42);
    EXPECT_EQ(received, std::vector<UINT>{0x0400});
}

TEST_F(WindowMessages, SendMessageToAnUnknownWindowReturnsZero) {
    HWND created = NewWindow();
    ASSERT_TRUE(DestroyWindow(created));
    SetLastError(0);
    EXPECT_EQ(SendMessageW(created, 0x0400, 0, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
}

TEST_F(WindowMessages, DefWindowProcReturnsZero) {
    EXPECT_EQ(DefWindowProcW(window, WM_TIMER, 1, 0), 0);
    EXPECT_EQ(DefWindowProcW(window, 0x0400, 5, 5), 0);
    // An unhandled message sent to the window ends there too.
    EXPECT_EQ(SendMessageW(window, 0x0401, 1, 2), 0);
}

TEST_F(WindowMessages, DefWindowProcGivesTheLengthOfTheWindowsName) {
    // The fixture's window is named "test".
    EXPECT_EQ(DefWindowProcW(window, WM_GETTEXTLENGTH, 0, 0), 4);
    EXPECT_EQ(SendMessageW(window, WM_GETTEXTLENGTH, 0, 0), 4);
    HWND gone = NewWindow();
    ASSERT_TRUE(DestroyWindow(gone));
    EXPECT_EQ(DefWindowProcW(gone, WM_GETTEXTLENGTH, 0, 0), 0);
}

TEST_F(WindowMessages, RegisterWindowMessageGivesTheSameNumberForTheSameName) {
    const UINT first = RegisterWindowMessageW(u"OrvUpdate.LoopTest.First");
    const UINT second = RegisterWindowMessageW(u"OrvUpdate.LoopTest.Second");
    EXPECT_GE(first, 0xC000u);
    EXPECT_LE(first, 0xFFFFu);
    EXPECT_GE(second, 0xC000u);
    EXPECT_NE(first, second);
    EXPECT_EQ(RegisterWindowMessageW(u"OrvUpdate.LoopTest.First"), first);
    EXPECT_EQ(RegisterWindowMessageW(u"ORVUPDATE.looptest.first"), first);
}

TEST_F(WindowMessages, RegisterWindowMessageRefusesANullOrEmptyName) {
    SetLastError(0);
    EXPECT_EQ(RegisterWindowMessageW(nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegisterWindowMessageW(u""), 0u);
}

TEST(LastError, IsKeptPerThread) {
    SetLastError(1234);
    DWORD seenByOther = 1;
    std::thread other([&] {
        seenByOther = GetLastError();
        SetLastError(99);
    });
    other.join();
    EXPECT_EQ(seenByOther, 0u);
    EXPECT_EQ(GetLastError(), 1234u);
}

}  // namespace
