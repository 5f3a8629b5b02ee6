// HttpServer.h: the event-driven HTTP/1.1 server under the version service, on Boost.Beast and
// Boost.Asio: a few threads serve every connection, so that idle keep-alive connections and slow
// clients cost memory, not threads. It reads requests (with limits on their size and on the time
// they may take), hands each to the handler, and writes the answer the handler gives back, later
// and from any thread if it likes, framed as it asks (also cut short, on purpose, for tests of
// clients).
#pragma once

#include "service/Answering.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace orvservice {

struct HttpRequest {
    std::string method;
    std::string target;  // path and query as sent
    std::string host;    // the Host header; empty when none came
    std::string referer;
    std::string userAgent;
    std::string remoteAddress;
    int version = 11;  // 10 or 11
};

// The body bytes of `answer` that go out for `request`: the half for a cut answer, none for HEAD.
std::size_t BytesSent(const ServiceAnswer& answer, const HttpRequest& request);

// Where an answer goes: the connection that read the request.
class AnswerSink {
public:
    virtual ~AnswerSink() = default;
    virtual void Take(ServiceAnswer answer) = 0;
};

// Gives the answer to one request, once, from any thread; the connection stays open until then.
class HttpResponder {
public:
    explicit HttpResponder(std::shared_ptr<AnswerSink> sink) : sink(std::move(sink)) {}
    void operator()(ServiceAnswer answer) const { sink->Take(std::move(answer)); }

private:
    std::shared_ptr<AnswerSink> sink;
};

// Called once per request, on a serving thread. `request` lasts for the call only.
using HttpHandler = std::function<void(const HttpRequest& request, HttpResponder respond)>;

struct HttpServerSettings {
    std::string host = "127.0.0.1";
    uint16_t port = 0;  // 0: any free port
    // HTTPS when both are given (PEM files).
    std::filesystem::path certificate;
    std::filesystem::path privateKey;
    // A connection is closed when no whole request has come this long after it opened or after
    // its last answer: idle keep-alive connections and clients that send too slowly alike.
    std::chrono::seconds requestTimeout{5};
    // A request line and headers longer than this in all are answered 414 (the request line
    // alone) or 431, and the connection closed.
    std::size_t headerLimit = 8192;
    // The serving threads; 0: one per processor.
    unsigned threads = 0;
};

class HttpServerCore;

class HttpServer {
public:
    // Binds; throws ServiceError (VersionService.h) when it cannot listen or use the certificate.
    HttpServer(const HttpServerSettings& settings, HttpHandler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    uint16_t Port() const;
    bool Secure() const;
    int AcceptedConnections() const;

    // Serves on threads of its own; returns once connections are accepted.
    void Start();
    // Serves on the calling thread (and the others of the settings) until Stop.
    void Run();
    // Stops accepting, ends connections waiting for a request, lets the answers under way finish
    // (and closes their connections then), and waits for the serving threads. Safe to call more
    // than once, and from a handler's thread of its own.
    void Stop();

    // Runs `then` on a serving thread once `delay` has passed: an answer that waits does not hold
    // a thread.
    void After(std::chrono::milliseconds delay, std::function<void()> then);

private:
    std::shared_ptr<HttpServerCore> impl;
};

}  // namespace orvservice
