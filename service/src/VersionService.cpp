// VersionService.cpp: the version service on cpp-httplib: the check answer, file downloads, a
// byte source for client tests, and the faults that make each of them misbehave on purpose.
#include "service/VersionService.h"

#include "Catalog.h"
#include "Faults.h"
#include "PathText.h"
#include "ServicePort.h"
#include "UrlText.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <httplib.h>  // and with it the system's sockets: BSD's on Linux, Winsock on Windows
#include <iostream>
#include <json/json.h>
#include <mutex>
#include <set>
#include <sstream>
#include <string_view>
#include <thread>

namespace orvservice {

namespace {

// httplib hands every accepted socket to its task queue exactly once, so counting here counts
// accepted connections, whatever happens on them afterwards.
class CountingTaskQueue : public httplib::TaskQueue {
public:
    explicit CountingTaskQueue(std::atomic<int>& accepted)
        : accepted(accepted), pool(CPPHTTPLIB_THREAD_POOL_COUNT) {}

    void enqueue(std::function<void()> fn) override {
        ++accepted;
        pool.enqueue(std::move(fn));
    }
    void shutdown() override { pool.shutdown(); }

private:
    std::atomic<int>& accepted;
    httplib::ThreadPool pool;
};

// httplib closes its listening socket only in stop(), which does nothing unless it is serving;
// a service that was bound but never started closes it here.
template <class Base> class OwnedServer : public Base {
public:
    using Base::Base;

    void CloseUnusedSocket() {
        const socket_t sock = this->svr_sock_.exchange(INVALID_SOCKET);
        if (sock != INVALID_SOCKET) {
            serviceport::CloseSocket(sock);
        }
    }
};

// A response body given piece by piece, so that a large one is never held whole.
struct Body {
    std::size_t size = 0;
    // At most `most` bytes from `offset` (at least one while offset < size).
    std::function<std::string_view(std::size_t offset, std::size_t most)> piece;
    // The whole body when it is held anyway.
    std::shared_ptr<const std::string> whole;

    static Body FromText(std::string text) {
        auto shared = std::make_shared<const std::string>(std::move(text));
        return Body{shared->size(),
                    [shared](std::size_t offset, std::size_t most) {
                        return std::string_view(*shared).substr(offset, most);
                    },
                    shared};
    }

    // "0123456789" repeated up to `size` bytes.
    static Body Pattern(std::size_t size) {
        static const std::string block = [] {
            std::string text;
            while (text.size() < 8192 + 10) {
                text += "0123456789";
            }
            return text;
        }();
        return Body{
            size,
            [size](std::size_t offset, std::size_t most) {
                const std::size_t count = std::min({most, size - offset, std::size_t{8192}});
                return std::string_view(block).substr(offset % 10, count);
            },
            nullptr};
    }
};

constexpr const char* kJsonType = "application/json; charset=utf-8";
constexpr const char* kTextType = "text/plain; charset=utf-8";
constexpr const char* kBinaryType = "application/octet-stream";

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

void AnswerJsonError(httplib::Response& res, int status, const std::string& message) {
    Json::Value error(Json::objectValue);
    error["error"] = message;
    res.status = status;
    res.set_content(JsonText(error), kJsonType);
}

void AnswerText(httplib::Response& res, int status, const std::string& message) {
    res.status = status;
    res.set_content(message + "\n", kTextType);
}

// The request's query keys "fault_NAME"; throws std::invalid_argument for a bad one.
Faults FaultsOfQuery(const httplib::Request& req) {
    Faults faults;
    for (const auto& [key, value] : req.params) {
        if (key.rfind("fault_", 0) != 0) {
            continue;
        }
        try {
            if (!SetFaultFromText(faults, key.substr(6), value)) {
                throw std::invalid_argument(std::string("unknown fault key; known: ") +
                                            FaultNames() + ", each after \"fault_\"");
            }
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("query key \"" + key + "\": " + error.what());
        }
    }
    return faults;
}

// The target without its "fault_redirect" keys; with "fault_redirect=0" when the catalog asks
// for the redirect, so that the second request is answered instead of redirected again.
std::string TargetAfterRedirect(const std::string& target, bool catalogRedirects) {
    const std::size_t mark = target.find('?');
    std::string result = target.substr(0, mark);
    std::string query;
    if (mark != std::string::npos) {
        std::istringstream pairs(target.substr(mark + 1));
        for (std::string pair; std::getline(pairs, pair, '&');) {
            if (pair.substr(0, pair.find('=')) == "fault_redirect") {
                continue;
            }
            query += (query.empty() ? "" : "&") + pair;
        }
    }
    if (catalogRedirects) {
        query += std::string(query.empty() ? "" : "&") + "fault_redirect=0";
    }
    return query.empty() ? result : result + "?" + query;
}

// The numeric address and port of a socket address, as httplib gives a request's remote end.
std::pair<std::string, int> AddressOf(const sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET) {
        const auto& in = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
        return {text, ntohs(in.sin_port)};
    }
    if (address.ss_family == AF_INET6) {
        const auto& in6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof text);
        return {text, ntohs(in6.sin6_port)};
    }
    return {"", -1};
}

