// Answering.h: the version service apart from its network: the catalog read from its text, and the
// answer to one request with the waits its faults ask for before it. VersionService answers every
// request through ReplyTo; the fuzz targets call both directly, without a server or a disk.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvservice {

// The objects the service knows; only the service's own code looks inside.
struct Catalog;

// The files folder as the catalog reader sees it, so that the reader needs no disk of its own.
struct CatalogFiles {
    std::string folder;  // its name, for messages
    // Whether a plain name, or "FOLDER/NAME" of two, is a file in it.
    std::function<bool(const std::string&)> isFile;
};

// Reads and checks a catalog from its JSON text; `name` names it in messages. Throws
// ServiceError (VersionService.h) naming the catalog and the object at fault.
std::shared_ptr<const Catalog> ReadCatalogText(std::string_view text, const std::string& name,
                                               const CatalogFiles& files);

struct ServiceRequest {
    std::string method;
    std::string target;  // path and query as sent
    std::string host;    // the Host header; empty when none came
};

// An answer's body: a text held whole (a check answer, a file), or "0123456789" repeated to any
// size, made piece by piece so that a large one is never held.
class AnswerBody {
public:
    AnswerBody() = default;
    static AnswerBody Text(std::string text);
    static AnswerBody Pattern(std::size_t size);

    std::size_t Size() const { return size; }
    // At most `most` bytes from `offset`, at least one while offset < Size().
    std::string_view Piece(std::size_t offset, std::size_t most) const;

private:
    std::string text;
    std::size_t size = 0;
    bool pattern = false;
};

struct ServiceAnswer {
    // Whole with its length or in chunks; or cut at its half and the connection closed, after
    // the full length was announced or without the last chunk.
    enum class Framing { Length, Chunked, CutAfterLength, CutInChunks };

    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;  // Content-Type and the like
    AnswerBody body;
    Framing framing = Framing::Length;
};

// A short text answer: `message` and a line end, as UTF-8 text.
ServiceAnswer TextAnswer(int status, const std::string& message);

// What an answer needs of the service that gives it.
struct AnswerSettings {
    bool secure = false;
    // "HOST:PORT" the service listens on: the origin of a request without a Host header.
    std::string listening;
    // Where the download addresses point: the service's own /files/ when empty, else this base.
    std::string filesUrl;
    // The files folder: whether a plain name or "FOLDER/NAME" is a regular file in it, and its
    // bytes (none when it cannot be read).
    std::function<bool(const std::string&)> isFile;
    std::function<std::optional<std::string>(const std::string&)> readFile;
};

// What the service does with one request: wait, then answer.
struct ServiceReply {
    // Held until the in-process owner lets held requests go, then delayed.
    bool hold = false;
    std::chrono::milliseconds delay{0};
    // The answer once the waits are over; a file is read only then.
    std::function<ServiceAnswer()> answer;
};

// The reply to `request` from `catalog`, which the reply keeps for its answer; `settings` must
// outlive the reply.
ServiceReply ReplyTo(ServiceRequest request, std::shared_ptr<const Catalog> catalog,
                     const AnswerSettings& settings);

}  // namespace orvservice
