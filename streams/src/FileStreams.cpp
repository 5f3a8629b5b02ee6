// FileStreams.cpp: input and output streams over the C library's buffered files.
#include "streams/FileStreams.h"

#include "FilePort.h"
#include "common/CUtils.h"
#include "common/OVException.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace {

constexpr char kNotOpened[] = "File input stream is not opened";
constexpr char kOutputClosed[] = "File output stream already closed";

}  // namespace

FileInputStream::FileInputStream(const WString& path) { open(path, false); }

FileInputStream::~FileInputStream() {
    if (file != nullptr) {
        FileInputStream::close();
    }
}

void FileInputStream::open(const WString& path, bool createIfMissing) {
    if (file != nullptr) {
        throw OVException("File input stream is already opened");
    }
    const bool known = fileport::SizeOf(path, size);
    if (!known && !createIfMissing) {
        const int32_t code = errno;
        throw OVException(code, "Failed to read file info");
    }
    // A missing file is created empty, and its size stays as it was.
    file = fileport::Open(path,
                          known ? fileport::OpenMode::kRead : fileport::OpenMode::kCreateReadWrite);
    if (file == nullptr) {
        const int32_t code = errno;
        throw OVException(code,
                          "Failed to open file input stream" + CUtils::WstringToStringUTF8(path));
    }
}

int64_t FileInputStream::read(uint8_t* buffer, int64_t length) {
    if (file == nullptr) {
        throw OVException(kNotOpened);
    }
    const size_t got = std::fread(buffer, 1, static_cast<size_t>(length), file);
    if (got > 0) {
        position += static_cast<int64_t>(got);
        return static_cast<int64_t>(got);
    }
    if (std::feof(file)) {
        return -1;
    }
    if (length == 0) {
        return 0;
    }
    throw OVException("File input stream read error" + std::to_string(std::ferror(file)));
}

void FileInputStream::close() {
    if (file != nullptr) {
        std::fclose(file);
    }
    file = nullptr;
}

int64_t FileInputStream::moveTo(int64_t target, const char* failure) {
    const int64_t limited = std::clamp<int64_t>(target, 0, size);
    if (!fileport::Seek(file, limited, SEEK_SET)) {
        throw OVException(failure + std::to_string(std::ferror(file)));
    }
    position = limited;
    return position;
}

int64_t FileInputStream::skip(int64_t count) {
    if (file == nullptr) {
        throw OVException(kNotOpened);
    }
    // Saturating, so that the smallest count of reset lands on the lower limit.
    int64_t target = 0;
    if (__builtin_add_overflow(position, count, &target)) {
        target = count < 0 ? INT64_MIN : INT64_MAX;
    }
    return moveTo(target, "File input stream skip failed ");
}

int64_t FileInputStream::available() {
    if (file == nullptr) {
        throw OVException(kNotOpened);
    }
    return size - position;
}

void FileInputStream::reset() { skip(INT64_MIN); }

int64_t FileInputStream::seek(int64_t position) {
    // A closed stream refuses rather than hand the C library a null file.
    if (file == nullptr) {
        throw OVException(kNotOpened);
    }
    return moveTo(position, "File input stream seek failed ");
}

FileOutputStream::FileOutputStream(const WString& path, int32_t mode) {
    if (mode == kAppendExisting) {
        file = fileport::Open(path, fileport::OpenMode::kReadWrite);
        if (file != nullptr) {
            fileport::Seek(file, 0, SEEK_END);
        }
    } else {
        // A new file is made exclusively: a file or a link that leads nowhere is refused by the
        // open rather than written over or through.
        file = fileport::Open(path, mode == kCreateNew ? fileport::OpenMode::kCreateExclusive
                                                       : fileport::OpenMode::kCreate);
        // Whether the file was there is asked only once the open has failed, which spares each
        // new file a look-up; the failure reads as if it had been asked first.
        if (file == nullptr && mode == kCreateNew) {
            const int openError = errno;
            if (CUtils::FileExists(path)) {
                throw OVException("File output stream file already exists" +
                                  CUtils::WstringToStringUTF8(path));
            }
            errno = openError;
        }
    }
    if (file == nullptr) {
        // The output stream reports its open failure with the input stream's words.
        const int32_t code = errno;
        throw OVException(code,
                          "Failed to open file input stream" + CUtils::WstringToStringUTF8(path));
    }
}

FileOutputStream::~FileOutputStream() { FileOutputStream::close(); }

void FileOutputStream::write(const uint8_t* buffer, int64_t length) {
    if (file == nullptr) {
        throw OVException(kOutputClosed);
    }
    // Each round writes the whole buffer from its start again; callers rely on this shape.
    int64_t remaining = length;
    while (remaining != 0) {
        const size_t written = std::fwrite(buffer, 1, static_cast<size_t>(length), file);
        if (written == 0) {
            break;
        }
        remaining -= static_cast<int64_t>(written);
    }
    if (remaining != 0) {
        throw OVException(std::ferror(file), "Failed to write all data to file outptu stream");
    }
}

void FileOutputStream::close() {
    if (file != nullptr) {
        std::fclose(file);
    }
    file = nullptr;
}

void FileOutputStream::flush() {
    if (file == nullptr) {
        throw OVException(kOutputClosed);
    }
    std::fflush(file);
}

void FileOutputStream::commit(bool toDisk) {
    if (file == nullptr) {
        throw OVException(kOutputClosed);
    }
    std::FILE* closing = std::exchange(file, nullptr);
    // The error indicator also keeps a failure that an earlier flush let pass.
    const bool handedOver = toDisk ? fileport::ToDisk(closing) : std::fflush(closing) == 0;
    const bool written = handedOver && std::ferror(closing) == 0;
    const int32_t writeError = errno;
    const bool closed = std::fclose(closing) == 0;
    if (!written) {
        throw OVException(writeError, "Failed to write file output stream to disk");
    }
    if (!closed) {
        throw OVException(errno, "Failed to close file output stream");
    }
}

void FileOutputStream::seek(int64_t position) {
    if (file == nullptr) {
        throw OVException(kOutputClosed);
    }
    if (!fileport::Seek(file, position, SEEK_SET)) {
        throw OVException("Failed to seek to desired position");
    }
}