// Ends every connection accepted on `port` whose peer `busy` does not name. httplib's workers
// wait up to the keep-alive timeout on an idle connection before they notice a stop; this way
// they see its end at once. A connection with a request being answered is left alone: httplib
// would take its end for a peer gone and drop the answer. httplib does not tell which sockets it
// accepted, so they are found among the process's own.
void EndIdleConnections(uint16_t port,
                        const std::function<bool(const std::pair<std::string, int>&)>& busy) {
    for (const serviceport::Socket fd : serviceport::OwnHandles()) {
        sockaddr_storage local{};
        socklen_t length = sizeof local;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) != 0 ||
            AddressOf(local).second != port) {
            continue;  // not a socket, or not one of ours
        }
        sockaddr_storage peer{};
        length = sizeof peer;
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
            !busy(AddressOf(peer))) {
            serviceport::EndIdleConnection(fd);
        }
    }
}

}  // namespace

struct VersionService::Impl {
    ServiceOptions options;
    Catalog catalog;
    bool secure = false;
    std::unique_ptr<httplib::Server> server;
    std::function<void()> closeUnusedSocket;
    uint16_t port = 0;

    std::thread thread;
    std::mutex stateMutex;
    // Told when httplib is in its accept loop (`listening`) and when Serve has ended.
    std::condition_variable stateChanged;
    bool stopRequested = false;
    bool everServed = false;
    bool listening = false;
    bool serveEnded = false;
    std::atomic<bool> serving{false};

    mutable std::mutex recordsMutex;
    std::vector<RequestRecord> records;
    std::atomic<int> accepted{0};

    // The requests the fault "hold" keeps waiting, and whether they have been let go.
    mutable std::mutex holdMutex;
    mutable std::condition_variable holdChanged;
    std::vector<RequestRecord> held;
    bool holdsReleased = false;
    void Hold(const httplib::Request& req);
    void ReleaseHeld();

    // The remote ends of connections with a request between its reading and its answer's end.
    std::mutex busyMutex;
    std::multiset<std::pair<std::string, int>> busy;
    bool IsBusy(const std::pair<std::string, int>& peer) {
        const std::lock_guard<std::mutex> lock(busyMutex);
        return busy.count(peer) != 0;
    }

    void Serve();
    void Handle(const httplib::Request& req, httplib::Response& res);
    void Record(const httplib::Request& req, int status);
    std::string Origin(const httplib::Request& req) const;

    // Hold, delay, redirect and status: true when `res` is answered by them.
    bool Misbehave(const httplib::Request& req, httplib::Response& res, const Faults& faults,
                   const Faults& catalogFaults);
    // Sends `body` as the faults ask; `fileName` non-empty for a download with a disposition.
    static void Deliver(httplib::Response& res, Body body, const std::string& contentType,
                        const Faults& faults, const std::string& fileName);

    void HandleCheck(const httplib::Request& req, httplib::Response& res,
                     const Faults& requestFaults);
    void HandleFile(const httplib::Request& req, httplib::Response& res,
                    const Faults& requestFaults);
    void HandleBytes(const httplib::Request& req, httplib::Response& res,
                     const Faults& requestFaults);
};

std::string VersionService::Impl::Origin(const httplib::Request& req) const {
    std::string host = req.get_header_value("Host");
    if (host.empty()) {
        host = options.host + ":" + std::to_string(port);
    }
    return (secure ? "https://" : "http://") + host;
}

