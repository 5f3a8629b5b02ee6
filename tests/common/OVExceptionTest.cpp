// OVExceptionTest.cpp: the exception family: messages, codes, cause and stack.
#include "common/OVException.h"

#include "TestFiles.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#endif
#include <new>
#include <stdexcept>

namespace {

// An exception whose code has no description of any kind.
class UndescribedException : public OVException {
public:
    using OVException::OVException;
    WString GetCodeDescription() const override { return WString(); }
};

__attribute__((noinline)) Backtrace CaptureAtDepth(int depth) {
    if (depth > 0) {
        Backtrace inner = CaptureAtDepth(depth - 1);
        // Keeps the call out of tail position, so that each level is a frame of its own.
        asm volatile("" ::: "memory");
        return inner;
    }
    return OVException("deep").GetBacktrace();
}

}  // namespace

TEST(OVException, BuiltOutsideAnyHandlerHasNoCause) {
    const OVException failure(5, "outside");
    EXPECT_EQ(failure.Cause(), nullptr);
}

TEST(OVException, BuiltInsideAHandlerCarriesThatHandlersException) {
    try {
        throw std::logic_error("first");
    } catch (const std::exception&) {
        const OVException failure("second");
        ASSERT_NE(failure.Cause(), nullptr);
        try {
            std::rethrow_exception(failure.Cause());
        } catch (const std::logic_error& cause) {
            EXPECT_STREQ(cause.what(), "first");
        }
    }
}

TEST(OVException, TextOnlyConstructorGivesCodeZeroAndStillShowsIt) {
    const OVException failure("Stream read failed");
    EXPECT_EQ(failure.GetCode(), 0);
    EXPECT_EQ(failure.GetMessageText(), u"Stream read failed (0)");
}

TEST(OVException, EmptyDescriptionEndsTextAtTheClosingParenthesis) {
    const UndescribedException failure(1234, "No words");
    EXPECT_EQ(failure.GetMessageText(), u"No words (1234)");
}

TEST(OVException, NegativeCodePrintsWithItsMinusSign) {
    const UndescribedException failure(-2130312313, "Host call");
    EXPECT_EQ(failure.GetMessageText(), u"Host call (-2130312313)");
}

TEST(OVException, HostCodeAppendsTheHostsDescription) {
    const OVException failure(static_cast<int32_t>(0x81060387u), "Not there");
    EXPECT_EQ(failure.GetMessageText(),
              u"Not there (-2130312313) - The command is not supported by the server "
              u"application. It is not environment dependent. The server application cannot "
              u"execute the command generally.");
}

