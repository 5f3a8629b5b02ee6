// LibraryPartXml.cpp: the parameter section of a GDL library-part XML file, read with pugixml.
//
// <Symbol><ParamSection><Parameters> holds one element per parameter, named for its type, with
// the attribute Name, an optional <Description>, and either a <Value> or an <ArrayValues> of
// <AVal Row="r" Column="c"> cells. Texts stand in double quotes inside the element text (usually
// CDATA); one pair of them is stripped.
#include "emulator/LibraryPartXml.h"

#include "charcode/CharCode.h"
#include "hostkit/HostABI.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>

namespace orvhost {

namespace {

struct TypeName {
    const char* name;
    int32_t type;
};

constexpr std::array<TypeName, 15> kTypeNames{{
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
    {"String", ParameterType::String},
    {"Boolean", ParameterType::Boolean},
    {"Separator", ParameterType::Separator},
    {"Title", ParameterType::Title},
}};

int32_t TypeFromXmlName(std::string_view name) {
    for (const TypeName& entry : kTypeNames) {
        if (name == entry.name) {
            return entry.type;
        }
    }
    return 0;
}

bool HasValue(int32_t type) {
    return type != ParameterType::Separator && type != ParameterType::Title;
}

std::string_view TrimAsciiSpace(std::string_view text) {
    const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// The text of an element: its character data and CDATA sections, in order.
std::string ElementText(const pugi::xml_node& node) {
    std::string text;
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            text += child.value();
        }
    }
    return text;
}

// A quoted text loses one pair of surrounding quotes; text without them stays as it is.
std::u16string UnquotedText(const std::string& raw) {
    const std::string_view trimmed = TrimAsciiSpace(raw);
    if (trimmed.size() >= 2 && trimmed.front() == '"' && trimmed.back() == '"') {
        return charcode::Utf8ToUtf16(trimmed.substr(1, trimmed.size() - 2));
    }
    return charcode::Utf8ToUtf16(raw);
}

double ParseNumber(const std::string& raw, const std::string& where) {
    std::string_view text = TrimAsciiSpace(raw);
    // from_chars takes no leading plus; a file may well have one.
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size() ||
        !std::isfinite(value)) {
        throw LibraryPartXmlError(where + ": \"" + raw + "\" is not a number");
    }
    return value;
}

// A whole number attribute of at least `minimum`.
int32_t ParseCount(const pugi::xml_node& node, const char* attributeName, int32_t minimum,
                   const std::string& where) {
    const std::string raw = node.attribute(attributeName).value();
    const std::string_view text = TrimAsciiSpace(raw);
    int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc{} || end != text.data() + text.size() ||
        value < minimum) {
        throw LibraryPartXmlError(where + ": " + attributeName + " \"" + raw +
                                  "\" is not a whole number from " + std::to_string(minimum));
    }
    return value;
}

void AppendValue(ParameterValue& value, int32_t type, const std::string& raw,
                 const std::string& where) {
    if (ParameterType::IsText(type)) {
        value.texts.push_back(UnquotedText(raw));
    } else {
        value.numbers.push_back(ParseNumber(raw, where));
    }
}

void ReadArray(const pugi::xml_node& arrayNode, Parameter& parameter, const std::string& where) {
    parameter.isArray = true;
    parameter.dimension1 = ParseCount(arrayNode, "FirstDimension", 1, where);
    const int32_t second = arrayNode.attribute("SecondDimension").empty()
                               ? 0
                               : ParseCount(arrayNode, "SecondDimension", 0, where);
    const bool twoDimensions = second > 0;
    parameter.dimension2 = twoDimensions ? second : 1;

    const int64_t cellCount = int64_t{parameter.dimension1} * parameter.dimension2;
    const auto givenCells = arrayNode.children("AVal");
    const auto valueCount =
        static_cast<int64_t>(std::distance(givenCells.begin(), givenCells.end()));
    const std::string sizeText =
        std::to_string(parameter.dimension1) +
        (twoDimensions ? " x " + std::to_string(parameter.dimension2) : std::string());
    // Counted first, so that absurd dimensions are refused before anything is made for them.
    if (valueCount != cellCount) {
        throw LibraryPartXmlError(where + ": the array's size " + sizeText + " calls for " +
                                  std::to_string(cellCount) + " values, it has " +
                                  std::to_string(valueCount));
    }
    std::vector<std::string> cells(static_cast<size_t>(cellCount));
    std::vector<bool> filled(cells.size(), false);
    int64_t position = 0;
    for (const pugi::xml_node& cell : arrayNode.children("AVal")) {
        ++position;
        const std::string cellWhere = where + ", value " + std::to_string(position);
        if (cell.attribute("Row").empty()) {
            throw LibraryPartXmlError(cellWhere + ": <AVal> has no Row");
        }
        const int32_t row = ParseCount(cell, "Row", 1, cellWhere);
        int32_t column = 1;
        if (twoDimensions) {
            if (cell.attribute("Column").empty()) {
                throw LibraryPartXmlError(cellWhere + ": <AVal> of a two-dimensional array has no "
                                                      "Column");
            }
            column = ParseCount(cell, "Column", 1, cellWhere);
        } else if (!cell.attribute("Column").empty()) {
            column = ParseCount(cell, "Column", 1, cellWhere);
        }
        const std::string cellText =
            twoDimensions ? "cell (" + std::to_string(row) + ", " + std::to_string(column) + ")"
                          : "row " + std::to_string(row);
        if (row > parameter.dimension1 || column > parameter.dimension2) {
            throw LibraryPartXmlError(cellWhere + ": " + cellText +
                                      " lies outside the array's size " + sizeText);
        }
        const size_t index =
            static_cast<size_t>(int64_t{row - 1} * parameter.dimension2 + (column - 1));
        if (filled[index]) {
            throw LibraryPartXmlError(cellWhere + ": " + cellText + " is given twice");
        }
        filled[index] = true;
        cells[index] = ElementText(cell);
    }
    for (size_t i = 0; i < cells.size(); ++i) {
        AppendValue(parameter.value, parameter.type, cells[i],
                    where + ", value " + std::to_string(i + 1));
    }
}

