// Unzip.h: the extraction loop shared by CUtils::UnzipFile and the orvzip tool, and the checks it
// makes, for tools that judge an archive the way an update would unpack it.
#pragma once

#include "common/WideString.h"
#include "streams/OutputStream.h"
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

// Whether a member at `memberPath` ("folder/name", either separator) stays inside the folder it is
// extracted into: no leading separator, no drive prefix such as "C:", and no ".." step. The
// extraction passes over every member for which this is false.
bool IsContainedMemberPath(const WString& memberPath);

// Reads `member`, a reader of member `memberIndex` of `zip` that promised `expectedSize` bytes,
// to its end into `sink`, then checks what the reader leaves unchecked for a plain member: the
// length and, where the archive keeps one, the CRC, against the directory. Throws OVException
// (kZipVerificationFailed, or the reader's own) as the extraction would fail on that member.
void ReadCheckedMember(ZipFile& zip, int32_t memberIndex, InputStream& member,
                       uint64_t expectedSize, OutputStream& sink);
