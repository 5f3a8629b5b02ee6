// Project.h: the project the emulator plays host to, as it stands on disk and in memory.
//
// A project is a folder holding project.json and a library folder of GDL library-part XML files:
//   {"format": "orvhost-project/1", "library": "Library",
//    "elements": [{"guid": "...", "type": 6, "part": "Doors/D01.xml",
//                  "parameters": {"uptodate": 2}}]}
// Library parts are the *.xml files below the library folder whose root is <Symbol>, numbered
// from 1 in the sorted order of their relative paths. An element's parameters are its part's,
// with the element's own values over them. Saving writes a temporary file beside project.json,
// flushes it and renames it over the old one.
#pragma once

#include "hostkit/GSGuid.h"
#include "hostkit/IOLocation.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace orvhost {

// A project that cannot be read or written; the message says which file and why.
class ProjectError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The value of a parameter: numbers for every type but String, texts for String. A plain
// parameter holds one of them, an array dimension1 * dimension2, row by row.
struct ParameterValue {
    std::vector<double> numbers;
    std::vector<std::u16string> texts;
    friend bool operator==(const ParameterValue&, const ParameterValue&) = default;
};

struct Parameter {
    std::string name;  // as the part file spells it
    int32_t type = 0;  // a ParameterType
    bool isArray = false;
    int32_t dimension1 = 0;  // arrays: rows
    int32_t dimension2 = 0;  // arrays: columns, 1 for a one-dimensional array
    std::u16string description;
    ParameterValue value;
    friend bool operator==(const Parameter&, const Parameter&) = default;
};

// A parameter as an element has it, read in place: the part's declaration with the value and rows
// that stand for the element. Valid while the part and the element stay as they are.
struct ParameterView {
    const Parameter* declared = nullptr;
    const ParameterValue* value = nullptr;  // the element's own, or the declaration's
    int32_t dimension1 = 0;                 // rows; the declaration's for a plain parameter
};

struct LibraryPart {
    std::string relativePath;                // "Doors/D01.xml", "/" between steps
    std::u16string documentName;             // the file name without its extension
    std::filesystem::path file;              // absolute
    std::unique_ptr<IO::Location> location;  // the file's, handed to the add-on; ours
    std::vector<Parameter> parameters;

    const Parameter* Find(const std::string& name) const;
};

struct Element {
    API_Guid guid;
    int32_t type = 0;
    std::string part;      // relative path of its library part; empty for types 1 to 3 and 8
    int32_t libIndex = 0;  // the part's index, 0 when it has none or the part is missing
    // The element's own values, by parameter name.
    std::map<std::string, ParameterValue> ownValues;
};

class Project {
public:
    // Reads the project folder. Throws ProjectError for a project.json that is missing, is not
    // JSON, has another format, or holds a malformed element (the message names it). A part file
    // that cannot be read is skipped with a line in `warnings`, as is an element whose part is
    // missing (it stays, with library index 0).
    static Project Load(const std::filesystem::path& folder, std::vector<std::string>& warnings);

    // Writes project.json atomically; throws ProjectError and leaves the old file when it fails,
    // or when a value is a number JSON cannot hold (infinite, NaN).
    void Save() const;
    // Reads the library folder again; element indices follow their parts. A part still there
    // keeps its location object, and no location handed out before goes away.
    void ReloadLibrary(std::vector<std::string>& warnings);

    const std::filesystem::path& Folder() const { return folder; }
    const std::filesystem::path& LibraryFolder() const { return libraryFolder; }

    // Parts, index i + 1 at position i.
    const std::vector<LibraryPart>& Parts() const { return parts; }
    const LibraryPart* PartAt(int32_t index) const;
    // 0 when there is no part of that relative path.
    int32_t IndexOf(const std::string& relativePath) const;

    const std::vector<Element>& Elements() const { return elements; }
    Element* FindElement(const API_Guid& guid);
    const Element* FindElement(const API_Guid& guid) const;
    // Adds an element of `type` on the part at `relativePath` (empty for none), with a new
    // identifier; throws ProjectError for an unknown type or part.
    Element& PlaceElement(int32_t type, const std::string& relativePath);
    // The element's position in Elements(); Elements().size() when there is none.
    std::size_t PositionOf(const API_Guid& guid) const;
    // Puts `element` at `position` (at the end when that is past it), or removes the element;
    // for undoing. Positions of the elements behind change.
    void InsertElement(std::size_t position, Element element);
    void RemoveElement(const API_Guid& guid);

    // The part's parameters with the element's own values over them; none for an element
    // without a part. An own value that does not fit its parameter (texts for a number, numbers
    // for a text, several values for a plain parameter, an array not of the part's columns)
    // stays the element's but the part's value stands. An own array sets the rows it makes.
    std::vector<Parameter> EffectiveParameters(const Element& element) const;
    // The same parameters without copying them, for what only reads them.
    std::vector<ParameterView> EffectiveView(const Element& element) const;
    // Takes `parameters` as the element's values: keeps as its own each value that differs from
    // the part's, and every value it already had as its own.
    void SetParameters(Element& element, const std::vector<Parameter>& parameters);

private:
    std::filesystem::path folder;
    std::filesystem::path libraryFolder;
    std::string libraryName;
    std::vector<LibraryPart> parts;
    std::vector<Element> elements;
    // Position of each element by its identifier, so that a project of many elements answers
    // the host's calls in constant time.
    std::unordered_map<API_Guid, std::size_t> elementPositions;
    mutable std::size_t lastPosition = 0;  // of the last element found
    // Locations of parts that a reload dropped: the add-on may still hold them, and a location
    // stays valid while the project is open.
    std::vector<std::unique_ptr<IO::Location>> retiredLocations;

    // Numbers each element's part and says which parts are missing.
    void ResolveElements(std::vector<std::string>& warnings);
    void IndexElements();
};

}  // namespace orvhost
