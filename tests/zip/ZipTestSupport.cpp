// ZipTestSupport.cpp: helpers shared by the ZIP library's tests.
#include "ZipTestSupport.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace ziptest {

std::string Fixture(const std::string& name) {
    const std::string path = std::string(ORV_ZIP_FIXTURES) + "/" + name;
    const std::string bytes = ReadFileBytes(path);
    EXPECT_FALSE(bytes.empty()) << "no fixture " << path;
    return bytes;
}

std::string CopyFixture(const std::string& name, const TempFolder& folder) {
    const std::string path = folder.At(name);
    EXPECT_TRUE(WriteFileBytes(path, Fixture(name))) << path;
    return path;
}

bool RunPython(const std::string& script, const std::string& archive, std::string* output) {
    // The program goes through a file beside the archive, so that no quoting is needed.
    const std::string programPath = archive + ".py";
    const std::string program =
        "import sys, zipfile, warnings\nwarnings.simplefilter('ignore')\npath = sys.argv[1]\n" +
        script + "\n";
    if (!WriteFileBytes(programPath, program))
        return false;
    const int status =
        RunCommand(Quote(ORV_PYTHON3) + " " + Quote(programPath) + " " + Quote(archive), output);
    std::error_code ignored;
    fs::remove(programPath, ignored);
    return status == 0;
}

}  // namespace ziptest