void VersionService::Impl::Record(const httplib::Request& req, int status) {
    const std::lock_guard<std::mutex> lock(recordsMutex);
    records.push_back(RequestRecord{req.method, req.target, status});
    if (options.log) {
        std::cout << req.method << ' ' << req.target << ' ' << status << std::endl;
    }
}

void VersionService::Impl::Hold(const httplib::Request& req) {
    std::unique_lock<std::mutex> lock(holdMutex);
    if (holdsReleased) {
        return;
    }
    held.push_back(RequestRecord{req.method, req.target, 0});
    holdChanged.notify_all();
    holdChanged.wait(lock, [this] { return holdsReleased; });
}

void VersionService::Impl::ReleaseHeld() {
    {
        const std::lock_guard<std::mutex> lock(holdMutex);
        holdsReleased = true;
        held.clear();
    }
    holdChanged.notify_all();
}

bool VersionService::Impl::Misbehave(const httplib::Request& req, httplib::Response& res,
                                     const Faults& faults, const Faults& catalogFaults) {
    if (faults.hold.value_or(false)) {
        Hold(req);
    }
    if (faults.delayMs.value_or(0) > 0) {
        const std::chrono::milliseconds delay(*faults.delayMs);
        if (options.delay) {
            options.delay(delay);
        } else {
            std::this_thread::sleep_for(delay);
        }
    }
    if (faults.redirect.value_or(false)) {
        res.set_redirect(
            Origin(req) + TargetAfterRedirect(req.target, catalogFaults.redirect.value_or(false)),
            302);
        res.set_content("redirected by a fault\n", kTextType);
        return true;
    }
    if (faults.status) {
        res.status = *faults.status;
        // These statuses carry no body by definition.
        if (res.status != 204 && res.status != 304) {
            res.set_content("status " + std::to_string(res.status) + " answered by a fault\n",
                            kTextType);
        }
        return true;
    }
    return false;
}

void VersionService::Impl::Deliver(httplib::Response& res, Body body,
                                   const std::string& contentType, const Faults& faults,
                                   const std::string& fileName) {
    std::string type = contentType;
    if (faults.body) {
        body = Body::FromText(*faults.body);
        type = kTextType;
    }
    res.status = 200;
    if (!faults.noContentDisposition.value_or(false)) {
        if (faults.disposition) {
            res.set_header("Content-Disposition", *faults.disposition);
        } else if (!fileName.empty() && faults.quotedFilename.value_or(false)) {
            std::string quoted;
            for (const char c : fileName) {
                quoted += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
            }
            res.set_header("Content-Disposition", "attachment; filename=\"" + quoted + "\"");
        } else if (!fileName.empty()) {
            res.set_header("Content-Disposition",
                           "attachment; filename*=UTF-8''" + EncodeAttrChars(fileName));
        }
    }

    if (faults.closeMidBody.value_or(false)) {
        // Half the body in a few chunks, then the provider fails: httplib closes the connection
        // without the final empty chunk.
        const std::size_t half = body.size / 2;
        const std::size_t chunk = std::clamp<std::size_t>(half / 2, 1, 8192);
        res.set_chunked_content_provider(
            type, [body, half, chunk](std::size_t offset, httplib::DataSink& sink) {
                if (offset >= half) {
                    return false;
                }
                const std::string_view piece = body.piece(offset, std::min(chunk, half - offset));
                return sink.write(piece.data(), piece.size());
            });
    } else if (faults.chunked.value_or(false)) {
        res.set_chunked_content_provider(type, [body](std::size_t offset, httplib::DataSink& sink) {
            if (offset >= body.size) {
                sink.done();
                return true;
            }
            const std::string_view piece = body.piece(offset, 8192);
            return sink.write(piece.data(), piece.size());
        });
    } else if (faults.cutBody.value_or(false)) {
        // The full Content-Length, half the bytes, then the provider fails and httplib closes
        // the connection.
        const std::size_t half = body.size / 2;
        res.set_content_provider(
            body.size, type,
            [body, half](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                if (offset >= half) {
                    return false;
                }
                const std::string_view piece = body.piece(offset, std::min(length, half - offset));
                return sink.write(piece.data(), piece.size());
            });
    } else if (body.whole) {
        // Not through a content provider: httplib stops writing those as soon as it is told to
        // stop, and an answer being made when the service stops should still arrive whole.
        res.set_content(*body.whole, type);
    } else if (body.size == 0) {
        res.set_content("", type);
    } else {
        res.set_content_provider(
            body.size, type,
            [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                const std::string_view piece = body.piece(offset, length);
                return sink.write(piece.data(), piece.size());
            });
    }
}

