// VersionService.cpp: the version service on its event-driven server: the waits that faults ask
// for before an answer, the record of requests, and the catalog, which can be taken again while
// the service runs. What each request is answered is Answering.cpp's.
#include "service/VersionService.h"

#include "AccessLog.h"
#include "Catalog.h"
#include "HttpServer.h"
#include "PathText.h"
#include "service/Answering.h"

#include <condition_variable>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>

namespace orvservice {

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

    // What the answers need of this service; set once the server listens.
    AnswerSettings answering;

    void Handle(const HttpRequest& request, const HttpResponder& respond);
    void Reply(const HttpRequest& request, const HttpResponder& respond, ServiceAnswer answer);

    // Hold, then delay, then `then`.
    void AfterWaits(const HttpRequest& request, bool hold, std::chrono::milliseconds delay,
                    std::function<void()> then);
};

void VersionService::Impl::Reply(const HttpRequest& request, const HttpResponder& respond,
                                 ServiceAnswer answer) {
    if (options.recordRequests) {
        const std::lock_guard<std::mutex> lock(recordsMutex);
        records.push_back(RequestRecord{request.method, request.target, answer.status});
    }
    if (accessLog->Enabled()) {
        accessLog->Write(request, answer.status, BytesSent(answer, request));
    }
    respond(std::move(answer));
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

void VersionService::Impl::AfterWaits(const HttpRequest& request, bool hold,
                                      std::chrono::milliseconds delay, std::function<void()> then) {
    if (hold) {
        std::unique_lock<std::mutex> lock(holdMutex);
        if (!holdsReleased) {
            held.push_back(RequestRecord{request.method, request.target, 0});
            heldContinuations.push_back([this, request, delay, then = std::move(then)]() mutable {
                AfterWaits(request, false, delay, std::move(then));
            });
            lock.unlock();
            holdChanged.notify_all();
            return;
        }
    }
    if (delay.count() <= 0) {
        then();
    } else if (options.delay) {
        options.delay(delay);
        then();
    } else {
        server->After(delay, std::move(then));
    }
}

void VersionService::Impl::Handle(const HttpRequest& request, const HttpResponder& respond) {
    // One catalog for the whole request, whatever a reload does meanwhile.
    ServiceReply reply = ReplyTo(ServiceRequest{request.method, request.target, request.host},
                                 CurrentCatalog(), answering);
    if (!reply.hold && reply.delay.count() <= 0) {
        Reply(request, respond, reply.answer());
        return;
    }
    // The request outlives the server's call.
    AfterWaits(request, reply.hold, reply.delay,
               [this, request, respond, answer = std::move(reply.answer)] {
                   Reply(request, respond, answer());
               });
}

void VersionService::Impl::Reload() {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(options.catalog, error);
    const auto size = std::filesystem::file_size(options.catalog, error);
    try {
        auto fresh = ReadCatalog(options.catalog, options.files);
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
    if (options.catalogTaken) {
        options.catalogTaken();
    }
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
    impl->catalog = ReadCatalog(options.catalog, options.files);
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
    impl->answering.secure = impl->server->Secure();
    impl->answering.listening = options.host + ":" + std::to_string(impl->server->Port());
    impl->answering.filesUrl = options.filesUrl;
    impl->answering.isFile = [files = options.files](const std::string& name) {
        return IsFileIn(files, name);
    };
    impl->answering.readFile = [files = options.files](const std::string& name) {
        std::ifstream stream(files / PathOfUtf8(name), std::ios::binary);
        std::ostringstream bytes;
        bytes << stream.rdbuf();
        return stream ? std::optional<std::string>(bytes.str()) : std::nullopt;
    };
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
