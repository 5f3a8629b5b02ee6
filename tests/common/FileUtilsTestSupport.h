// FileUtilsTestSupport.h: small helpers shared by the tests of the file and folder operations of
// CUtils (FolderTest, TempFileTest, RenameTest, FileContentsTest).
#pragma once

#include "common/WideString.h"

#include <string>

namespace fileutilstest {

// A path or text as UTF-8, and back.
std::string Narrow(const WString& text);
WString Wide(const std::string& text);
bool Contains(const std::string& text, const std::string& part);
// Makes the folder and any missing folder above it.
void MakeFolder(const std::string& path);

}  // namespace fileutilstest
