// LibraryPartXmlTest.cpp: reading the parameters of one library-part XML document.
#include "emulator/LibraryPartXml.h"

#include "ProjectTestSupport.h"
#include "hostkit/HostABI.h"

#include <gtest/gtest.h>

namespace orvhost {
namespace {

using test::ParameterXml;
using test::StringParameterXml;
using test::SymbolXml;

std::vector<Parameter> ParseParts(const std::string& xml) {
    std::optional<std::vector<Parameter>> parameters = ParseLibraryPartXml(xml);
    EXPECT_TRUE(parameters.has_value());
    return parameters ? *parameters : std::vector<Parameter>{};
}

// The message of the error that parsing `xml` throws; empty when it throws none.
std::string BrokenBecause(const std::string& xml) {
    try {
        ParseLibraryPartXml(xml);
    } catch (const LibraryPartXmlError& e) {
        return e.what();
    }
    return {};
}

TEST(LibraryPartXml, ReadsEveryParameterTypeByItsElementName) {
    const std::vector<std::pair<std::string, int32_t>> types = {
        {"Integer", ParameterType::Integer},
        {"Length", ParameterType::Length},
        {"Angle", ParameterType::Angle},
        {"RealNum", ParameterType::RealNum},
        {"LightSwitch", ParameterType::LightSwitch},
        {"ColorRGB", ParameterType::ColorRGB},
        {"Intensity", ParameterType::Intensity},
        {"LineType", ParameterType::LineType},
        {"Material", ParameterType::Material},
        {"FillPattern", ParameterType::FillPattern},
        {"PenColor", ParameterType::PenColor},
        {"Boolean", ParameterType::Boolean},
    };
    std::string xml;
    for (size_t i = 0; i < types.size(); ++i) {
        xml += ParameterXml(types[i].first, std::string("p") + std::to_string(i),
                            std::to_string(i + 1));
    }
    xml += StringParameterXml("text", "hello");
    xml += "<Separator Name=\"sep\"><Description><![CDATA[\"\"]]></Description></Separator>\n";
    xml += "<Title Name=\"title\"><Description><![CDATA[\"Size\"]]></Description></Title>\n";

    const std::vector<Parameter> parameters = ParseParts(SymbolXml(xml));
    ASSERT_EQ(parameters.size(), types.size() + 3);
    for (size_t i = 0; i < types.size(); ++i) {
        SCOPED_TRACE(types[i].first);
        EXPECT_EQ(parameters[i].name, std::string("p") + std::to_string(i));
        EXPECT_EQ(parameters[i].type, types[i].second);
        EXPECT_FALSE(parameters[i].isArray);
        EXPECT_EQ(parameters[i].value.numbers, std::vector<double>{double(i + 1)});
        EXPECT_TRUE(parameters[i].value.texts.empty());
        EXPECT_STREQ(ParameterTypeXmlName(types[i].second), types[i].first.c_str());
    }
    EXPECT_EQ(parameters[types.size()].type, ParameterType::String);
    EXPECT_EQ(parameters[types.size()].value.texts, std::vector<std::u16string>{u"hello"});
    EXPECT_EQ(parameters[types.size() + 1].type, ParameterType::Separator);
    EXPECT_EQ(parameters[types.size() + 1].value, ParameterValue{});
    EXPECT_EQ(parameters[types.size() + 2].type, ParameterType::Title);
    EXPECT_EQ(parameters[types.size() + 2].description, u"Size");
    EXPECT_EQ(parameters[types.size() + 2].value, ParameterValue{});
}

TEST(LibraryPartXml, StripsOnePairOfQuotesFromTextsAndDescriptions) {
    const std::vector<Parameter> parameters =
        ParseParts(SymbolXml(StringParameterXml("a", "\"quoted\"", "\"said\"") +
                             StringParameterXml("b", "") + StringParameterXml("c", "x\"y")));
    ASSERT_EQ(parameters.size(), 3u);
    EXPECT_EQ(parameters[0].value.texts, std::vector<std::u16string>{u"\"quoted\""});
    EXPECT_EQ(parameters[0].description, u"\"said\"");
    EXPECT_EQ(parameters[1].value.texts, std::vector<std::u16string>{u""});
    EXPECT_EQ(parameters[2].value.texts, std::vector<std::u16string>{u"x\"y"});
}

TEST(LibraryPartXml, KeepsTextWithoutSurroundingQuotesAsItIs) {
    const std::vector<Parameter> parameters =
        ParseParts(SymbolXml(ParameterXml("String", "plain", "no quotes", "", true) +
                             ParameterXml("String", "half", "\"open", "", false)));
    ASSERT_EQ(parameters.size(), 2u);
    EXPECT_EQ(parameters[0].value.texts, std::vector<std::u16string>{u"no quotes"});
    EXPECT_EQ(parameters[1].value.texts, std::vector<std::u16string>{u"\"open"});
}

TEST(LibraryPartXml, ReadsEscapedTextOutsideCdata) {
    const std::vector<Parameter> parameters =
        ParseParts(SymbolXml(ParameterXml("String", "s", "&quot;a &lt;b&gt; &amp; c&quot;")));
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_EQ(parameters[0].value.texts, std::vector<std::u16string>{u"a <b> & c"});
}

TEST(LibraryPartXml, ReadsNumbersWithSpacesSignsAndExponents) {
    const std::vector<Parameter> parameters = ParseParts(
        SymbolXml(ParameterXml("RealNum", "a", " -1.5 ") + ParameterXml("RealNum", "b", "+2") +
                  ParameterXml("RealNum", "c", "\n1e-3\n")));
    ASSERT_EQ(parameters.size(), 3u);
    EXPECT_EQ(parameters[0].value.numbers, std::vector<double>{-1.5});
    EXPECT_EQ(parameters[1].value.numbers, std::vector<double>{2});
    EXPECT_EQ(parameters[2].value.numbers, std::vector<double>{1e-3});
}

TEST(LibraryPartXml, ReadsOneDimensionalArrayByRow) {
    // Rows out of document order still land in their places.
    const std::string xml = SymbolXml(
        "<Length Name=\"widths\"><Description><![CDATA[\"Widths\"]]></Description>\n"
        "<ArrayValues FirstDimension=\"3\" SecondDimension=\"0\">\n"
        "<AVal Row=\"1\">0.5</AVal>\n<AVal Row=\"3\">0.7</AVal>\n<AVal Row=\"2\">0.6</AVal>\n"
        "</ArrayValues>\n</Length>\n");
    const std::vector<Parameter> parameters = ParseParts(xml);
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_TRUE(parameters[0].isArray);
    EXPECT_EQ(parameters[0].dimension1, 3);
    EXPECT_EQ(parameters[0].dimension2, 1);
    EXPECT_EQ(parameters[0].value.numbers, (std::vector<double>{0.5, 0.6, 0.7}));
}

TEST(LibraryPartXml, ReadsOneDimensionalArrayWithoutSecondDimension) {
    const std::string xml = SymbolXml("<Integer Name=\"n\"><ArrayValues FirstDimension=\"2\">"
                                      "<AVal Row=\"1\">4</AVal><AVal Row=\"2\">5</AVal>"
                                      "</ArrayValues></Integer>");
    const std::vector<Parameter> parameters = ParseParts(xml);
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_EQ(parameters[0].dimension1, 2);
    EXPECT_EQ(parameters[0].dimension2, 1);
    EXPECT_EQ(parameters[0].value.numbers, (std::vector<double>{4, 5}));
}

TEST(LibraryPartXml, ReadsTwoDimensionalArrayRowByRow) {
    const std::string xml =
        SymbolXml("<RealNum Name=\"grid\">\n"
                  "<ArrayValues FirstDimension=\"2\" SecondDimension=\"3\">\n"
                  "<AVal Column=\"1\" Row=\"1\">11</AVal><AVal Column=\"2\" Row=\"1\">12</AVal>"
                  "<AVal Column=\"3\" Row=\"1\">13</AVal><AVal Column=\"1\" Row=\"2\">21</AVal>"
                  "<AVal Column=\"3\" Row=\"2\">23</AVal><AVal Column=\"2\" Row=\"2\">22</AVal>"
                  "</ArrayValues>\n</RealNum>\n");
    const std::vector<Parameter> parameters = ParseParts(xml);
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_TRUE(parameters[0].isArray);
    EXPECT_EQ(parameters[0].dimension1, 2);
    EXPECT_EQ(parameters[0].dimension2, 3);
    EXPECT_EQ(parameters[0].value.numbers, (std::vector<double>{11, 12, 13, 21, 22, 23}));
}

TEST(LibraryPartXml, TextArrayLosesOnePairOfQuotesPerValue) {
    const std::string xml =
        SymbolXml("<String Name=\"names\"><ArrayValues FirstDimension=\"2\" SecondDimension=\"0\">"
                  "<AVal Row=\"1\"><![CDATA[\"Dveře\"]]></AVal>"
                  "<AVal Row=\"2\"><![CDATA[\"\"okno\"\"]]></AVal>"
                  "</ArrayValues></String>");
    const std::vector<Parameter> parameters = ParseParts(xml);
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_EQ(parameters[0].type, ParameterType::String);
    EXPECT_EQ(parameters[0].value.texts, (std::vector<std::u16string>{u"Dveře", u"\"okno\""}));
    EXPECT_TRUE(parameters[0].value.numbers.empty());
}

TEST(LibraryPartXml, ArrayWithFewerValuesThanItsDimensionsIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml("<RealNum Name=\"grid\"><ArrayValues FirstDimension=\"2\" SecondDimension=\"2\">"
                  "<AVal Column=\"1\" Row=\"1\">1</AVal><AVal Column=\"2\" Row=\"1\">2</AVal>"
                  "<AVal Column=\"1\" Row=\"2\">3</AVal></ArrayValues></RealNum>"));
    EXPECT_EQ(message, "parameter 1 (\"grid\"): the array's size 2 x 2 calls for 4 values, it "
                       "has 3");
}

TEST(LibraryPartXml, ArrayWithMoreValuesThanItsDimensionsIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml("<Integer Name=\"n\"><ArrayValues FirstDimension=\"1\" SecondDimension=\"0\">"
                  "<AVal Row=\"1\">1</AVal><AVal Row=\"2\">2</AVal></ArrayValues></Integer>"));
    EXPECT_EQ(message, "parameter 1 (\"n\"): the array's size 1 calls for 1 values, it has 2");
}

