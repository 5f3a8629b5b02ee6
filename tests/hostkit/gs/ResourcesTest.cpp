// ResourcesTest.cpp: resource strings read back from a note this test executable carries, and the
// host's debug output.
#ifdef _WIN32
#include <windows.h>
#endif

#include "hostkit/Resources.h"

#ifndef _WIN32
#include "hostkit/ResourceNote.h"

#include <dlfcn.h>
#endif

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#ifndef _WIN32
// The executable's own string lists, among them Czech text (stored as UTF-8) and a text longer
// than the 255 bytes a caller receives.
ORV_RESOURCE_NOTE(
    ORV_RESOURCE_STRING(32000, 1, "OrvUpdate Brennerstein") ORV_RESOURCE_STRING(
        32000, 2, "Automatická kontrola aktualizací knihoven GDL") ORV_RESOURCE_STRING(32000, 3, "")
        ORV_RESOURCE_STRING(32001, 1, "a") ORV_RESOURCE_STRING(32001, 2, "ab")
            ORV_RESOURCE_STRING(32001, 3, "abc")
                ORV_RESOURCE_STRING(32001, 4, "Příliš žluťoučký kůň úpěl ďábelské ódy €")
                    ORV_RESOURCE_STRING(
                        32002, 1,
                        "01234567890123456789012345678901234567890123456789012345678901234567890123"
                        "45678901234567890123456789012345678901234567890123456789012345678901234567"
                        "89012345678901234567890123456789012345678901234567890123456789012345678901"
                        "2345678901234567890123456789012345678901234567890123456789")
                        ORV_RESOURCE_STRING(32002, 2, "Жук"))
#endif  // on Windows the same lists are ResourcesTest.rc

namespace {

// An address inside this executable.
void FunctionOfTheTest() {}

// The cache of this executable, removed at the end of the test.
class OwnCache {
public:
    OwnCache()
        : handle(RSInitModuleImageCache(reinterpret_cast<const void*>(&FunctionOfTheTest))) {}
    ~OwnCache() { RSRemoveModuleImageCache(handle); }
    OwnCache(const OwnCache&) = delete;
    OwnCache& operator=(const OwnCache&) = delete;
    GSResModule handle;
};

std::string Read(int32_t listId, int32_t index, GSResModule cache, bool* found = nullptr) {
    char buffer[kResourceStringCapacity];
    std::memset(buffer, 'x', sizeof buffer);
    const bool result = RSGetIndString_ParamAdapter(buffer, listId, index, cache);
    if (found != nullptr) {
        *found = result;
    }
    return buffer;
}

}  // namespace

TEST(ResourceStrings, ModuleWithANoteGivesAHandle) {
    const OwnCache cache;
    EXPECT_GE(cache.handle, 0);
}

TEST(ResourceStrings, ReadsTheExecutablesOwnLists) {
    const OwnCache cache;
    bool found = false;
    EXPECT_EQ(Read(32000, 1, cache.handle, &found), "OrvUpdate Brennerstein");
    EXPECT_TRUE(found);
    EXPECT_EQ(Read(32001, 1, cache.handle), "a");
    EXPECT_EQ(Read(32001, 2, cache.handle), "ab");
    EXPECT_EQ(Read(32001, 3, cache.handle), "abc");
}

TEST(ResourceStrings, CzechTextArrivesAsCp1250Bytes) {
    const OwnCache cache;
    EXPECT_EQ(Read(32000, 2, cache.handle), "Automatick\xE1 kontrola aktualizac\xED knihoven GDL");
    EXPECT_EQ(Read(32001, 4, cache.handle),
              "P\xF8\xEDli\x9A \x9Elu\x9Dou\xE8k\xFD k\xF9\xF2 \xFAp\xECl \xEF\xE1"
              "belsk\xE9 \xF3"
              "dy \x80");
}

TEST(ResourceStrings, CharactersWithoutACp1250ByteArriveAsQuestionMarks) {
    const OwnCache cache;
    EXPECT_EQ(Read(32002, 2, cache.handle), "???");
}

