// ProjectTestSupport.cpp: fresh project folders and the sample project for the project model's
// tests.
#include "ProjectTestSupport.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace orvhost::test {

const char* const kDoorGuid = "0A1B2C3D-0001-4000-8000-000000000001";
const char* const kChairGuid = "0A1B2C3D-0002-4000-8000-000000000002";
const char* const kWallGuid = "0A1B2C3D-0003-4000-8000-000000000003";

std::string ReadFileBytes(const std::filesystem::path& file) {
    return testfiles::ReadFileBytes(testfiles::Utf8Of(file));
}

bool WriteFileBytes(const std::filesystem::path& file, const std::string& bytes) {
    return testfiles::WriteFileBytes(testfiles::Utf8Of(file), bytes);
}

std::string SymbolXml(const std::string& parameters) {
    return testfiles::GdlPartXml(
        {parameters}, "<Ancestry><MainGUID>1</MainGUID></Ancestry>\n"
                      "<Script_3D SectVersion=\"20\"><![CDATA[BLOCK 1, 1, 1]]></Script_3D>\n");
}

std::string ParameterXml(const std::string& type, const std::string& name, const std::string& value,
                         const std::string& description, bool cdata) {
    return testfiles::GdlParameterXml(type, name, value, description, cdata, "<Fix/>");
}

std::string StringParameterXml(const std::string& name, const std::string& text,
                               const std::string& description) {
    return ParameterXml("String", name, "\"" + text + "\"", description, true);
}

std::string ProjectJson(const std::vector<std::string>& elements, const std::string& library) {
    std::string json =
        "{\"format\": \"orvhost-project/1\", \"library\": \"" + library + "\",\n \"elements\": [";
    for (size_t i = 0; i < elements.size(); ++i) {
        json += (i == 0 ? "\n  " : ",\n  ") + elements[i];
    }
    return json + "]}\n";
}

std::map<std::string, Entry> Snapshot(const std::filesystem::path& folder) {
    std::map<std::string, Entry> entries;
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder)) {
        const std::filesystem::file_status status = item.symlink_status();
        Entry entry;
        entry.mtimeNanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     item.last_write_time().time_since_epoch())
                                     .count();
        entry.mode = static_cast<uint32_t>(status.type()) << 16 |
                     static_cast<uint32_t>(status.permissions());
        if (status.type() == std::filesystem::file_type::regular) {
            entry.content = ReadFileBytes(item.path());
        }
        const std::u8string name = item.path().lexically_relative(folder).generic_u8string();
        entries[std::string(name.begin(), name.end())] = entry;
    }
    return entries;
}

void MakeSampleProject(const std::filesystem::path& folder) {
    const std::filesystem::path library = folder / "Library";
    WriteFileBytes(
        library / "Doors/D01.xml",
        SymbolXml(ParameterXml("Length", "A", "0.9", "Width") +
                  ParameterXml("Length", "B", "2.1", "Height") +
                  "<Title Name=\"gs_title\">\n<Description><![CDATA[\"Door\"]]>"
                  "</Description>\n</Title>\n" +
                  ParameterXml("Integer", "uptodate", "0", "Up to date") +
                  StringParameterXml("check_url", "http://127.0.0.1/check", "Check URL") +
                  StringParameterXml("version", "1.0", "Version") +
                  ParameterXml("Boolean", "glazed", "1", "Glazed")));
    WriteFileBytes(library / "Doors/D02.xml", SymbolXml(ParameterXml("Length", "A", "1.2") +
                                                        ParameterXml("Integer", "uptodate", "0")));
    WriteFileBytes(library / "Objects/Chair.xml",
                   SymbolXml(ParameterXml("Length", "A", "0.45") +
                             StringParameterXml("version", "2.3", "Version")));
    WriteFileBytes(library / "Lamps/L1.xml", SymbolXml(ParameterXml("Intensity", "power", "60")));
    WriteFileBytes(library / "Objects/catalog.xml",
                   "<?xml version=\"1.0\"?>\n<Catalog><Item Name=\"Chair\"/></Catalog>\n");
    WriteFileBytes(library / "readme.txt", "not a library part\n");
    WriteFileBytes(
        folder / "project.json",
        ProjectJson({std::string("{\"guid\": \"") + kDoorGuid +
                         "\", \"type\": 5, \"part\": \"Doors/D01.xml\", \"parameters\": "
                         "{\"A\": 1.0, \"uptodate\": 2, \"version\": \"1.1\", \"extra\": 7}}",
                     std::string("{\"guid\": \"") + kChairGuid +
                         "\", \"type\": 6, \"part\": \"Objects/Chair.xml\"}",
                     std::string("{\"guid\": \"") + kWallGuid +
                         "\", \"type\": 1, \"parameters\": {\"height\": 3}}"}));
}

}  // namespace orvhost::test