void VersionService::Impl::HandleCheck(const httplib::Request& req, httplib::Response& res,
                                       const Faults& requestFaults) {
    const std::string id = req.get_param_value("id");
    const CatalogObject* object = catalog.Find(id);
    const Faults catalogFaults = object != nullptr ? object->checkFaults : Faults{};
    const Faults faults = catalogFaults.OverriddenBy(requestFaults);
    if (Misbehave(req, res, faults, catalogFaults)) {
        return;
    }
    if (req.has_param("format") && req.get_param_value("format") != "json") {
        AnswerJsonError(res, 400, "only format=json is served");
        return;
    }
    if (id.empty() || req.get_param_value("version").empty()) {
        AnswerJsonError(res, 400, "the query needs \"id\" and \"version\"");
        return;
    }
    if (object == nullptr) {
        AnswerJsonError(res, 404, "unknown id \"" + id + "\"");
        return;
    }

    const std::string version = req.get_param_value("version");
    const auto& tests = object->testVersions;
    const auto& versions = object->versions;
    Json::Value answer(Json::objectValue);
    answer["version"] = object->latest;
    answer["up_to_date"] = false;
    answer["test_version"] = false;
    answer["update_available"] = false;
    if (version == object->latest) {
        answer["up_to_date"] = true;
    } else if (std::find(tests.begin(), tests.end(), version) != tests.end()) {
        answer["version"] = version;
        answer["test_version"] = true;
    } else if (std::find(versions.begin(), versions.end(), version) != versions.end() &&
               !object->file.empty()) {
        answer["update_available"] = true;
        answer["url"] = Origin(req) + "/files/" + EncodePathSegment(object->file);
    }
    // An older version without a file, and a version the catalog does not know, keep the
    // three false with the latest version.
    Deliver(res, Body::FromText(JsonText(answer)), kJsonType, faults, "");
}

void VersionService::Impl::HandleFile(const httplib::Request& req, httplib::Response& res,
                                      const Faults& requestFaults) {
    // httplib has already percent-decoded the path.
    const std::string name = req.path.substr(std::string_view("/files/").size());
    if (!IsPlainFileName(name) || name.find("..") != std::string::npos) {
        AnswerText(res, 404, "no such file");
        return;
    }
    const CatalogObject* object = catalog.FindByFile(name);
    const Faults catalogFaults = object != nullptr ? object->fileFaults : Faults{};
    const Faults faults = catalogFaults.OverriddenBy(requestFaults);

    std::error_code error;
    const std::filesystem::path path = options.files / PathOfUtf8(name);
    if (!std::filesystem::is_regular_file(path, error)) {
        AnswerText(res, 404, "no such file");
        return;
    }
    if (Misbehave(req, res, faults, catalogFaults)) {
        return;
    }
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    if (!stream) {
        AnswerText(res, 500, "the file cannot be read");
        return;
    }
    Deliver(res, Body::FromText(bytes.str()), kBinaryType, faults, name);
}

void VersionService::Impl::HandleBytes(const httplib::Request& req, httplib::Response& res,
                                       const Faults& requestFaults) {
    if (Misbehave(req, res, requestFaults, Faults{})) {
        return;
    }
    const std::string text = req.get_param_value("size");
    std::size_t size = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) {
        AnswerText(res, 400, "/bytes needs size=N, a whole number of bytes");
        return;
    }
    Deliver(res, Body::Pattern(size), kBinaryType, requestFaults, "");
}

