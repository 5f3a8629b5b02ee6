// CommandLineTest.cpp: the command line in UTF-8 (common/CommandLine.h).
#include "common/CommandLine.h"

#include "TestFiles.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

TEST(Utf8Arguments, GivesTheCommandLineWithTheProgramFirst) {
    char program[] = "given-program";
    char path[] = "P\xc5\x99\xc3\xadli\xc5\xa1 \xc5\xbelu\xc5\xa5ou\xc4\x8dk\xc3\xbd";
    char* argv[] = {program, path, nullptr};
    const std::vector<std::string> arguments = Utf8Arguments(2, argv);
#ifdef _WIN32
    // argv is passed over for the process's own wide command line: this program's.
    ASSERT_FALSE(arguments.empty());
    EXPECT_EQ(testfiles::PathOf(arguments[0]).stem(), std::filesystem::path(L"common_tests"))
        << arguments[0];
#else
    EXPECT_EQ(arguments, (std::vector<std::string>{"given-program", path}));
#endif
}

#ifndef _WIN32
// Windows reads the process's command line, which always names the program.
TEST(Utf8Arguments, GivesNothingForAnEmptyArgv) {
    char* argv[] = {nullptr};
    EXPECT_TRUE(Utf8Arguments(0, argv).empty());
}
#endif

}  // namespace