TEST(LibraryPartXml, ArrayCellOutsideItsDimensionsIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml("<Integer Name=\"n\"><ArrayValues FirstDimension=\"2\" SecondDimension=\"0\">"
                  "<AVal Row=\"1\">1</AVal><AVal Row=\"3\">2</AVal></ArrayValues></Integer>"));
    EXPECT_EQ(message, "parameter 1 (\"n\"), value 2: row 3 lies outside the array's size 2");
}

TEST(LibraryPartXml, ArrayCellGivenTwiceIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml("<Integer Name=\"n\"><ArrayValues FirstDimension=\"2\" SecondDimension=\"0\">"
                  "<AVal Row=\"1\">1</AVal><AVal Row=\"1\">2</AVal></ArrayValues></Integer>"));
    EXPECT_EQ(message, "parameter 1 (\"n\"), value 2: row 1 is given twice");
}

TEST(LibraryPartXml, ArrayWithBadDimensionIsBroken) {
    const std::string message =
        BrokenBecause(SymbolXml("<Integer Name=\"n\"><ArrayValues FirstDimension=\"two\">"
                                "<AVal Row=\"1\">1</AVal></ArrayValues></Integer>"));
    EXPECT_EQ(message, "parameter 1 (\"n\"): FirstDimension \"two\" is not a whole number from 1");
}

