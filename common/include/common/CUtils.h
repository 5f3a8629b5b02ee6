// CUtils.h: the maker's static operations on files, paths, text and time.
//
// Paths and texts are wide strings (UTF-16); narrow strings hold UTF-8 unless said otherwise.
// Operations report by bool, empty text or an empty list, and by an entry in the log (source
// "src/utils"); only UnzipFile throws, with the archive's and the files' failures. Two guards stop
// the whole process rather than let a near-empty path reach a delete or a listing:
// RemoveDirectoryOV (exit status 18) and GetSubdirectoriesInDirectory (exit status 17). Each logs
// where it says so, shows an alert, and stops at once: no exit handler or static destructor runs.
//
// Both "/" and "\" are read as separators; the one written is the platform's ("/" on Linux).
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

class CUtils {
public:
    // ---- Files, folders and the running module ----

    // Makes every missing folder of `path` (of its folder part with `stripFileName`). Reports true
    // even when a folder could not be made: a caller learns of that at its next step.
    static bool CreateDirectories(WString path, bool stripFileName);
    // A new empty file in the temporary folder, named by the last step of `nameHint`, with a
    // random 16-character prefix when that name is taken (by a link too: the file is never made
    // through one). Empty on failure, or when the temporary folder is refused.
    static WString CreateTempFileOV(WString nameHint);
    // The temporary folder, ending in a separator, made if missing: the system temporary folder's
    // "Orvanta" subfolder, on Linux "Orvanta-<user id>", private to the user (mode 0700). Empty,
    // with a log entry, when it is not such a folder (another user's, open to others, a link).
    static WString GetTempDirectory();
    // Deletes the files (and with `recursive` the subfolders) of `path`, then the folder itself
    // unless `keepDirectory`. Names beginning with "." are left alone. Always true; a path of
    // fewer than 4 characters stops the process instead.
    static bool RemoveDirectoryOV(WString path, bool removeContents, bool recursive,
                                  bool keepDirectory);
    // Renames a file or folder; with `overwrite` an existing target is removed first. A move
    // across file systems copies and removes.
    static bool RenameFileOV(const WString& from, const WString& to, bool overwrite);
    // Puts the file `from` in the place of the file `to` in one step, from another file system
    // too: `to` is the old file, whole, until the new one stands there. False with a log entry
    // when that fails, and then both files are as they were.
    static bool ReplaceFileOV(const WString& from, const WString& to);
    // "directory/name" of each subfolder, in the file system's order; names beginning with "."
    // are left out. A path of fewer than 4 characters stops the process.
    static std::vector<WString> GetSubdirectoriesInDirectory(const WString& directory);
    // "directory/name" of each entry that is not a folder, sorted; "." names left out.
    static std::vector<WString> GetFilesInDirectory(const WString& directory);
    static bool DeleteFileOV(WString path);
    // True for a file and for a folder.
    static bool FileExists(const WString& path);
    static bool IsDirectory(WString path);
    // The text after the last separator; empty when there is none.
    static WString GetFileName(const WString& path);
    static WString GetPathSeparators();
    static WString GetPathSeparator();
    static bool IsPathSeparator(char16_t c);
    // The one hook through which a path reaches a file stream: the path as the platform's file
    // calls take it (UTF-8 on Linux, UTF-16 on Windows). A path the system cannot name exactly
    // (a lone surrogate, a null character) is the empty path, which every file call refuses.
    static std::filesystem::path ToFileSystemPath(const WString& path);
    // Opens `path` for output, which makes it or empties it; true when it exists afterwards.
    static bool TouchFile(WString path);
    // Writes the bytes as they are. True when the file could be opened.
    static bool WriteStringToFile(const WString& path, const std::string& bytes, bool append);
    // Appends text with the platform's line ends. False when it could not be written.
    static bool AppendStringToFile(const WString& path, const std::string& text);
    // The file's UTF-8 text as wide text; a byte-order mark is kept as U+FEFF. Reading stops at
    // the first bytes that are not UTF-8. Empty when the file cannot be opened.
    static WString ReadTextFile(const WString& path);
    // The full path of the module (add-on or program) this code is linked into.
    static WString GetModulePath();
    static WString GetModuleDirectory();
    // Makes GetModulePath answer `path`; empty restores the module's own path.
    static void SetModulePathOverride(const WString& path);
    // Microseconds since 1 January 1601 UTC, from the platform hooks' clock if one is set.
    static uint64_t GetTimeMicroseconds();
    // Extracts every file member of the archive into `targetDirectory` (emptied first with
    // `cleanTarget`). Defined with the ZIP library, which a caller links: the common library
    // cannot depend on it. Archive, member and file failures throw OVException (a member's folder
    // that cannot be made is logged, and its file's open then throws); a target that cannot be
    // removed or made is logged and gives false.
    static bool UnzipFile(const WString& archivePath, const WString& targetDirectory,
                          bool cleanTarget);
    // A blocking alert with an OK button. `flags`: 2 adds the information icon, 8 the warning
    // icon; other bits add nothing.
    static void ShowMessageBox(void* owner, WString caption, WString text, uint32_t flags);

