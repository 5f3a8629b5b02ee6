// TestMain.cpp: runs the common runtime's tests with the log kept out of the build folder.
#include "common/CUtils.h"

#include <filesystem>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // A death test runs in a fresh process of its own, so the process-wide logger starts anew.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Error entries of the tests go to a log file beside this stand-in for the module.
    const auto logFolder = std::filesystem::temp_directory_path() / "orvupdate-tests";
    std::filesystem::create_directories(logFolder);
    CUtils::SetModulePathOverride(
        CUtils::StringUTF8ToWstring((logFolder / "common_tests").string()));
    return RUN_ALL_TESTS();
}