TEST(LibraryPartXml, UnknownParameterTypeIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml(ParameterXml("Length", "A", "1") + ParameterXml("Volume", "v", "2")));
    EXPECT_EQ(message, "parameter 2: unknown parameter type <Volume>");
}

TEST(LibraryPartXml, ParameterWithoutNameIsBroken) {
    const std::string message = BrokenBecause(SymbolXml("<Length><Value>1</Value></Length>\n"));
    EXPECT_EQ(message, "parameter 1 (<Length>): no Name");
}

TEST(LibraryPartXml, BadNumberIsBroken) {
    const std::string message = BrokenBecause(SymbolXml(ParameterXml("Length", "A", "1,5")));
    EXPECT_EQ(message, "parameter 1 (\"A\"): \"1,5\" is not a number");
}

TEST(LibraryPartXml, NameUsedTwiceIsBroken) {
    const std::string message = BrokenBecause(
        SymbolXml(ParameterXml("Length", "A", "1") + ParameterXml("Length", "A", "2")));
    EXPECT_EQ(message, "parameter 2 (\"A\"): the name is used twice");
}

TEST(LibraryPartXml, DocumentThatIsNotWellFormedIsBroken) {
    const std::string message = BrokenBecause("<Symbol><ParamSection></Symbol>");
    EXPECT_EQ(message.rfind("not well-formed XML: ", 0), 0u) << message;
    EXPECT_NE(BrokenBecause("<Symbol>\n<ParamSection>\n</Symbol>").find(" at line 3 "),
              std::string::npos);
    EXPECT_EQ(BrokenBecause("").rfind("not well-formed XML: ", 0), 0u);
}

