// ZipTestSupport.cpp: helpers shared by the ZIP library's tests.
#include "ZipTestSupport.h"

#include "common/CUtils.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace ziptest {

WString TempFolder::WideAt(const std::string& name) const { return Wide(At(name)); }

bool RunPython(const std::string& script, const std::string& archive, std::string* output) {
    // The program goes through a file beside the archive, so that no quoting is needed.
    const std::string programPath = archive + ".py";
    const std::string program =
        "import sys, zipfile, warnings\nwarnings.simplefilter('ignore')\npath = sys.argv[1]\n" +
        script + "\n";
    if (!WriteFileBytes(programPath, program))
        return false;
    const int status =
        RunCommand(std::string(ORV_PYTHON3) + " '" + programPath + "' '" + archive + "'", output);
    std::error_code ignored;
    fs::remove(programPath, ignored);
    return status == 0;
}

WString Wide(const std::string& utf8) { return CUtils::StringUTF8ToWstring(utf8); }

std::string Narrow(const WString& wide) { return CUtils::WstringToStringUTF8(wide); }

}  // namespace ziptest
