// FileUtilsTestSupport.cpp: small helpers shared by the tests of the file and folder operations of
// CUtils.
#include "FileUtilsTestSupport.h"

#include <filesystem>

namespace fileutilstest {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void MakeFolder(const std::string& path) { std::filesystem::create_directories(path); }

}  // namespace fileutilstest