void VersionService::Impl::Handle(const httplib::Request& req, httplib::Response& res) {
    if (req.method != "GET" && req.method != "HEAD") {
        AnswerText(res, 405, "only GET is served");
    } else if (req.path.rfind("/check&", 0) == 0) {
        AnswerText(res, 400,
                   "the check address has no query of its own, so the add-on appended "
                   "\"&format=json\" to the path; write check_url as "
                   "http://HOST:PORT/check?id=ID&version=V");
    } else if (req.path != "/check" && req.path != "/bytes" && req.path.rfind("/files/", 0) != 0) {
        AnswerText(res, 404, "not found; this service answers /check, /files/NAME and /bytes");
    } else {
        Faults requestFaults;
        try {
            requestFaults = FaultsOfQuery(req);
        } catch (const std::invalid_argument& error) {
            AnswerText(res, 400, error.what());
            Record(req, res.status);
            return;
        }
        if (req.path == "/check") {
            HandleCheck(req, res, requestFaults);
        } else if (req.path == "/bytes") {
            HandleBytes(req, res, requestFaults);
        } else {
            HandleFile(req, res, requestFaults);
        }
    }
    Record(req, res.status);
}

void VersionService::Impl::Serve() {
    {
        const std::lock_guard<std::mutex> lock(stateMutex);
        if (everServed) {
            return;  // served elsewhere
        }
        // After a Stop it does not serve, and only says that it has ended.
        if (!stopRequested) {
            everServed = true;
            serving = true;
        }
    }
    if (serving) {
        server->listen_after_bind();
    }
    {
        const std::lock_guard<std::mutex> lock(stateMutex);
        serving = false;
        serveEnded = true;
    }
    stateChanged.notify_all();
}

VersionService::VersionService(const ServiceOptions& options) : impl(std::make_unique<Impl>()) {
    impl->options = options;
    impl->catalog = ReadCatalog(options.catalog, options.files);

    impl->secure = !options.certificate.empty() || !options.privateKey.empty();
    if (impl->secure) {
        if (options.certificate.empty() || options.privateKey.empty()) {
            throw ServiceError("HTTPS needs both a certificate and a private key");
        }
        // A test peer hangs up on purpose, which must not end the whole process.
        serviceport::SurviveHungUpPeers();
        // OpenSSL reads its file names as UTF-8 on Windows too.
        auto server = std::make_unique<OwnedServer<httplib::SSLServer>>(
            Utf8OfPath(options.certificate).c_str(), Utf8OfPath(options.privateKey).c_str());
        if (!server->is_valid()) {
            throw ServiceError("cannot use the certificate " + Utf8OfPath(options.certificate) +
                               " with the key " + Utf8OfPath(options.privateKey));
        }
        impl->closeUnusedSocket = [raw = server.get()] { raw->CloseUnusedSocket(); };
        impl->server = std::move(server);
    } else {
        auto server = std::make_unique<OwnedServer<httplib::Server>>();
        impl->closeUnusedSocket = [raw = server.get()] { raw->CloseUnusedSocket(); };
        impl->server = std::move(server);
    }

    httplib::Server& server = *impl->server;
    Impl* self = impl.get();
    // httplib makes its task queue once it counts as running, just before its accept loop: the
    // moment a stop() takes effect and Start may return.
    server.new_task_queue = [self] {
        auto* queue = new CountingTaskQueue(self->accepted);
        {
            const std::lock_guard<std::mutex> lock(self->stateMutex);
            self->listening = true;
        }
        self->stateChanged.notify_all();
        return queue;
    };
    // A client that keeps one connection for all its checks, as the add-on does, is not cut off
    // after httplib's default of five requests.
    server.set_keep_alive_max_count(1000);
    server.set_keep_alive_timeout(options.keepAliveSeconds);
    // Instead of httplib's default: a port in use must be an error.
    server.set_socket_options([](socket_t sock) {
        serviceport::KeepAddressToOneService(sock);
        // Accepted connections inherit it: an answer's headers and body go out at once instead
        // of waiting for the client's delayed acknowledgement.
        const int on = 1;
        setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    });
    server.set_pre_routing_handler([self](const httplib::Request& req, httplib::Response&) {
        {
            const std::lock_guard<std::mutex> lock(self->busyMutex);
            self->busy.emplace(req.remote_addr, req.remote_port);
        }
        // The bytes go out exactly as the faults describe them: compression would re-frame a cut
        // body. httplib's request object is not const; only the handler's view of it is.
        const_cast<httplib::Request&>(req).headers.erase("Accept-Encoding");
        return httplib::Server::HandlerResponse::Unhandled;
    });
    // httplib calls its logger once the answer is written.
    server.set_logger([self](const httplib::Request& req, const httplib::Response&) {
        const std::lock_guard<std::mutex> lock(self->busyMutex);
        const auto found = self->busy.find({req.remote_addr, req.remote_port});
        if (found != self->busy.end()) {
            self->busy.erase(found);
        }
    });
    const auto handler = [self](const httplib::Request& req, httplib::Response& res) {
        self->Handle(req, res);
    };
    // Every path and method comes here, so that every request is recorded and answered by us.
    const std::string everything = R"([\s\S]*)";
    server.Get(everything, handler);
    server.Post(everything, handler);
    server.Put(everything, handler);
    server.Patch(everything, handler);
    server.Delete(everything, handler);
    server.Options(everything, handler);
    server.set_exception_handler(
        [self](const httplib::Request& req, httplib::Response& res, std::exception_ptr) {
            AnswerText(res, 500, "the service failed on this request");
            self->Record(req, res.status);
        });

    if (options.port == 0) {
        const int bound = server.bind_to_any_port(options.host);
        if (bound <= 0) {
            throw ServiceError("cannot listen on " + options.host + " (any port)");
        }
        impl->port = static_cast<uint16_t>(bound);
    } else {
        if (!server.bind_to_port(options.host, options.port)) {
            throw ServiceError("cannot listen on " + options.host + ":" +
                               std::to_string(options.port));
        }
        impl->port = options.port;
    }
}

