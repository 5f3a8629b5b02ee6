// ProjectTestSupport.h: fresh project folders, library-part XML and project.json text for the
// project model's tests.
#pragma once

#include "GdlPartXml.h"
#include "TestFiles.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace orvhost::test {

using testfiles::ReadFileBytes;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;

// The same on the file system's paths, which are not narrow text on Windows.
std::string ReadFileBytes(const std::filesystem::path& file);
bool WriteFileBytes(const std::filesystem::path& file, const std::string& bytes);

// The parts of these tests carry what exported parts do besides their parameters, which the
// reader must pass over: an ancestry and a 3D script in the part, a <Fix/> flag in each parameter.
// A library part with the parameter elements given (see testfiles::GdlPartXml).
std::string SymbolXml(const std::string& parameters);
// One parameter element (see testfiles::GdlParameterXml).
std::string ParameterXml(const std::string& type, const std::string& name, const std::string& value,
                         const std::string& description = "", bool cdata = false);
// A String parameter with its value quoted in CDATA, as the XML form writes it.
std::string StringParameterXml(const std::string& name, const std::string& text,
                               const std::string& description = "");

// A project.json of format orvhost-project/1 with the elements' JSON objects given.
std::string ProjectJson(const std::vector<std::string>& elements,
                        const std::string& library = "Library");

// Every file and folder below `folder`: bytes (files), modification time, kind and permissions.
struct Entry {
    std::string content;
    int64_t mtimeNanoseconds = 0;
    uint32_t mode = 0;
    friend bool operator==(const Entry&, const Entry&) = default;
};
std::map<std::string, Entry> Snapshot(const std::filesystem::path& folder);

// The sample project: a library of four parts (Doors/D01.xml, Doors/D02.xml, Lamps/L1.xml,
// Objects/Chair.xml in that order), an XML file that is not a part, a text file, and three
// elements: a door on D01 with own values, an object on Chair.xml, a wall.
extern const char* const kDoorGuid;
extern const char* const kChairGuid;
extern const char* const kWallGuid;
void MakeSampleProject(const std::filesystem::path& folder);

}  // namespace orvhost::test
