// Project.cpp: loading, checking and saving the emulator's project folder.
//
// Loading only reads: a project that is refused stays on disk exactly as it was. Saving writes
// the whole project.json to a temporary file beside it and renames that over it, so a reader
// sees the old file or the new one, never a part of either.
#include "emulator/Project.h"

#include "EmulatorPort.h"
#include "PathText.h"
#include "charcode/CharCode.h"
#include "emulator/LibraryPartXml.h"
#include "hostkit/HostABI.h"
#include "hostkit/UniString.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <json/json.h>
#include <sstream>

namespace orvhost {

namespace {

constexpr const char* kFormat = "orvhost-project/1";
constexpr const char* kProjectFileName = "project.json";
constexpr const char* kDefaultLibrary = "Library";

// ---- Reading ----

// "project.json: element 3 (guid ...)" for messages about one element.
std::string ElementWhere(size_t position, const std::string& guid) {
    std::string where = std::string(kProjectFileName) + ": element " + std::to_string(position);
    if (!guid.empty()) {
        where += " (guid " + guid + ")";
    }
    return where;
}

ParameterValue ReadOwnValue(const Json::Value& json, const std::string& where,
                            const std::string& name) {
    const auto wrongKind = [&] {
        return ProjectError(where + ": parameter \"" + name +
                            "\" must be a number, a text, true, false, or an array of numbers or "
                            "of texts");
    };
    ParameterValue value;
    if (json.isBool()) {
        value.numbers.push_back(json.asBool() ? 1 : 0);
    } else if (json.isNumeric()) {
        value.numbers.push_back(json.asDouble());
    } else if (json.isString()) {
        value.texts.push_back(charcode::Utf8ToUtf16(json.asString()));
    } else if (json.isArray()) {
        for (const Json::Value& item : json) {
            if (item.isBool() && value.texts.empty()) {
                value.numbers.push_back(item.asBool() ? 1 : 0);
            } else if (item.isNumeric() && !item.isBool() && value.texts.empty()) {
                value.numbers.push_back(item.asDouble());
            } else if (item.isString() && value.numbers.empty()) {
                value.texts.push_back(charcode::Utf8ToUtf16(item.asString()));
            } else {
                throw wrongKind();
            }
        }
    } else {
        throw wrongKind();
    }
    return value;
}

Element ReadElement(const Json::Value& json, size_t position) {
    if (!json.isObject()) {
        throw ProjectError(ElementWhere(position, "") + ": must be an object");
    }
    const Json::Value& guidJson = json["guid"];
    if (guidJson.isNull()) {
        throw ProjectError(ElementWhere(position, "") + ": \"guid\" is missing");
    }
    GS::Guid guid;
    if (!guidJson.isString() || !guid.FromString(guidJson.asString())) {
        throw ProjectError(ElementWhere(position, "") + ": \"guid\" must be a text of the form "
                                                        "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX");
    }
    const std::string where = ElementWhere(position, guid.ToString());
    if (guid.IsNull()) {
        throw ProjectError(where + ": \"guid\" must not be the null identifier");
    }

    Element element;
    element.guid = guid.ToAPIGuid();
    const Json::Value& typeJson = json["type"];
    if (!typeJson.isInt() || typeJson.isBool() || typeJson.asInt() < ElementType::Wall ||
        typeJson.asInt() > ElementType::Slab) {
        throw ProjectError(where + ": \"type\" must be an integer from 1 to 8");
    }
    element.type = typeJson.asInt();

    if (ElementType::RefersToLibPart(element.type)) {
        const Json::Value& partJson = json["part"];
        if (partJson.isNull()) {
            throw ProjectError(where + ": an element of type " + std::to_string(element.type) +
                               " needs a \"part\", the relative path of its library part");
        }
        if (!partJson.isString() || partJson.asString().empty()) {
            throw ProjectError(where + ": \"part\" must be a relative path such as "
                                       "\"Doors/D01.xml\"");
        }
        element.part = partJson.asString();
    }

    const Json::Value& parametersJson = json["parameters"];
    if (!parametersJson.isNull() && !parametersJson.isObject()) {
        throw ProjectError(where + ": \"parameters\" must be an object of names and values");
    }
    for (const std::string& name : parametersJson.getMemberNames()) {
        element.ownValues[name] = ReadOwnValue(parametersJson[name], where, name);
    }
    return element;
}

// ---- The library ----

bool HasXmlExtension(const std::filesystem::path& file) {
    std::string extension = Utf8Of(file.extension());
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return extension == ".xml";
}

std::unique_ptr<IO::Location> LocationOf(const std::filesystem::path& file) {
    const std::u16string path = charcode::Utf8ToUtf16(Utf8Of(file));
    return std::make_unique<IO::Location>(
        GS::UniString(path.c_str(), static_cast<GS::USize>(path.size())));
}

std::vector<LibraryPart> ReadLibrary(const std::filesystem::path& libraryFolder,
                                     const std::string& libraryName,
                                     std::vector<std::string>& warnings) {
    std::vector<LibraryPart> parts;
    std::error_code error;
    if (!std::filesystem::is_directory(libraryFolder, error)) {
        warnings.push_back(libraryName + ": the library folder " + Utf8Of(libraryFolder) +
                           " does not exist; the library is empty");
        return parts;
    }

    std::vector<std::pair<std::string, std::filesystem::path>> files;
    std::filesystem::recursive_directory_iterator walker(
        libraryFolder, std::filesystem::directory_options::skip_permission_denied, error);
    for (; !error && walker != std::filesystem::recursive_directory_iterator();
         walker.increment(error)) {
        std::error_code kindError;
        if (!walker->is_regular_file(kindError) || !HasXmlExtension(walker->path())) {
            continue;
        }
        files.emplace_back(GenericUtf8Of(walker->path().lexically_relative(libraryFolder)),
                           walker->path());
    }
    if (error) {
        warnings.push_back(libraryName +
                           ": the library folder cannot be read whole: " + error.message());
    }
    // Byte order of the relative paths: std::string compares as unsigned char.
    std::sort(files.begin(), files.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });

