// ShortWriteTest.cpp: FileOutputStream::write when the C library writes less than it was asked.
//
// A real file never gives a short write that a later call completes, so this program is linked
// with the C library's fwrite wrapped (-Wl,--wrap=fwrite): the wrapper below plays out such a
// sequence while a test arms it, and passes every other call straight through.
#include "TestFiles.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

extern "C" size_t __real_fwrite(const void* data, size_t size, size_t count, std::FILE* file);

namespace {

struct FwriteCall {
    const void* data;
    size_t count;
};

// The scripted rounds: the first writes only `shortCount` elements, the second all it was asked,
// every later one nothing.
struct ShortWriteScript {
    bool armed = false;
    size_t shortCount = 0;
    std::vector<FwriteCall> calls;
};

ShortWriteScript script;

}  // namespace

extern "C" size_t __wrap_fwrite(const void* data, size_t size, size_t count, std::FILE* file) {
    if (!script.armed)
        return __real_fwrite(data, size, count, file);
    script.calls.push_back({data, count});
    switch (script.calls.size()) {
    case 1:
        return __real_fwrite(data, size, script.shortCount, file);
    case 2:
        return __real_fwrite(data, size, count, file);
    default:
        return 0;
    }
}

namespace {

TEST(ShortWriteTest, APartialWriteRepeatsTheWholeBufferFromItsStart) {
    testfiles::TempFolder folder;
    const std::string path = folder.At("out.bin");
    std::string bytes;
    for (int i = 0; i < 100; ++i)
        bytes += static_cast<char>('A' + i % 26);
    const auto* buffer = reinterpret_cast<const uint8_t*>(bytes.data());
    constexpr size_t kShort = 30;

    std::string message;
    int32_t code = -1;
    {
        FileOutputStream out(CUtils::StringUTF8ToWstring(path), FileOutputStream::kCreate);
        script.shortCount = kShort;
        script.armed = true;
        try {
            out.write(buffer, static_cast<int64_t>(bytes.size()));
        } catch (const OVException& e) {
            message = e.what();
            code = e.GetCode();
        }
        script.armed = false;
    }

    // Every round passes the same pointer and the whole length. The first leaves 70 to go, the
    // second takes 100 more, so the remainder passes 0 without meeting it and only the third
    // round, which writes nothing, ends the loop.
    ASSERT_EQ(script.calls.size(), 3u) << "the wrapper did not see FileOutputStream's fwrite";
    for (const FwriteCall& call : script.calls) {
        EXPECT_EQ(call.data, buffer);
        EXPECT_EQ(call.count, bytes.size());
    }
    EXPECT_EQ(message, "Failed to write all data to file outptu stream");
    // The code is the C library's error indicator, which a write that returns 0 left clear.
    EXPECT_EQ(code, 0);
    // The start of the buffer, then the whole buffer again: not the rest behind the short part.
    EXPECT_EQ(testfiles::ReadFileBytes(path), bytes.substr(0, kShort) + bytes);
}

}  // namespace
