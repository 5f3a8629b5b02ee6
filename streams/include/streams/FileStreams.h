// FileStreams.h: streams over the C library's buffered files, on wide-text paths.
#pragma once

#include "common/WideString.h"
#include "streams/OutputStream.h"

#include <cstdio>

class FileInputStream : public SeekableInputStream {
public:
    FileInputStream() = default;
    explicit FileInputStream(const WString& path);
    ~FileInputStream() override;
    FileInputStream(const FileInputStream&) = delete;
    FileInputStream& operator=(const FileInputStream&) = delete;

    // Opens `path`; with `createIfMissing` a missing file is made empty.
    void open(const WString& path, bool createIfMissing);

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    void close() override;
    // Moves by `count` from the present position, limited to the file; returns the position.
    int64_t skip(int64_t count) override;
    int64_t available() override;
    void reset() override;
    int64_t seek(int64_t position) override;

    bool isOpen() const { return file != nullptr; }

private:
    int64_t moveTo(int64_t target, const char* failure);

    std::FILE* file = nullptr;
    int64_t size = 0;
    int64_t position = 0;
};

class FileOutputStream : public OutputStream {
public:
    enum Mode : int32_t {
        kCreate = 0,          // create or truncate
        kAppendExisting = 1,  // open an existing file at its end
        kCreateNew = 2,       // create; a file already there is a failure
    };

    FileOutputStream(const WString& path, int32_t mode);
    ~FileOutputStream() override;
    FileOutputStream(const FileOutputStream&) = delete;
    FileOutputStream& operator=(const FileOutputStream&) = delete;

    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;
    void close() override;
    void flush() override;
    virtual void seek(int64_t position);
    // Writes out everything and closes the file, forcing it onto the disk first when `toDisk`
    // (an archive about to take an old one's place); unlike flush and close, a failure (a full
    // disk, a write error) throws, with the system's error number as the code. The stream is
    // closed afterwards either way.
    void commit(bool toDisk);

private:
    std::FILE* file = nullptr;
};