    for (auto& [relativePath, file] : files) {
        std::optional<std::vector<Parameter>> parameters;
        try {
            parameters = ReadLibraryPartXml(file);
        } catch (const LibraryPartXmlError& e) {
            warnings.push_back(libraryName + "/" + relativePath + ": " + e.what() +
                               "; the file is skipped");
            continue;
        }
        if (!parameters) {
            continue;  // XML, but not a library part
        }
        LibraryPart part;
        part.relativePath = relativePath;
        part.documentName = charcode::Utf8ToUtf16(Utf8Of(file.stem()));
        part.file = file;
        part.location = LocationOf(file);
        part.parameters = std::move(*parameters);
        parts.push_back(std::move(part));
    }
    return parts;
}

// Whether `value` can stand for `parameter`; sets the rows it makes for an array.
bool ValueFits(const Parameter& parameter, const ParameterValue& value, int32_t& rows) {
    if (parameter.type == ParameterType::Separator || parameter.type == ParameterType::Title) {
        return false;
    }
    const bool isText = ParameterType::IsText(parameter.type);
    const size_t count = isText ? value.texts.size() : value.numbers.size();
    if ((isText ? value.numbers.size() : value.texts.size()) != 0 || count == 0) {
        return false;
    }
    if (!parameter.isArray) {
        rows = 0;
        return count == 1;
    }
    const size_t columns = static_cast<size_t>(std::max(parameter.dimension2, 1));
    if (count % columns != 0 || count / columns > static_cast<size_t>(INT32_MAX)) {
        return false;
    }
    rows = static_cast<int32_t>(count / columns);
    return true;
}

// Calls `visit` with each of the part's parameters as the element has it.
template <typename Visit>
void VisitEffective(const LibraryPart& part, const Element& element, Visit&& visit) {
    for (const Parameter& parameter : part.parameters) {
        ParameterView view{&parameter, &parameter.value, parameter.dimension1};
        const auto own = element.ownValues.find(parameter.name);
        int32_t rows = 0;
        // An own value of the wrong kind or shape is kept in the project but cannot stand for
        // the parameter; the part's value does.
        if (own != element.ownValues.end() && ValueFits(parameter, own->second, rows)) {
            view.value = &own->second;
            if (parameter.isArray) {
                view.dimension1 = rows;
            }
        }
        visit(view);
    }
}

// ---- Writing ----

void WriteJsonString(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                out += escaped;
            } else {
                out += c;
            }
        }
    }
    out += '"';
}