TEST(ResourceStrings, EmptyTextIsFound) {
    const OwnCache cache;
    bool found = false;
    EXPECT_EQ(Read(32000, 3, cache.handle, &found), "");
    EXPECT_TRUE(found);
}

TEST(ResourceStrings, LongTextIsCutTo255Bytes) {
    const OwnCache cache;
    const std::string text = Read(32002, 1, cache.handle);
    EXPECT_EQ(text.size(), 255u);
    EXPECT_EQ(text.substr(0, 12), "012345678901");
}

TEST(ResourceStrings, UnknownListOrIndexGivesEmptyTextAndFalse) {
    const OwnCache cache;
    for (const auto& [listId, index] : {std::pair{32000, 0}, std::pair{32000, 4},
                                        std::pair{31999, 1}, std::pair{0, 0}, std::pair{-1, 1}}) {
        bool found = true;
        EXPECT_EQ(Read(listId, index, cache.handle, &found), "") << listId << "/" << index;
        EXPECT_FALSE(found) << listId << "/" << index;
    }
}

TEST(ResourceStrings, UnknownOrRemovedCacheGivesEmptyTextAndFalse) {
    bool found = true;
    EXPECT_EQ(Read(32000, 1, kNoResourceModule, &found), "");
    EXPECT_FALSE(found);
    EXPECT_EQ(Read(32000, 1, 123456, &found), "");
    EXPECT_FALSE(found);
    GSResModule removed = kNoResourceModule;
    {
        const OwnCache cache;
        removed = cache.handle;
    }
    EXPECT_EQ(Read(32000, 1, removed, &found), "");
    EXPECT_FALSE(found);
    RSRemoveModuleImageCache(removed);  // twice: nothing happens
    RSRemoveModuleImageCache(987654);
}

TEST(ResourceStrings, NullBufferGivesFalse) {
    const OwnCache cache;
    EXPECT_FALSE(RSGetIndString_ParamAdapter(nullptr, 32000, 1, cache.handle));
}

TEST(ResourceStrings, EachInitGivesItsOwnHandle) {
    const OwnCache first;
    const OwnCache second;
    EXPECT_NE(first.handle, second.handle);
    EXPECT_EQ(Read(32000, 1, second.handle), "OrvUpdate Brennerstein");
}

#ifdef _WIN32
TEST(ResourceStrings, AddressInAModuleWithoutLists) {
    const void* insideKernel32 = reinterpret_cast<const void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetTickCount"));
    ASSERT_NE(insideKernel32, nullptr);
    EXPECT_EQ(RSInitModuleImageCache(insideKernel32), kNoResourceModule);
}
#else
TEST(ResourceStrings, AddressInAModuleWithoutANoteGivesMinusOne) {
    const void* insideLibc = reinterpret_cast<const void*>(&std::printf);
    Dl_info info{};
    ASSERT_NE(dladdr(insideLibc, &info), 0);
    Dl_info own{};
    ASSERT_NE(dladdr(reinterpret_cast<const void*>(&FunctionOfTheTest), &own), 0);
    ASSERT_NE(info.dli_fbase, own.dli_fbase) << "printf resolved inside the test executable";
    EXPECT_EQ(RSInitModuleImageCache(insideLibc), kNoResourceModule);
}
#endif

TEST(ResourceStrings, AddressOutsideEveryModuleGivesMinusOne) {
    const auto heap = std::make_unique<char[]>(64);
    EXPECT_EQ(RSInitModuleImageCache(heap.get()), kNoResourceModule);
    EXPECT_EQ(RSInitModuleImageCache(nullptr), kNoResourceModule);
}

TEST(DebugOutput, DBPrintfWritesFormattedTextToStandardError) {
    testing::internal::CaptureStderr();
    DBPrintf("%s %d %05.1f|%c\n", "text", -42, 3.25, 'z');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "text -42 003.2|z\n");
}