Parameter ReadParameter(const pugi::xml_node& node, size_t position) {
    std::string where = "parameter " + std::to_string(position);
    Parameter parameter;
    parameter.type = TypeFromXmlName(node.name());
    if (parameter.type == 0) {
        throw LibraryPartXmlError(where + ": unknown parameter type <" + node.name() + ">");
    }
    parameter.name = node.attribute("Name").value();
    if (parameter.name.empty()) {
        throw LibraryPartXmlError(where + " (<" + node.name() + ">): no Name");
    }
    where += " (\"" + parameter.name + "\")";

    if (const pugi::xml_node description = node.child("Description")) {
        parameter.description = UnquotedText(ElementText(description));
    }
    if (!HasValue(parameter.type)) {
        return parameter;
    }
    if (const pugi::xml_node arrayNode = node.child("ArrayValues")) {
        ReadArray(arrayNode, parameter, where);
    } else if (const pugi::xml_node valueNode = node.child("Value")) {
        AppendValue(parameter.value, parameter.type, ElementText(valueNode), where);
    } else {
        // No value written: the type's empty value, as a new parameter has.
        AppendValue(parameter.value, parameter.type,
                    ParameterType::IsText(parameter.type) ? "" : "0", where);
    }
    return parameter;
}

}  // namespace

const char* ParameterTypeXmlName(int32_t type) {
    for (const TypeName& entry : kTypeNames) {
        if (entry.type == type) {
            return entry.name;
        }
    }
    return nullptr;
}

std::optional<std::vector<Parameter>> ParseLibraryPartXml(std::string_view xml) {
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_buffer(xml.data(), xml.size());
    if (!result) {
        const size_t offset =
            std::min(static_cast<size_t>(std::max<ptrdiff_t>(result.offset, 0)), xml.size());
        const auto line = 1 + std::count(xml.begin(), xml.begin() + offset, '\n');
        throw LibraryPartXmlError(std::string("not well-formed XML: ") + result.description() +
                                  " at line " + std::to_string(line) + " (byte " +
                                  std::to_string(offset) + ")");
    }
    const pugi::xml_node symbol = document.document_element();
    if (std::string_view(symbol.name()) != "Symbol") {
        return std::nullopt;
    }
    std::vector<Parameter> parameters;
    const pugi::xml_node list = symbol.child("ParamSection").child("Parameters");
    size_t position = 0;
    for (const pugi::xml_node& node : list.children()) {
        if (node.type() != pugi::node_element) {
            continue;
        }
        Parameter parameter = ReadParameter(node, ++position);
        for (const Parameter& earlier : parameters) {
            if (earlier.name == parameter.name) {
                throw LibraryPartXmlError("parameter " + std::to_string(position) + " (\"" +
                                          parameter.name + "\"): the name is used twice");
            }
        }
        parameters.push_back(std::move(parameter));
    }
    return parameters;
}

std::optional<std::vector<Parameter>> ReadLibraryPartXml(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw LibraryPartXmlError("cannot be opened");
    }
    const std::string content{std::istreambuf_iterator<char>(stream),
                              std::istreambuf_iterator<char>()};
    if (stream.bad()) {
        throw LibraryPartXmlError("cannot be read");
    }
    return ParseLibraryPartXml(content);
}

}  // namespace orvhost