VersionService::~VersionService() {
    Stop();
    impl->closeUnusedSocket();
}

void VersionService::Start() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        if (impl->everServed || impl->stopRequested || impl->thread.joinable()) {
            throw ServiceError("the service can be started once");
        }
    }
    impl->thread = std::thread([this] { impl->Serve(); });
    // Until httplib is in its accept loop, its stop() would do nothing; waiting here makes a
    // Stop right after Start safe, and the port is accepting when Start returns. Serve ends at
    // once when httplib cannot serve, or when a Stop came first.
    std::unique_lock<std::mutex> lock(impl->stateMutex);
    impl->stateChanged.wait(lock, [this] { return impl->listening || impl->serveEnded; });
}

void VersionService::Run() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        if (impl->everServed || impl->stopRequested) {
            throw ServiceError("the service can be started once");
        }
    }
    impl->Serve();
}

void VersionService::Stop() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopRequested = true;
    }
    // Serve may be entering httplib's loop right now; stop() counts only once it is in.
    bool stopped = false;
    for (int round = 0; impl->serving; ++round) {
        if (!stopped && impl->server->is_running()) {
            impl->server->stop();
            stopped = true;
        }
        // Again now and then, for a connection accepted just before the stop.
        if (stopped && round % 50 == 0) {
            EndIdleConnections(impl->port, [this](const std::pair<std::string, int>& peer) {
                return impl->IsBusy(peer);
            });
        }
        // A held request is an answer being made: it goes on now and finishes.
        if (stopped) {
            impl->ReleaseHeld();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (impl->thread.joinable() && impl->thread.get_id() != std::this_thread::get_id()) {
        impl->thread.join();
    }
}

uint16_t VersionService::Port() const { return impl->port; }

std::string VersionService::BaseUrl() const {
    return (impl->secure ? "https://" : "http://") + impl->options.host + ":" +
           std::to_string(impl->port);
}

std::vector<RequestRecord> VersionService::Requests() const {
    const std::lock_guard<std::mutex> lock(impl->recordsMutex);
    return impl->records;
}

int VersionService::AcceptedConnections() const { return impl->accepted; }

std::vector<RequestRecord> VersionService::HeldRequests() const {
    const std::lock_guard<std::mutex> lock(impl->holdMutex);
    return impl->held;
}

bool VersionService::WaitForHeld(std::size_t count, std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(impl->holdMutex);
    return impl->holdChanged.wait_for(lock, limit, [this, count] {
        return impl->held.size() >= count || impl->holdsReleased;
    }) && impl->held.size() >= count;
}

void VersionService::ReleaseHeld() { impl->ReleaseHeld(); }

}  // namespace orvservice