#ifdef _WIN32
// FormatMessageW as the description asks it: from the system's table, US English.
WString SystemTableWords(DWORD code) {
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(0x1300, nullptr, code, 1033, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    WString text(reinterpret_cast<const char16_t*>(buffer), length);
    LocalFree(buffer);
    return text;
}

TEST(OVException, SystemCodeIsDescribedByTheSystemsTableWithItsLineEnd) {
    const WString words = SystemTableWords(ERROR_FILE_NOT_FOUND);
    ASSERT_GE(words.size(), 3u);
    EXPECT_EQ(words.substr(words.size() - 2), u"\r\n");
    const OVException failure(ERROR_FILE_NOT_FOUND, "Open");
    EXPECT_EQ(failure.GetCodeDescription(), words);
    EXPECT_EQ(failure.GetMessageText(), u"Open (2) - " + words);
}
#else
TEST(OVException, SystemCodeIsDescribedByTheCLibrary) {
    const OVException failure(ENOENT, "Open");
    EXPECT_EQ(failure.GetCodeDescription(), u"No such file or directory");
    EXPECT_EQ(failure.GetMessageText(), u"Open (2) - No such file or directory");
}
#endif

TEST(OVException, HostCodeOnlyInTheNarrowTableFallsToTheSystemWords) {
    const OVException failure(static_cast<int32_t>(0x810600E3u), "The reference already exists.");
    // The system's table has no words for it (Windows) or there is none (Linux); the C library's
    // words for a number it does not know follow.
#ifdef _WIN32
    EXPECT_EQ(failure.GetCodeDescription(), u"Unknown error");
#else
    EXPECT_EQ(failure.GetCodeDescription(), u"Unknown error -2130312989");
#endif
}

TEST(OVException, WhatIsTheMessageAsGiven) {
    const OVException failure(3, "Chyba při čtení");
    EXPECT_STREQ(failure.what(), "Chyba při čtení");
    EXPECT_EQ(failure.GetMessageText(), u"Chyba při čtení (3) - " + failure.GetCodeDescription());
}

TEST(OVThrowable, MessageTextIsTheMessageAlone) {
    const OVThrowable failure("Plain words");
    EXPECT_EQ(failure.GetMessageText(), u"Plain words");
}

TEST(OVException, HandlersOfTheRootCatchTheFamily) {
    try {
        throw OVIOException("io");
    } catch (const OVException& failure) {
        EXPECT_STREQ(failure.what(), "io");
        return;
    }
    FAIL() << "not caught as OVException";
}

TEST(OVException, ThrownCopyKeepsMessageCodeAndStack) {
    try {
        throw OVException(-7, "copied");
    } catch (const std::exception& caught) {
        const auto* failure = dynamic_cast<const OVException*>(&caught);
        ASSERT_NE(failure, nullptr);
        EXPECT_EQ(failure->GetCode(), -7);
        EXPECT_GT(failure->GetBacktrace().count, 0u);
    }
}

TEST(Backtrace, NegativeSkipCapturesNothing) {
    const Backtrace trace(-1);
    EXPECT_EQ(trace.count, 0u);
    EXPECT_EQ(trace.hash, 0xFFFFFFFFu);
    EXPECT_EQ(trace.frames[0], nullptr);
}

TEST(Backtrace, CaptureGivesTheStackAndItsHash) {
    Backtrace trace(-1);
    trace.Capture();
    ASSERT_GT(trace.count, 2u);
    ASSERT_LT(trace.count, Backtrace::kMaxFrames);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < trace.count; ++i) {
        EXPECT_NE(trace.frames[i], nullptr);
        sum += static_cast<uint32_t>(reinterpret_cast<uintptr_t>(trace.frames[i]));
    }
    EXPECT_EQ(trace.hash, sum);
}

TEST(Backtrace, SkippingDropsThatManyInnermostFrames) {
    Backtrace whole(-1);
    Backtrace skipped(-1);
    whole.Capture(0);
    skipped.Capture(1);
    // The two captures return to different places of this test, so only the outer frames match.
    ASSERT_EQ(skipped.count + 1, whole.count);
    for (uint32_t i = 1; i < skipped.count; ++i)
        EXPECT_EQ(skipped.frames[i], whole.frames[i + 1]);
}

TEST(Backtrace, DeepStackKeepsOnlyTheInnermostFramesAfterTheThreeSkipped) {
    if (testfiles::RunningUnderWine()) {
        // wine's unwinder loses the frames behind the OVThrowable constructor (its exception
        // handling data): the first frames kept are not the ones Windows gives.
        GTEST_SKIP() << "wine's stack walk";
    }
    const Backtrace shallow = CaptureAtDepth(0);
    const Backtrace deep = CaptureAtDepth(100);
    ASSERT_LT(shallow.count, Backtrace::kMaxFrames);
    EXPECT_EQ(deep.count, Backtrace::kMaxFrames);
    // Innermost first: the first frame kept is the same place as in a shallow throw, and the
    // outer ones are all the one return address inside the recursion.
    EXPECT_EQ(deep.frames[0], shallow.frames[0]);
    const void* recursion = deep.frames[Backtrace::kMaxFrames - 1];
    EXPECT_EQ(deep.frames[Backtrace::kMaxFrames - 2], recursion);
    EXPECT_EQ(deep.frames[Backtrace::kMaxFrames / 2], recursion);
    // The capture, the Backtrace constructor and the OVThrowable constructor are skipped, so the
    // innermost frame kept is in the OVException constructor, the next in CaptureAtDepth(0)
    // after that constructor, and the recursion only begins behind them.
    EXPECT_NE(deep.frames[0], recursion);
    EXPECT_NE(deep.frames[1], recursion);
    EXPECT_EQ(deep.frames[2], recursion);
}

TEST(Backtrace, TeardownCapturesOnceMoreOverItsOwnFields) {
    alignas(Backtrace) unsigned char storage[sizeof(Backtrace)];
    auto* trace = new (storage) Backtrace(-1);
    trace->~Backtrace();
    uint32_t countAfterTeardown = 0;
    std::memcpy(&countAfterTeardown, storage + offsetof(Backtrace, count), sizeof(uint32_t));
    EXPECT_GT(countAfterTeardown, 0u);
}