    // ---- Text ----

    static constexpr char16_t kTrimChars[] = u" \r\n\t";
    static constexpr std::string_view kRandomAlphabet =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    static constexpr char kConversionFailureFile[] = "error_string_log.txt";
    // Czech letters, as code page 1250 byte values widened (but for S and z with caron), their
    // plain letters and their classes, position by position. Kept with the library; nothing in the
    // add-on reads them.
    static constexpr std::u16string_view kAccentedLetters =
        u"\u00C1\u00C9\u00CC\u00CD\u00D3\u00DA\u00D9\u0160\u00D8\u008D\u00CF\u00C8\u00D2"
        u"\u00E1\u00E9\u00EC\u00ED\u00F3\u00FA\u00F9\u0161\u00F8\u009D\u00EF\u00E8\u00F2\u017E";
    static constexpr std::u16string_view kPlainLetters = u"AEEIOUUSRTDCNaeeiouusrtdcnz";
    static constexpr std::u16string_view kLetterClasses = u"112111222222211211122222222";

    // Converts up to the first invalid sequence; a failure is logged as an error and the part in
    // front of it returned.
    static WString StringUTF8ToWstring(const std::string& text);
    // Converts up to the first lone surrogate; a failure goes to "error_string_log.txt" (not to
    // the log, which converts through this) and the part in front of it is returned.
    static std::string WstringToStringUTF8(const WString& text);
    // Appends a line to "error_string_log.txt" in the current folder, or to standard error.
    static void LogErrorStringToFile(const std::string& text);

    static WString Trim(const WString& text, const WString& chars);
    // Items between delimiters; a delimiter at the very end gives no empty last item.
    static std::vector<WString> Split(const WString& text, char16_t delimiter, bool skipEmpty,
                                      bool trimItems);
    // Only ASCII letters change case.
    static WString ToLower(const WString& text);
    static WString ToUpper(const WString& text);
    // The first difference of lower-cased units (a minus b); else -1, 0 or 1 by length.
    static int32_t CompareNoCase(const WString& a, const WString& b);
    // Replaces every occurrence in one pass; the replacement is never searched again.
    static int32_t ReplaceAll(std::string& text, std::string pattern, std::string replacement);
    static int32_t ReplaceAll(WString& text, WString pattern, WString replacement);
    // A decimal number, leading blanks and sign taken, text behind it ignored. `base` is accepted
    // and ignored: base 10 always applies. `fallback` when no number can be read or it is out of
    // the 64-bit range.
    static int64_t ParseInt(const char* text, int32_t base, int64_t fallback);
    static int64_t ParseIntW(const WString& text, int32_t base, int64_t fallback);
    // `length` (at least 1) characters from the first `alphabetSize` of kRandomAlphabet (all 62
    // when out of range). For file names; no security claim.
    static std::string RandomString(int32_t length, int32_t alphabetSize);
    static WString RandomWstring(int32_t length, int32_t alphabetSize);
    // The standard CRC-32 (reversed polynomial 0xEDB88320) of the bytes. Defined with Crc32 in the
    // streams library, since the common library cannot depend on streams.
    static uint32_t Crc32OfString(const std::string& bytes);

    // ---- Byte order, byte by byte: unaligned pointers are fine; null does nothing or gives 0 ----

    static void WriteLE64(uint8_t* target, uint64_t value);
    static void WriteLE32(uint8_t* target, uint32_t value);
    static void WriteLE16(uint8_t* target, uint16_t value);
    static void WriteBE32(uint8_t* target, uint32_t value);
    static uint64_t ReadLE64(const uint8_t* source);
    static uint32_t ReadLE32(const uint8_t* source);
    static uint16_t ReadLE16(const uint8_t* source);
    static uint32_t ReadBE32(const uint8_t* source);
};
