// Unzip.h: the extraction loop shared by CUtils::UnzipFile and the orvzip tool.
#pragma once

#include "common/WideString.h"
#include "zip/ZipFile.h"

#include <vector>

// Extracts every file member of the opened `zip` into `targetDirectory` (emptied first with
// `cleanTarget`). Members whose path would leave the target are logged and passed over; each file
// is written beside its place and renamed into it once read and verified. False on a logged
// failure to clean or make the target; archive, member and file failures throw OVException (a
// member whose folder cannot be made fails as its file's open). The logged message of each member
// refused is added to `passedOver` when given.
bool UnzipArchive(ZipFile& zip, const WString& targetDirectory, bool cleanTarget,
                  std::vector<WString>* passedOver = nullptr);
