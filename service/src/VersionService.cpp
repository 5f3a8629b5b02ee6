// VersionService.cpp: the version service on its event-driven server: the check answer, file
// downloads, a byte source for client tests, the health check, the faults that make each of them
// misbehave on purpose, and the catalog, which can be taken again while the service runs.
#include "service/VersionService.h"

#include "AccessLog.h"
#include "Catalog.h"
#include "Faults.h"
#include "HttpServer.h"
#include "PathText.h"
#include "RequestTarget.h"
#include "UrlText.h"

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>

namespace orvservice {

namespace {

constexpr const char* kJsonType = "application/json; charset=utf-8";
constexpr const char* kTextType = "text/plain; charset=utf-8";
constexpr const char* kBinaryType = "application/octet-stream";

// `text` as a JSON string.
std::string JsonString(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            quoted += escaped;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

HttpResponse Answer(int status, const char* type, std::string body) {
    HttpResponse response;
    response.status = status;
    response.headers = {{"Content-Type", type}};
    response.body = HttpBody::FromText(std::move(body));
    return response;
}

HttpResponse TextAnswer(int status, const std::string& message) {
    return Answer(status, kTextType, message + "\n");
}

HttpResponse JsonError(int status, const std::string& message) {
    return Answer(status, kJsonType, "{\"error\":" + JsonString(message) + "}");
}

// The request's query keys "fault_NAME"; throws std::invalid_argument for a bad one.
Faults FaultsOfQuery(const RequestTarget& target) {
    Faults faults;
    for (const auto& [key, value] : target.query) {
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

// The answer's body as the faults give it: replaced, and framed whole, in chunks, or cut.
HttpResponse Delivered(HttpBody body, const std::string& contentType, const Faults& faults,
                       const std::string& fileName) {
    HttpResponse response;
    response.headers = {{"Content-Type", contentType}};
    if (faults.body) {
        body = HttpBody::FromText(*faults.body);
        response.headers = {{"Content-Type", kTextType}};
    }
    response.body = std::move(body);
    if (!faults.noContentDisposition.value_or(false)) {
        if (faults.disposition) {
            response.headers.emplace_back("Content-Disposition", *faults.disposition);
        } else if (!fileName.empty() && faults.quotedFilename.value_or(false)) {
            std::string quoted;
            for (const char c : fileName) {
                quoted += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
            }
            response.headers.emplace_back("Content-Disposition",
                                          "attachment; filename=\"" + quoted + "\"");
        } else if (!fileName.empty()) {
            response.headers.emplace_back("Content-Disposition", "attachment; filename*=UTF-8''" +
                                                                     EncodeAttrChars(fileName));
        }
    }
    if (faults.closeMidBody.value_or(false)) {
        response.framing = HttpResponse::Framing::CutInChunks;
    } else if (faults.chunked.value_or(false)) {
        response.framing = HttpResponse::Framing::Chunked;
    } else if (faults.cutBody.value_or(false)) {
        response.framing = HttpResponse::Framing::CutAfterLength;
    }
    return response;
}

}  // namespace

struct VersionService::Impl {
    ServiceOptions options;
    std::unique_ptr<AccessLog> accessLog;
    std::unique_ptr<HttpServer> server;

    // The catalog in service; a reload swaps it between two requests.
    mutable std::mutex catalogMutex;
    std::shared_ptr<const Catalog> catalog;
    std::filesystem::file_time_type catalogTime;
    std::uintmax_t catalogSize = 0;
    std::shared_ptr<const Catalog> CurrentCatalog() const {
        const std::lock_guard<std::mutex> lock(catalogMutex);
        return catalog;
    }
    void Reload();
    void WatchCatalog();

    std::mutex stateMutex;
    bool started = false;
    bool stopped = false;

    mutable std::mutex recordsMutex;
    std::vector<RequestRecord> records;

    // The requests the fault "hold" keeps waiting, what each does once let go, and whether they
    // have been let go.
    mutable std::mutex holdMutex;
    mutable std::condition_variable holdChanged;
    std::vector<RequestRecord> held;
    std::vector<std::function<void()>> heldContinuations;
    bool holdsReleased = false;
    void ReleaseHeld();

    void Handle(const HttpRequest& request, const HttpResponder& respond);
    void Reply(const HttpRequest& request, const HttpResponder& respond, HttpResponse response);
    std::string Origin(const HttpRequest& request) const;

    // Hold, then delay, then `then`.
    void AfterWaits(const HttpRequest& request, const Faults& faults, std::function<void()> then);
    // The redirect and the status a fault asks for, if any.
    std::optional<HttpResponse> Misbehaviour(const HttpRequest& request, const Faults& faults,
                                             const Faults& catalogFaults) const;

    HttpResponse Check(const HttpRequest& request, const RequestTarget& target,
                       const Catalog& catalog, const Faults& faults) const;
    HttpResponse File(const std::string& name, const Faults& faults) const;
};

std::string VersionService::Impl::Origin(const HttpRequest& request) const {
    const std::string host =
        request.host.empty() ? options.host + ":" + std::to_string(server->Port()) : request.host;
    return (server->Secure() ? "https://" : "http://") + host;
}

void VersionService::Impl::Reply(const HttpRequest& request, const HttpResponder& respond,
                                 HttpResponse response) {
    if (options.recordRequests) {
        const std::lock_guard<std::mutex> lock(recordsMutex);
        records.push_back(RequestRecord{request.method, request.target, response.status});
    }
    if (accessLog->Enabled()) {
        accessLog->Write(request, response.status, response.BytesSent(request));
    }
    respond(std::move(response));
}

void VersionService::Impl::ReleaseHeld() {
    std::vector<std::function<void()>> continuations;
    {
        const std::lock_guard<std::mutex> lock(holdMutex);
        holdsReleased = true;
        held.clear();
        continuations.swap(heldContinuations);
    }
    holdChanged.notify_all();
    for (auto& then : continuations) {
        then();
    }
}

void VersionService::Impl::AfterWaits(const HttpRequest& request, const Faults& faults,
                                      std::function<void()> then) {
    if (faults.hold.value_or(false)) {
        std::unique_lock<std::mutex> lock(holdMutex);
        if (!holdsReleased) {
            held.push_back(RequestRecord{request.method, request.target, 0});
            Faults rest = faults;
            rest.hold.reset();
            heldContinuations.push_back([this, request, rest, then = std::move(then)]() mutable {
                AfterWaits(request, rest, std::move(then));
            });
            lock.unlock();
            holdChanged.notify_all();
            return;
        }
    }
    const int delayMs = faults.delayMs.value_or(0);
    if (delayMs <= 0) {
        then();
    } else if (options.delay) {
        options.delay(std::chrono::milliseconds(delayMs));
        then();
    } else {
        server->After(std::chrono::milliseconds(delayMs), std::move(then));
    }
}

std::optional<HttpResponse> VersionService::Impl::Misbehaviour(const HttpRequest& request,
                                                               const Faults& faults,
                                                               const Faults& catalogFaults) const {
    if (faults.redirect.value_or(false)) {
        HttpResponse response = TextAnswer(302, "redirected by a fault");
        response.headers.emplace_back(
            "Location",
            Origin(request) +
                TargetAfterRedirect(request.target, catalogFaults.redirect.value_or(false)));
        return response;
    }
    if (faults.status) {
        // These statuses carry no body by definition.
        if (*faults.status == 204 || *faults.status == 304) {
            return Answer(*faults.status, kTextType, "");
        }
        return TextAnswer(*faults.status,
                          "status " + std::to_string(*faults.status) + " answered by a fault");
    }
    return std::nullopt;
}

HttpResponse VersionService::Impl::Check(const HttpRequest& request, const RequestTarget& target,
                                         const Catalog& catalog, const Faults& faults) const {
    if (target.Has("format") && target.Value("format") != "json") {
        return JsonError(400, "only format=json is served");
    }
    const std::string id = target.Value("id");
    const std::string version = target.Value("version");
    if (id.empty() || version.empty()) {
        return JsonError(400, "the query needs \"id\" and \"version\"");
    }
    const CatalogObject* object = catalog.Find(id);
    if (object == nullptr) {
        return JsonError(404, "unknown id \"" + id + "\"");
    }

    // An older version without a file, and a version the catalog does not know, keep the three
    // false with the latest version.
    const auto& tests = object->testVersions;
    const auto& versions = object->versions;
    const bool upToDate = version == object->latest;
    const bool testVersion =
        !upToDate && std::find(tests.begin(), tests.end(), version) != tests.end();
    const bool updateAvailable =
        !upToDate && !testVersion && !object->file.empty() &&
        std::find(versions.begin(), versions.end(), version) != versions.end();
    std::string answer = "{\"test_version\":" + std::string(testVersion ? "true" : "false") +
                         ",\"up_to_date\":" + (upToDate ? "true" : "false") +
                         ",\"update_available\":" + (updateAvailable ? "true" : "false");
    if (updateAvailable) {
        const std::string base =
            options.filesUrl.empty() ? Origin(request) + "/files" : options.filesUrl;
        answer += ",\"url\":" + JsonString(base + "/" + EncodePathSegment(object->file));
    }
    answer += ",\"version\":" + JsonString(testVersion ? version : object->latest) + "}";
    return Delivered(HttpBody::FromText(std::move(answer)), kJsonType, faults, "");
}

HttpResponse VersionService::Impl::File(const std::string& name, const Faults& faults) const {
    std::ifstream stream(options.files / PathOfUtf8(name), std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    if (!stream) {
        return TextAnswer(500, "the file cannot be read");
    }
    return Delivered(HttpBody::FromText(bytes.str()), kBinaryType, faults, name);
}

void VersionService::Impl::Handle(const HttpRequest& request, const HttpResponder& respond) {
    const RequestTarget target = ParseTarget(request.target);
    const auto reply = [this, &request, &respond](HttpResponse response) {
        Reply(request, respond, std::move(response));
    };
    if (request.method != "GET" && request.method != "HEAD") {
        reply(TextAnswer(405, "only GET is served"));
        return;
    }
    if (target.path.rfind("/check&", 0) == 0) {
        reply(TextAnswer(400, "the check address has no query of its own, so the add-on appended "
                              "\"&format=json\" to the path; write check_url as "
                              "http://HOST:PORT/check?id=ID&version=V"));
        return;
    }
    if (target.path == "/healthz") {
        reply(TextAnswer(200, "ok"));
        return;
    }
    const bool isFile = target.path.rfind("/files/", 0) == 0;
    if (target.path != "/check" && target.path != "/bytes" && !isFile) {
        reply(TextAnswer(404, "not found; this service answers /check, /files/NAME, /bytes and "
                              "/healthz"));
        return;
    }
    Faults requestFaults;
    try {
        requestFaults = FaultsOfQuery(target);
    } catch (const std::invalid_argument& error) {
        reply(TextAnswer(400, error.what()));
        return;
    }

    // One catalog for the whole request, whatever a reload does meanwhile.
    std::shared_ptr<const Catalog> catalog = CurrentCatalog();
    const CatalogObject* object = nullptr;
    Faults catalogFaults;
    std::string name;
    if (target.path == "/check") {
        object = catalog->Find(target.Value("id"));
        catalogFaults = object != nullptr ? object->checkFaults : Faults{};
    } else if (isFile) {
        name = target.path.substr(std::string_view("/files/").size());
        std::error_code error;
        if (!IsPlainFileName(name) || name.find("..") != std::string::npos ||
            !std::filesystem::is_regular_file(options.files / PathOfUtf8(name), error)) {
            reply(TextAnswer(404, "no such file"));
            return;
        }
        object = catalog->FindByFile(name);
        catalogFaults = object != nullptr ? object->fileFaults : Faults{};
    }
    const Faults faults = catalogFaults.OverriddenBy(requestFaults);
    AfterWaits(request, faults,
               [this, request, respond, target, catalog, faults, catalogFaults, isFile, name] {
                   HttpResponse response;
                   if (auto misbehaviour = Misbehaviour(request, faults, catalogFaults)) {
                       response = std::move(*misbehaviour);
                   } else if (target.path == "/check") {
                       response = Check(request, target, *catalog, faults);
                   } else if (isFile) {
                       response = File(name, faults);
                   } else {
                       const std::string text = target.Value("size");
                       std::size_t size = 0;
                       const auto [end, ec] =
                           std::from_chars(text.data(), text.data() + text.size(), size);
                       response =
                           text.empty() || ec != std::errc() || end != text.data() + text.size()
                               ? TextAnswer(400, "/bytes needs size=N, a whole number of "
                                                 "bytes")
                               : Delivered(HttpBody::Pattern(size), kBinaryType, faults, "");
                   }
                   Reply(request, respond, std::move(response));
               });
}

void VersionService::Impl::Reload() {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(options.catalog, error);
    const auto size = std::filesystem::file_size(options.catalog, error);
    try {
        auto fresh = std::make_shared<const Catalog>(ReadCatalog(options.catalog, options.files));
        const std::lock_guard<std::mutex> lock(catalogMutex);
        catalog = std::move(fresh);
        catalogTime = time;
        catalogSize = size;
    } catch (const ServiceError& refusal) {
        {
            // Not tried again until the file changes once more.
            const std::lock_guard<std::mutex> lock(catalogMutex);
            catalogTime = time;
            catalogSize = size;
        }
        std::cerr << "orvservice: catalog refused, the one in service stays: " << refusal.what()
                  << std::endl;
        throw;
    }
    std::cerr << "orvservice: catalog " << Utf8OfPath(options.catalog) << " taken" << std::endl;
}

void VersionService::Impl::WatchCatalog() {
    server->After(std::chrono::milliseconds(options.watchCatalogMilliseconds), [this] {
        {
            const std::lock_guard<std::mutex> lock(stateMutex);
            if (stopped) {
                return;
            }
        }
        std::error_code error;
        const auto time = std::filesystem::last_write_time(options.catalog, error);
        const auto size = std::filesystem::file_size(options.catalog, error);
        bool changed = false;
        {
            const std::lock_guard<std::mutex> lock(catalogMutex);
            changed = !error && (time != catalogTime || size != catalogSize);
        }
        if (changed) {
            try {
                Reload();
            } catch (const ServiceError&) {
                // Said on standard error; the old catalog serves on.
            }
        }
        WatchCatalog();
    });
}

VersionService::VersionService(const ServiceOptions& options) : impl(std::make_unique<Impl>()) {
    impl->options = options;
    impl->catalog = std::make_shared<const Catalog>(ReadCatalog(options.catalog, options.files));
    std::error_code error;
    impl->catalogTime = std::filesystem::last_write_time(options.catalog, error);
    impl->catalogSize = std::filesystem::file_size(options.catalog, error);
    impl->accessLog = std::make_unique<AccessLog>(options.log, options.accessLog);

    HttpServerSettings settings;
    settings.host = options.host;
    settings.port = options.port;
    settings.certificate = options.certificate;
    settings.privateKey = options.privateKey;
    settings.requestTimeout = std::chrono::seconds(options.requestTimeoutSeconds);
    settings.threads = options.threads;
    Impl* self = impl.get();
    impl->server = std::make_unique<HttpServer>(settings, [self](const HttpRequest& request,
                                                                 HttpResponder respond) {
        try {
            self->Handle(request, respond);
        } catch (const std::exception&) {
            self->Reply(request, respond, TextAnswer(500, "the service failed on this request"));
        }
    });
}

VersionService::~VersionService() { Stop(); }

void VersionService::Start() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        if (impl->started || impl->stopped) {
            throw ServiceError("the service can be started once");
        }
        impl->started = true;
    }
    if (impl->options.watchCatalogMilliseconds > 0) {
        impl->WatchCatalog();
    }
    impl->server->Start();
}

void VersionService::Run() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        if (impl->started || impl->stopped) {
            throw ServiceError("the service can be started once");
        }
        impl->started = true;
    }
    if (impl->options.watchCatalogMilliseconds > 0) {
        impl->WatchCatalog();
    }
    impl->server->Run();
}

void VersionService::Stop() {
    {
        const std::lock_guard<std::mutex> lock(impl->stateMutex);
        impl->stopped = true;
    }
    // A held request is an answer being made: it goes on now and finishes.
    impl->ReleaseHeld();
    impl->server->Stop();
}

void VersionService::ReloadCatalog() { impl->Reload(); }

uint16_t VersionService::Port() const { return impl->server->Port(); }

std::string VersionService::BaseUrl() const {
    return (impl->server->Secure() ? "https://" : "http://") + impl->options.host + ":" +
           std::to_string(impl->server->Port());
}

std::vector<RequestRecord> VersionService::Requests() const {
    const std::lock_guard<std::mutex> lock(impl->recordsMutex);
    return impl->records;
}

int VersionService::AcceptedConnections() const { return impl->server->AcceptedConnections(); }

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