// The shortest text that reads back as the same double; whole numbers without a fraction.
void WriteJsonNumber(std::string& out, double value) {
    char buffer[64];
    std::to_chars_result result;
    if (value == std::trunc(value) && std::fabs(value) < 9007199254740992.0) {
        result = std::to_chars(buffer, buffer + sizeof buffer, static_cast<int64_t>(value));
    } else {
        result = std::to_chars(buffer, buffer + sizeof buffer, value);
    }
    out.append(buffer, result.ptr);
}

void WriteOwnValue(std::string& out, const ParameterValue& value, bool asArray) {
    const size_t count = value.numbers.size() + value.texts.size();
    asArray = asArray || count != 1;
    if (asArray) {
        out += '[';
    }
    for (size_t i = 0; i < value.numbers.size(); ++i) {
        out += i == 0 ? "" : ", ";
        WriteJsonNumber(out, value.numbers[i]);
    }
    for (size_t i = 0; i < value.texts.size(); ++i) {
        out += i == 0 && value.numbers.empty() ? "" : ", ";
        WriteJsonString(out, charcode::Utf16ToUtf8(value.texts[i]));
    }
    if (asArray) {
        out += ']';
    }
}

}  // namespace

const Parameter* LibraryPart::Find(const std::string& name) const {
    for (const Parameter& parameter : parameters) {
        if (parameter.name == name) {
            return &parameter;
        }
    }
    return nullptr;
}

Project Project::Load(const std::filesystem::path& folder, std::vector<std::string>& warnings) {
    Project project;
    project.folder = std::filesystem::absolute(folder).lexically_normal();
    if (!project.folder.has_filename()) {
        project.folder = project.folder.parent_path();  // no trailing separator
    }
    const std::string text = port::ReadWholeFile(project.folder / kProjectFileName);

    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder.settings_["skipBom"] = true;  // editors on Windows like to write one
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        while (!errors.empty() && (errors.back() == '\n' || errors.back() == ' ')) {
            errors.pop_back();
        }
        throw ProjectError(std::string(kProjectFileName) + ": not valid JSON: " + errors);
    }
    if (!root.isObject()) {
        throw ProjectError(std::string(kProjectFileName) + ": must hold a JSON object");
    }
    if (const Json::Value& format = root["format"];
        !format.isString() || format.asString() != kFormat) {
        std::string message =
            std::string(kProjectFileName) + ": \"format\" must be \"" + kFormat + "\"";
        if (format.isString()) {
            message += ", not \"" + format.asString() + "\"";
        } else if (format.isNull()) {
            message += ", and it is missing";
        }
        throw ProjectError(message);
    }

    project.libraryName = kDefaultLibrary;
    if (const Json::Value& library = root["library"]; !library.isNull()) {
        // A root of any kind would lead out of the project: "/etc", and on Windows "C:x" or "\\x".
        if (!library.isString() || library.asString().empty() ||
            PathOfUtf8(library.asString()).has_root_path()) {
            throw ProjectError(std::string(kProjectFileName) +
                               ": \"library\" must be the name of a folder inside the project");
        }
        project.libraryName = library.asString();
    }
    project.libraryFolder = (project.folder / PathOfUtf8(project.libraryName)).lexically_normal();

    const Json::Value& elements = root["elements"];
    if (!elements.isNull() && !elements.isArray()) {
        throw ProjectError(std::string(kProjectFileName) + ": \"elements\" must be an array");
    }
    std::map<std::string, size_t> positions;  // by identifier, to find one used twice
    for (Json::ArrayIndex i = 0; i < elements.size(); ++i) {
        Element element = ReadElement(elements[i], i + 1);
        const std::string guid = GS::Guid(element.guid).ToString();
        if (const auto [earlier, isNew] = positions.emplace(guid, i + 1); !isNew) {
            throw ProjectError(ElementWhere(i + 1, guid) +
                               ": the guid is already used by element " +
                               std::to_string(earlier->second));
        }
        project.elements.push_back(std::move(element));
    }

    project.IndexElements();
    project.parts = ReadLibrary(project.libraryFolder, project.libraryName, warnings);
    project.ResolveElements(warnings);
    return project;
}

