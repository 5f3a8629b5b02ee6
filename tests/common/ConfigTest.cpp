// ConfigTest.cpp: the INI reader, its lookups and the factory.
#include "common/Config.h"

#include "TestSupport.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using testfiles::TempFolder;
using testfiles::WriteFileBytes;
using testsupport::FileConfig;

// A configuration read from a file with `content`.
class IniFile {
public:
    explicit IniFile(const std::string& content) {
        WriteFileBytes(folder.At("settings.ini"), content);
        config = std::make_unique<FileConfig>(folder.WideAt("settings.ini"));
    }
    const FileConfig& Config() const { return *config; }

private:
    TempFolder folder;
    std::unique_ptr<FileConfig> config;
};

// ---- Init and the section ----

TEST(ConfigInit, DummyIsUninitializedUntilInit) {
    Config_Dummy config;
    EXPECT_FALSE(config.IsInitialized());
    EXPECT_TRUE(config.GetSection().empty());
    config.Init();
    EXPECT_TRUE(config.IsInitialized());
    EXPECT_EQ(config.GetSection(), u"OrvTools");
}

TEST(ConfigInit, InitReloadsTheFileAndForgetsOldKeys) {
    TempFolder folder;
    const std::string path = folder.At("settings.ini");
    WriteFileBytes(path, "[OrvTools]\nfirst=1\n");
    FileConfig config(folder.WideAt("settings.ini"));
    EXPECT_EQ(config.GetConfigString(u"first"), u"1");

    WriteFileBytes(path, "[OrvTools]\nsecond=2\n");
    config.Init();
    EXPECT_EQ(config.GetConfigString(u"first"), u"");
    EXPECT_EQ(config.GetConfigString(u"second"), u"2");
}

TEST(ConfigParser, FileThatCannotBeOpenedGivesNoKeys) {
    TempFolder folder;
    FileConfig config(folder.WideAt("missing.ini"));
    EXPECT_TRUE(config.IsInitialized());
    EXPECT_EQ(config.GetConfigString(u"fileLog"), u"");
    EXPECT_EQ(config.GetConfigInt("fileLog", 17), 17);
}

TEST(ConfigParser, EmptyFileGivesNoKeys) {
    const IniFile ini("");
    EXPECT_EQ(ini.Config().GetConfigInt("consoleLog", 4), 4);
}

// ---- Sections ----

TEST(ConfigParser, KeysOfTheOrvToolsSectionAreRead) {
    const IniFile ini("[OrvTools]\nfileLog=2\nconsoleLog=0");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"2");
    // The last line needs no line feed.
    EXPECT_EQ(ini.Config().GetConfigString(u"consoleLog"), u"0");
}