TEST(LibraryPartXml, DocumentWithAnotherRootIsNoLibraryPart) {
    EXPECT_FALSE(ParseLibraryPartXml("<?xml version=\"1.0\"?><Catalog><Symbol/></Catalog>"));
}

TEST(LibraryPartXml, SymbolWithoutParamSectionHasNoParameters) {
    const std::optional<std::vector<Parameter>> parameters =
        ParseLibraryPartXml("<Symbol><Script_3D/></Symbol>");
    ASSERT_TRUE(parameters.has_value());
    EXPECT_TRUE(parameters->empty());
}

TEST(LibraryPartXml, ParameterWithoutValueTakesTheEmptyValueOfItsType) {
    const std::vector<Parameter> parameters =
        ParseParts(SymbolXml("<Length Name=\"A\"/><String Name=\"s\"/>"));
    ASSERT_EQ(parameters.size(), 2u);
    EXPECT_EQ(parameters[0].value.numbers, std::vector<double>{0});
    EXPECT_EQ(parameters[1].value.texts, std::vector<std::u16string>{u""});
}

TEST(LibraryPartXml, KeepsTextLongerThan255UnitsWhole) {
    const std::string longText(1000, 'x');
    const std::string longDescription(400, 'd');
    const std::vector<Parameter> parameters =
        ParseParts(SymbolXml(StringParameterXml("note", longText, longDescription)));
    ASSERT_EQ(parameters.size(), 1u);
    ASSERT_EQ(parameters[0].value.texts.size(), 1u);
    EXPECT_EQ(parameters[0].value.texts[0].size(), 1000u);
    EXPECT_EQ(parameters[0].value.texts[0], std::u16string(1000, u'x'));
    EXPECT_EQ(parameters[0].description, std::u16string(400, u'd'));
}

TEST(LibraryPartXml, ReadsCzechTextAsUtf16) {
    const std::vector<Parameter> parameters = ParseParts(SymbolXml(
        StringParameterXml("popis", "Příliš žluťoučký kůň úpěl ďábelské ódy", "Šířka křídla")));
    ASSERT_EQ(parameters.size(), 1u);
    EXPECT_EQ(parameters[0].value.texts,
              std::vector<std::u16string>{u"Příliš žluťoučký kůň úpěl ďábelské ódy"});
    EXPECT_EQ(parameters[0].description, u"Šířka křídla");
}

}  // namespace
}  // namespace orvhost
