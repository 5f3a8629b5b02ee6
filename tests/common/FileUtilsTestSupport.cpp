// FileUtilsTestSupport.cpp: small helpers shared by the tests of the file and folder operations of
// CUtils.
#include "FileUtilsTestSupport.h"

#include "common/CUtils.h"

#include <filesystem>

namespace fileutilstest {

std::string Narrow(const WString& text) { return CUtils::WstringToStringUTF8(text); }

WString Wide(const std::string& text) { return CUtils::StringUTF8ToWstring(text); }

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void MakeFolder(const std::string& path) { std::filesystem::create_directories(path); }

}  // namespace fileutilstest
