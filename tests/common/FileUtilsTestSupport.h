// FileUtilsTestSupport.h: small helpers shared by the tests of the file and folder operations of
// CUtils (FolderTest, TempFileTest, RenameTest, FileContentsTest).
#pragma once

#include <string>

namespace fileutilstest {

bool Contains(const std::string& text, const std::string& part);
// Makes the folder and any missing folder above it.
void MakeFolder(const std::string& path);

}  // namespace fileutilstest