void Project::ResolveElements(std::vector<std::string>& warnings) {
    for (size_t i = 0; i < elements.size(); ++i) {
        Element& element = elements[i];
        element.libIndex = element.part.empty() ? 0 : IndexOf(element.part);
        if (!element.part.empty() && element.libIndex == 0) {
            warnings.push_back(ElementWhere(i + 1, GS::Guid(element.guid).ToString()) +
                               ": its library part \"" + element.part +
                               "\" is missing or could not be read; the element is kept without "
                               "one");
        }
    }
}

void Project::ReloadLibrary(std::vector<std::string>& warnings) {
    std::vector<LibraryPart> fresh = ReadLibrary(libraryFolder, libraryName, warnings);
    for (LibraryPart& part : fresh) {
        for (LibraryPart& old : parts) {
            if (old.location && old.relativePath == part.relativePath) {
                part.location = std::move(old.location);
                break;
            }
        }
    }
    for (LibraryPart& old : parts) {
        if (old.location) {
            retiredLocations.push_back(std::move(old.location));
        }
    }
    parts = std::move(fresh);
    ResolveElements(warnings);
}

void Project::Save() const {
    std::string out = "{\n  \"format\": ";
    WriteJsonString(out, kFormat);
    out += ",\n  \"library\": ";
    WriteJsonString(out, libraryName);
    out += ",\n  \"elements\": [";
    for (size_t i = 0; i < elements.size(); ++i) {
        const Element& element = elements[i];
        out += i == 0 ? "\n" : ",\n";
        out += "    {\n      \"guid\": ";
        WriteJsonString(out, GS::Guid(element.guid).ToString());
        out += ",\n      \"type\": " + std::to_string(element.type);
        if (!element.part.empty()) {
            out += ",\n      \"part\": ";
            WriteJsonString(out, element.part);
        }
        out += ",\n      \"parameters\": {";
        const LibraryPart* part = PartAt(element.libIndex);
        bool first = true;
        for (const auto& [name, value] : element.ownValues) {
            // JSON has no infinity or NaN; better no save than a project.json that cannot load.
            for (const double number : value.numbers) {
                if (!std::isfinite(number)) {
                    throw ProjectError("cannot save " + Utf8Of(folder / kProjectFileName) + ": " +
                                       ElementWhere(i + 1, GS::Guid(element.guid).ToString()) +
                                       ": parameter \"" + name + "\" holds " +
                                       (std::isnan(number) ? "NaN" : "an infinite number") +
                                       ", which JSON cannot hold");
                }
            }
            out += first ? "\n        " : ",\n        ";
            first = false;
            WriteJsonString(out, name);
            out += ": ";
            const Parameter* declared = part ? part->Find(name) : nullptr;
            WriteOwnValue(out, value, declared && declared->isArray);
        }
        out += first ? "}\n    }" : "\n      }\n    }";
    }
    out += elements.empty() ? "]\n}\n" : "\n  ]\n}\n";
    port::ReplaceFileAtomically(folder / kProjectFileName, out);
}

const LibraryPart* Project::PartAt(int32_t index) const {
    if (index < 1 || static_cast<size_t>(index) > parts.size()) {
        return nullptr;
    }
    return &parts[static_cast<size_t>(index - 1)];
}

int32_t Project::IndexOf(const std::string& relativePath) const {
    // Parts stand sorted by relative path.
    const auto found = std::lower_bound(
        parts.begin(), parts.end(), relativePath,
        [](const LibraryPart& part, const std::string& path) { return part.relativePath < path; });
    if (found == parts.end() || found->relativePath != relativePath) {
        return 0;
    }
    return static_cast<int32_t>(found - parts.begin()) + 1;
}