TEST(ConfigParser, HeaderInLowerCaseDoesNotMatchTheSection) {
    const IniFile ini("[orvtools]\nfileLog=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"");
    EXPECT_EQ(ini.Config().GetConfigInt("fileLog", 1), 1);
}

TEST(ConfigParser, HeaderWithBlanksInsideBracketsDoesNotMatch) {
    const IniFile ini("[ OrvTools ]\nfileLog=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"");
}

TEST(ConfigParser, KeysBeforeTheFirstHeaderAreIgnored) {
    const IniFile ini("early=1\n[OrvTools]\nlate=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"early"), u"");
    EXPECT_EQ(ini.Config().GetConfigString(u"late"), u"2");
}

TEST(ConfigParser, KeysOfOtherSectionsAreIgnoredAndTheSectionMayReturn) {
    const IniFile ini("[OrvTools]\na=1\n[Other]\nb=2\n[OrvTools]\nc=3\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"a"), u"1");
    EXPECT_EQ(ini.Config().GetConfigString(u"b"), u"");
    EXPECT_EQ(ini.Config().GetConfigString(u"c"), u"3");
}

TEST(ConfigParser, HeaderWithoutClosingBracketKeepsTheCurrentSection) {
    const IniFile inside("[OrvTools]\na=1\n[Other\nb=2\n");
    EXPECT_EQ(inside.Config().GetConfigString(u"b"), u"2");

    const IniFile outside("[Other]\n[OrvTools\nc=3\n");
    EXPECT_EQ(outside.Config().GetConfigString(u"c"), u"");
}

TEST(ConfigParser, HeaderEndsAtTheFirstClosingBracket) {
    const IniFile ini("[OrvTools] trailing words ] more\na=1\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"a"), u"1");
}

// ---- Lines ----

TEST(ConfigParser, CommentOnlyAtTheFirstCharacter) {
    const IniFile ini("[OrvTools]\n;hidden=1\n ;shown=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"hidden"), u"");
    EXPECT_EQ(ini.Config().GetConfigString(u";hidden"), u"");
    // A blank in front of ";" makes an ordinary line: its key is ";shown".
    EXPECT_EQ(ini.Config().GetConfigString(u";shown"), u"2");
}

TEST(ConfigParser, BlanksAroundTheEqualsSignAreTrimmed) {
    const IniFile ini("[OrvTools]\n  fileLog \t=  2  \n");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"2");
    EXPECT_EQ(ini.Config().GetConfigInt("fileLog", 0), 2);
}

TEST(ConfigParser, BlanksInsideKeyAndValueStay) {
    const IniFile ini("[OrvTools]\n my key = two words \n");
    EXPECT_EQ(ini.Config().GetConfigString(u"my key"), u"two words");
}

TEST(ConfigParser, KeyIsLowerCasedAndValueKeepsItsCase) {
    const IniFile ini("[OrvTools]\nServerURL=Http://Example.COM/Path\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"serverurl"), u"Http://Example.COM/Path");
    EXPECT_EQ(ini.Config().GetConfigString(u"SERVERURL"), u"Http://Example.COM/Path");
    EXPECT_EQ(ini.Config().GetConfigString(u"ServerURL"), u"Http://Example.COM/Path");
}

TEST(ConfigParser, LaterLineWins) {
    const IniFile ini("[OrvTools]\nlevel=1\nLEVEL=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"level"), u"2");
}

TEST(ConfigParser, LineWithTwoEqualsSignsKeepsTheSecondInTheValue) {
    const IniFile ini("[OrvTools]\nquery=a=b\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"query"), u"a=b");
}

TEST(ConfigParser, LineWithEmptyKeyIsSkipped) {
    const IniFile ini("[OrvTools]\n=5\n  \t= 6\nkept=1\n");
    EXPECT_EQ(ini.Config().GetConfigString(u""), u"");
    EXPECT_EQ(ini.Config().GetConfigString(u"kept"), u"1");
}

TEST(ConfigParser, LineWithoutEqualsSignIsSkipped) {
    const IniFile ini("[OrvTools]\nfileLog\nconsoleLog=2\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"");
    EXPECT_EQ(ini.Config().GetConfigInt("fileLog", 9), 9);
    EXPECT_EQ(ini.Config().GetConfigString(u"consoleLog"), u"2");
}

TEST(ConfigParser, EmptyValueIsKeptAsEmpty) {
    const IniFile ini("[OrvTools]\nfileLog=\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"fileLog"), u"");
    EXPECT_EQ(ini.Config().GetConfigInt("fileLog", 3), 3);
}

TEST(ConfigParser, CarriageReturnsAtLineEndsAreTrimmed) {
    const IniFile ini("[OrvTools]\r\nfileLog=2\r\n\r\nname = Value\r\n[Other]\r\nfileLog=0\r\n");
    EXPECT_EQ(ini.Config().GetConfigInt("fileLog", 0), 2);
    EXPECT_EQ(ini.Config().GetConfigString(u"name"), u"Value");
}

TEST(ConfigParser, Utf8ValueIsReadAsWideText) {
    const IniFile ini("[OrvTools]\nnázev=Knihovna dveří\n");
    EXPECT_EQ(ini.Config().GetConfigString(u"název"), u"Knihovna dveří");
}

// ---- Whole numbers and words ----

TEST(ConfigInt, NumberIsReturned) {
    const IniFile ini("[OrvTools]\ntwo=2\nzero=0\nnegative=-5\n");
    EXPECT_EQ(ini.Config().GetConfigInt("two", 7), 2);
    EXPECT_EQ(ini.Config().GetConfigInt("zero", 7), 0);
    EXPECT_EQ(ini.Config().GetConfigInt("negative", 7), -5);
}

TEST(ConfigInt, OnAndOffAreOneAndZeroInAnyCase) {
    const IniFile ini("[OrvTools]\na=ON\nb=Off\nc=on\nd=OFF\n");
    EXPECT_EQ(ini.Config().GetConfigInt("a", 7), 1);
    EXPECT_EQ(ini.Config().GetConfigInt("b", 7), 0);
    EXPECT_EQ(ini.Config().GetConfigInt("c", 7), 1);
    EXPECT_EQ(ini.Config().GetConfigInt("d", 7), 0);
}

TEST(ConfigInt, TrueAndFalseAreOneAndZeroInAnyCase) {
    const IniFile ini("[OrvTools]\na=true\nb=false\nc=TRUE\nd=False\n");
    EXPECT_EQ(ini.Config().GetConfigInt("a", 7), 1);
    EXPECT_EQ(ini.Config().GetConfigInt("b", 7), 0);
    EXPECT_EQ(ini.Config().GetConfigInt("c", 7), 1);
    EXPECT_EQ(ini.Config().GetConfigInt("d", 7), 0);
}

TEST(ConfigInt, NotANumberMarkerGivesTheDefault) {
    const IniFile ini("[OrvTools]\nmarker=-999999\nnear=-999998\n");
    EXPECT_EQ(ini.Config().GetConfigInt("marker", 7), 7);
    EXPECT_EQ(ini.Config().GetConfigInt("near", 7), -999998);
}

TEST(ConfigInt, NumberFollowedByLettersGivesTheNumber) {
    const IniFile ini("[OrvTools]\nvalue=12abc\n");
    EXPECT_EQ(ini.Config().GetConfigInt("value", 7), 12);
}

TEST(ConfigInt, OtherWordsGiveTheDefault) {
    const IniFile ini("[OrvTools]\na=abc\nb=yes\nc=onn\n");
    EXPECT_EQ(ini.Config().GetConfigInt("a", 7), 7);
    EXPECT_EQ(ini.Config().GetConfigInt("b", 7), 7);
    EXPECT_EQ(ini.Config().GetConfigInt("c", -3), -3);
}

TEST(ConfigInt, MissingKeyGivesTheDefault) {
    const IniFile ini("[OrvTools]\nother=1\n");
    EXPECT_EQ(ini.Config().GetConfigInt("missing", 7), 7);
    EXPECT_EQ(ini.Config().GetConfigInt("missing", -1), -1);
}

TEST(ConfigInt, NumberAbove32BitsIsCutTo32Bits) {
    const IniFile ini("[OrvTools]\na=4294967297\nb=4294967295\n");
    EXPECT_EQ(ini.Config().GetConfigInt("a", 7), 1);
    EXPECT_EQ(ini.Config().GetConfigInt("b", 7), -1);
}

TEST(ConfigInt, NumberOutOfThe64BitRangeGivesTheDefault) {
    const IniFile ini("[OrvTools]\na=99999999999999999999\n");
    EXPECT_EQ(ini.Config().GetConfigInt("a", 7), 7);
}

TEST(ConfigInt, KeyIsMatchedWithoutRegardToCase) {
    const IniFile ini("[OrvTools]\nFileLog=2\n");
    EXPECT_EQ(ini.Config().GetConfigInt("FILELOG", 0), 2);
    EXPECT_EQ(ini.Config().GetConfigInt("filelog", 0), 2);
}

// ---- Factory ----

TEST(ConfigFactory, DefaultFactoryGivesAnInitializedDummy) {
    const std::unique_ptr<ConfigImpl> config = ConfigImpl::Config();
    ASSERT_NE(config, nullptr);
    EXPECT_NE(dynamic_cast<Config_Dummy*>(config.get()), nullptr);
    EXPECT_TRUE(config->IsInitialized());
    EXPECT_EQ(config->GetSection(), u"OrvTools");
}

TEST(ConfigFactory, DefaultFactoryGivesTheDefaultForEveryKey) {
    const std::unique_ptr<ConfigImpl> config = ConfigImpl::Config();
    EXPECT_EQ(config->GetConfigInt("fileLog", 1), 1);
    EXPECT_EQ(config->GetConfigInt("consoleLog", 1), 1);
    EXPECT_EQ(config->GetConfigInt("debugviewLog", 0), 0);
    EXPECT_EQ(config->GetConfigInt("fileLog", 42), 42);
    EXPECT_EQ(config->GetConfigInt("anything", -7), -7);
    EXPECT_EQ(config->GetConfigString(u"fileLog"), u"");
}

// The factory is process state: these tests change it only in a child process of their own,
// which makes and removes its own folder before it leaves.

WString factoryFile;  // the file that FileFactory reads
int factoryCalls = 0;

std::unique_ptr<ConfigImpl> FileFactory() {
    ++factoryCalls;
    return std::make_unique<FileConfig>(factoryFile);
}

// Leaves the child with status 1 and a note when `passed` is false.
void Require(bool passed, const char* what) {
    if (passed)
        return;
    std::fprintf(stderr, "failed: %s\n", what);
    _exit(1);
}

void CheckRegisteredFactoryIsUsed() {
    bool called = false;
    bool read = false;
    {
        const TempFolder folder;
        factoryFile = folder.WideAt("factory.ini");
        WriteFileBytes(folder.At("factory.ini"), "[OrvTools]\nfileLog=2\n");
        ConfigImpl::RegisterFactory(&FileFactory);
        const std::unique_ptr<ConfigImpl> config = ConfigImpl::Config();
        called = factoryCalls == 1 && dynamic_cast<FileConfig*>(config.get()) != nullptr;
        read = config->GetConfigInt("fileLog", 1) == 2;
    }
    Require(called, "the registered factory was not called");
    Require(read, "the factory's file was not read");
    _exit(0);
}

TEST(ConfigFactoryDeathTest, RegisteredFactoryIsUsed) {
    EXPECT_EXIT(CheckRegisteredFactoryIsUsed(), testing::ExitedWithCode(0), "");
}

void CheckFileIsReadAgainAtEveryCall() {
    bool readAgain = false;
    {
        const TempFolder folder;
        factoryFile = folder.WideAt("factory.ini");
        ConfigImpl::RegisterFactory(&FileFactory);
        WriteFileBytes(folder.At("factory.ini"), "[OrvTools]\nfileLog=2\n");
        const std::unique_ptr<ConfigImpl> before = ConfigImpl::Config();
        WriteFileBytes(folder.At("factory.ini"), "[OrvTools]\nfileLog=0\n");
        const std::unique_ptr<ConfigImpl> after = ConfigImpl::Config();
        readAgain = factoryCalls == 2 && before->GetConfigInt("fileLog", 1) == 2 &&
                    after->GetConfigInt("fileLog", 1) == 0;
    }
    Require(readAgain, "the second object did not read the file anew");
    _exit(0);
}

TEST(ConfigFactoryDeathTest, FactoryThatReadsAFileReadsItAgainAtEveryCall) {
    EXPECT_EXIT(CheckFileIsReadAgainAtEveryCall(), testing::ExitedWithCode(0), "");
}

std::vector<const ConfigImpl*> madeByFactory;

std::unique_ptr<ConfigImpl> RecordingFactory() {
    auto config = std::make_unique<Config_Dummy>();
    config->Init();
    madeByFactory.push_back(config.get());
    return config;
}

void CheckEveryCallMakesANewObject() {
    ConfigImpl::RegisterFactory(&RecordingFactory);
    const std::unique_ptr<ConfigImpl> first = ConfigImpl::Config();
    const std::unique_ptr<ConfigImpl> second = ConfigImpl::Config();
    Require(madeByFactory.size() == 2, "the factory did not run at every call");
    Require(first.get() == madeByFactory[0] && second.get() == madeByFactory[1],
            "the caller did not get the object the factory made");
    _exit(0);
}

TEST(ConfigFactoryDeathTest, EveryCallMakesANewObjectByTheFactory) {
    EXPECT_EXIT(CheckEveryCallMakesANewObject(), testing::ExitedWithCode(0), "");
}

void CheckDefaultIsRegisteredAtFirstUse() {
    // A fresh process has no factory: the first call puts the default in place.
    const std::unique_ptr<ConfigImpl> config = ConfigImpl::Config();
    Require(dynamic_cast<Config_Dummy*>(config.get()) != nullptr && config->IsInitialized(),
            "the first call gave no initialized dummy");
    _exit(0);
}

TEST(ConfigFactoryDeathTest, FreshProcessGetsTheDefaultFactoryAtFirstUse) {
    EXPECT_EXIT(CheckDefaultIsRegisteredAtFirstUse(), testing::ExitedWithCode(0), "");
}

}  // namespace