void Project::IndexElements() {
    elementPositions.clear();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        elementPositions[elements[i].guid] = i;
    }
}

Element* Project::FindElement(const API_Guid& guid) {
    const std::size_t position = PositionOf(guid);
    return position < elements.size() ? &elements[position] : nullptr;
}

std::size_t Project::PositionOf(const API_Guid& guid) const {
    // The add-on asks about one element several times in a row; the element at the last answer's
    // position is checked first. Identifiers are unique, so a match is the element wherever the
    // order has moved since.
    if (lastPosition < elements.size() && elements[lastPosition].guid == guid) {
        return lastPosition;
    }
    const auto found = elementPositions.find(guid);
    if (found == elementPositions.end()) {
        return elements.size();
    }
    lastPosition = found->second;
    return lastPosition;
}

void Project::InsertElement(std::size_t position, Element element) {
    position = std::min(position, elements.size());
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(position), std::move(element));
    IndexElements();
}

void Project::RemoveElement(const API_Guid& guid) {
    const std::size_t position = PositionOf(guid);
    if (position < elements.size()) {
        elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(position));
        IndexElements();
    }
}

const Element* Project::FindElement(const API_Guid& guid) const {
    return const_cast<Project*>(this)->FindElement(guid);
}

Element& Project::PlaceElement(int32_t type, const std::string& relativePath) {
    if (type < ElementType::Wall || type > ElementType::Slab) {
        throw ProjectError("cannot place an element of type " + std::to_string(type) +
                           ": the type must be from 1 to 8");
    }
    int32_t index = 0;
    if (ElementType::RefersToLibPart(type)) {
        if (relativePath.empty()) {
            throw ProjectError("cannot place an element of type " + std::to_string(type) +
                               ": it needs a library part");
        }
        index = IndexOf(relativePath);
        if (index == 0) {
            throw ProjectError("cannot place an element on \"" + relativePath +
                               "\": the library has no such part");
        }
    } else if (!relativePath.empty()) {
        throw ProjectError("cannot place an element of type " + std::to_string(type) + " on \"" +
                           relativePath + "\": only types 4 to 7 have a library part");
    }

    Element element;
    do {
        element.guid = GS::Guid::Generate().ToAPIGuid();
    } while (GS::Guid(element.guid).IsNull() || FindElement(element.guid) != nullptr);
    element.type = type;
    element.part = relativePath;
    element.libIndex = index;
    elementPositions[element.guid] = elements.size();
    elements.push_back(std::move(element));
    return elements.back();
}

std::vector<ParameterView> Project::EffectiveView(const Element& element) const {
    std::vector<ParameterView> views;
    if (const LibraryPart* part = PartAt(element.libIndex)) {
        views.reserve(part->parameters.size());
        VisitEffective(*part, element, [&](const ParameterView& view) { views.push_back(view); });
    }
    return views;
}

std::vector<Parameter> Project::EffectiveParameters(const Element& element) const {
    std::vector<Parameter> parameters;
    if (const LibraryPart* part = PartAt(element.libIndex)) {
        parameters.reserve(part->parameters.size());
        VisitEffective(*part, element, [&](const ParameterView& view) {
            const Parameter& declared = *view.declared;
            // Field by field, so that the value is copied once: the one that stands.
            parameters.push_back(Parameter{declared.name, declared.type, declared.isArray,
                                           view.dimension1, declared.dimension2,
                                           declared.description, *view.value});
        });
    }
    return parameters;
}

void Project::SetParameters(Element& element, const std::vector<Parameter>& parameters) {
    const LibraryPart* part = PartAt(element.libIndex);
    for (const Parameter& parameter : parameters) {
        const auto own = element.ownValues.find(parameter.name);
        if (own != element.ownValues.end()) {
            own->second = parameter.value;
            continue;
        }
        const Parameter* declared = part ? part->Find(parameter.name) : nullptr;
        if (declared != nullptr && declared->value == parameter.value) {
            continue;  // the part's value; the element need not keep it
        }
        element.ownValues.emplace(parameter.name, parameter.value);
    }
}

}  // namespace orvhost
