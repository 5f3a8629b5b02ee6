// HttpServer.cpp: the service's HTTP/1.1 server on Boost.Asio, with Boost.Beast's request parser.
// Each connection lives on a strand of its own; the threads of one io_context serve them all.
// The answer's bytes are written here rather than by Beast's serializer, so that a fault can cut
// them exactly where it says.
#include "HttpServer.h"

#include "PathText.h"
#include "ServicePort.h"
#include "service/VersionService.h"

#include <algorithm>
#include <atomic>
#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

namespace orvservice {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

namespace {

// A request's body is of no use to this service; one this large is refused with 413.
constexpr std::size_t kBodyLimit = 64 * 1024;
// How long an answer's bytes may take to leave, and a TLS handshake to finish.
constexpr std::chrono::seconds kWriteTimeout{30};
// A body up to this size goes out in one write with its head; a larger one in pieces this size.
constexpr std::size_t kPieceBytes = 64 * 1024;

std::string Field(const http::request<http::string_body>& request, http::field field) {
    const auto found = request.find(field);
    return found != request.end() ? std::string(found->value()) : std::string();
}

std::string Reason(int status) {
    const std::string_view reason = http::obsolete_reason(http::int_to_status(status));
    return reason == "<unknown-status>" ? "Status" : std::string(reason);
}

bool StatusHasBody(int status) { return status >= 200 && status != 204 && status != 304; }

unsigned ThreadCount(unsigned wanted) {
    return wanted != 0 ? wanted : std::max(1u, std::thread::hardware_concurrency());
}

// What a connection says of itself to the server that stops.
class Connection {
public:
    virtual ~Connection() = default;
    virtual void Shutdown() = 0;
};

}  // namespace

HttpBody HttpBody::FromText(std::string text) {
    auto shared = std::make_shared<const std::string>(std::move(text));
    return HttpBody{shared->size(), [shared](std::size_t offset, std::size_t most) {
                        return std::string_view(*shared).substr(offset, most);
                    }};
}

HttpBody HttpBody::Pattern(std::size_t size) {
    static const std::string block = [] {
        std::string text;
        while (text.size() < kPieceBytes + 10) {
            text += "0123456789";
        }
        return text;
    }();
    return HttpBody{size, [size](std::size_t offset, std::size_t most) {
                        const std::size_t count = std::min({most, size - offset, kPieceBytes});
                        return std::string_view(block).substr(offset % 10, count);
                    }};
}

std::size_t HttpResponse::BytesSent(const HttpRequest& request) const {
    if (request.method == "HEAD" || !StatusHasBody(status)) {
        return 0;
    }
    const bool cut = framing == Framing::CutAfterLength || framing == Framing::CutInChunks;
    return cut ? body.size / 2 : body.size;
}

class HttpServerCore : public std::enable_shared_from_this<HttpServerCore> {
public:
    HttpServerCore(const HttpServerSettings& settings, HttpHandler handler)
        : settings(settings), handler(std::move(handler)), acceptor(asio::make_strand(context)),
          work(asio::make_work_guard(context)) {}

    void Listen();
    void Accept();
    void RunThreads(unsigned count, bool onCallingThread);
    void Stop();

    void Enter(const std::shared_ptr<Connection>& connection);
    void Leave(Connection* connection);

    const HttpServerSettings settings;
    const HttpHandler handler;
    asio::io_context context;
    std::optional<asio::ssl::context> tls;
    tcp::acceptor acceptor;
    uint16_t port = 0;
    std::atomic<int> accepted{0};

private:
    template <class Stream> void Serve(tcp::socket socket);

    asio::executor_work_guard<asio::io_context::executor_type> work;
    std::vector<std::thread> threads;
    std::mutex joinMutex;
    std::mutex mutex;
    std::condition_variable allRunnersEnded;
    int runners = 0;
    bool started = false;
    bool stopping = false;
    std::map<Connection*, std::weak_ptr<Connection>> connections;
};

namespace {

// One connection: reads a request, hands it to the handler, writes its answer, and so on while
// the client keeps it alive. Everything it does runs on its stream's strand.
template <class Stream>
class StreamConnection final : public Connection,
                               public std::enable_shared_from_this<StreamConnection<Stream>> {
public:
    StreamConnection(std::shared_ptr<HttpServerCore> server, Stream stream, std::string remote)
        : server(std::move(server)), stream(std::move(stream)), remote(std::move(remote)) {}

    ~StreamConnection() override { server->Leave(this); }

    void Begin() {
        if constexpr (kSecure) {
            Lowest().expires_after(server->settings.requestTimeout);
            stream.async_handshake(asio::ssl::stream_base::server,
                                   [self = this->shared_from_this()](beast::error_code error) {
                                       if (!error) {
                                           self->Read();
                                       }
                                   });
        } else {
            Read();
        }
    }

    void Shutdown() override {
        asio::post(stream.get_executor(), [self = this->shared_from_this()] {
            self->closeAfterAnswer = true;
            if (self->reading) {
                self->Lowest().close();  // the read ends, and the connection with it
            }
        });
    }

private:
    static constexpr bool kSecure = !std::is_same_v<Stream, beast::tcp_stream>;

    beast::tcp_stream& Lowest() { return beast::get_lowest_layer(stream); }

    void Read() {
        reading = true;
        parser.emplace();
        parser->header_limit(static_cast<std::uint32_t>(server->settings.headerLimit));
        parser->body_limit(kBodyLimit);
        Lowest().expires_after(server->settings.requestTimeout);
        http::async_read(stream, buffer, *parser,
                         [self = this->shared_from_this()](beast::error_code error, std::size_t) {
                             self->OnRead(error);
                         });
    }

    void OnRead(beast::error_code error) {
        reading = false;
        if (error == http::error::header_limit) {
            // The request line alone is too long when the parser has not got past it and no line
            // of what waits in the buffer has ended either.
            const auto data = buffer.cdata();
            const std::string_view received(static_cast<const char*>(data.data()), data.size());
            const bool requestLineEnded = !parser->get().target().empty() ||
                                          received.find("\r\n") != std::string_view::npos;
            RefuseAndClose(requestLineEnded ? 431 : 414);
            return;
        }
        if (error == http::error::body_limit) {
            RefuseAndClose(413);
            return;
        }
        const bool malformed =
            error.category() == http::make_error_code(http::error::bad_target).category() &&
            error != http::error::end_of_stream && error != http::error::partial_message;
        if (malformed) {
            RefuseAndClose(400);  // not HTTP
            return;
        }
        if (error) {
            return;  // the peer went, or the time for a request ran out: the connection ends
        }
        const http::request<http::string_body>& message = parser->get();
        HttpRequest request;
        request.method = std::string(message.method_string());
        request.target = std::string(message.target());
        request.host = Field(message, http::field::host);
        request.referer = Field(message, http::field::referer);
        request.userAgent = Field(message, http::field::user_agent);
        request.remoteAddress = remote;
        request.version = message.version();
        keepAlive = message.keep_alive();
        server->handler(
            request, [self = this->shared_from_this(), request](HttpResponse response) mutable {
                const auto executor = self->stream.get_executor();
                asio::dispatch(executor, [self = std::move(self), request = std::move(request),
                                          response = std::move(response)]() mutable {
                    self->Answer(request, std::move(response));
                });
            });
    }

    void RefuseAndClose(int status) {
        keepAlive = false;
        HttpRequest request;
        request.method = "GET";
        HttpResponse response;
        response.status = status;
        response.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
        response.body = HttpBody::FromText(Reason(status) + "\n");
        Answer(request, std::move(response));
    }

    void Answer(const HttpRequest& request, HttpResponse response) {
        answer = std::move(response);
        const bool cut = answer.framing == HttpResponse::Framing::CutAfterLength ||
                         answer.framing == HttpResponse::Framing::CutInChunks;
        chunked = answer.framing == HttpResponse::Framing::Chunked ||
                  answer.framing == HttpResponse::Framing::CutInChunks;
        closeAfterAnswer = closeAfterAnswer || !keepAlive || cut;
        const bool hasBody = StatusHasBody(answer.status);
        offset = 0;
        end = request.method == "HEAD" || !hasBody ? 0
              : cut                                ? answer.body.size / 2
                                                   : answer.body.size;

        out = "HTTP/1.1 " + std::to_string(answer.status) + " " + Reason(answer.status) + "\r\n";
        for (const auto& [name, value] : answer.headers) {
            out += name + ": " + value + "\r\n";
        }
        if (chunked) {
            out += "Transfer-Encoding: chunked\r\n";
        } else if (hasBody) {
            out += "Content-Length: " + std::to_string(answer.body.size) + "\r\n";
        }
        if (closeAfterAnswer) {
            out += "Connection: close\r\n";
        } else if (request.version == 10) {
            out += "Connection: keep-alive\r\n";
        }
        out += "\r\n";
        AppendBody(kPieceBytes);
        WriteOut();
    }

    // Adds up to `most` bytes of the body to `out`, framed.
    void AppendBody(std::size_t most) {
        while (offset < end && most > 0) {
            const std::string_view piece = answer.body.piece(offset, std::min(most, end - offset));
            if (chunked) {
                char size[20];
                const int length = std::snprintf(size, sizeof size, "%zx\r\n", piece.size());
                out.append(size, static_cast<std::size_t>(length));
            }
            out.append(piece);
            if (chunked) {
                out += "\r\n";
            }
            offset += piece.size();
            most -= std::min(most, piece.size());
        }
        const bool cut = answer.framing == HttpResponse::Framing::CutInChunks;
        if (offset == end && chunked && !cut && !lastChunkWritten) {
            out += "0\r\n\r\n";
            lastChunkWritten = true;
        }
    }

    void WriteOut() {
        Lowest().expires_after(kWriteTimeout);
        asio::async_write(stream, asio::buffer(out),
                          [self = this->shared_from_this()](beast::error_code error, std::size_t) {
                              self->OnWritten(error);
                          });
    }

    void OnWritten(beast::error_code error) {
        if (error) {
            return;
        }
        out.clear();
        if (offset < end) {
            AppendBody(kPieceBytes);
            WriteOut();
            return;
        }
        lastChunkWritten = false;
        answer = HttpResponse();
        if (closeAfterAnswer) {
            // Only the connection's end tells a client of a cut answer that bytes are missing;
            // the others have read every byte they were promised.
            beast::error_code ignored;
            Lowest().socket().shutdown(tcp::socket::shutdown_send, ignored);
            Lowest().close();
            return;
        }
        Read();
    }

    std::shared_ptr<HttpServerCore> server;
    Stream stream;
    const std::string remote;
    beast::flat_buffer buffer;
    std::optional<http::request_parser<http::string_body>> parser;
    bool reading = false;
    bool keepAlive = false;
    bool closeAfterAnswer = false;

    // The answer being written.
    HttpResponse answer;
    std::string out;
    std::size_t offset = 0;
    std::size_t end = 0;
    bool chunked = false;
    bool lastChunkWritten = false;
};

}  // namespace

void HttpServerCore::Listen() {
    beast::error_code error;
    asio::ip::address address = asio::ip::make_address(settings.host, error);
    if (error) {
        tcp::resolver resolver(context);
        const auto found = resolver.resolve(settings.host, "", error);
        if (error || found.empty()) {
            throw ServiceError("cannot listen on " + settings.host + ": no such address");
        }
        address = found.begin()->endpoint().address();
    }
    const tcp::endpoint endpoint(address, settings.port);
    const std::string where =
        settings.host + ":" + (settings.port == 0 ? "(any port)" : std::to_string(settings.port));
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        serviceport::KeepAddressToOneService(acceptor.native_handle());
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        throw ServiceError("cannot listen on " + where + ": " + error.message());
    }
    port = acceptor.local_endpoint().port();
}

template <class Stream> void HttpServerCore::Serve(tcp::socket socket) {
    beast::error_code error;
    socket.set_option(tcp::no_delay(true), error);  // answers leave at once
    const auto peer = socket.remote_endpoint(error);
    const std::string remote = error ? std::string("-") : peer.address().to_string();
    std::shared_ptr<StreamConnection<Stream>> connection;
    if constexpr (std::is_same_v<Stream, beast::tcp_stream>) {
        connection = std::make_shared<StreamConnection<Stream>>(
            shared_from_this(), beast::tcp_stream(std::move(socket)), remote);
    } else {
        connection = std::make_shared<StreamConnection<Stream>>(
            shared_from_this(), Stream(beast::tcp_stream(std::move(socket)), *tls), remote);
    }
    Enter(connection);
    connection->Begin();
}

void HttpServerCore::Accept() {
    acceptor.async_accept(
        asio::make_strand(context),
        [self = shared_from_this()](beast::error_code error, tcp::socket socket) {
            if (error == asio::error::operation_aborted || !self->acceptor.is_open()) {
                return;  // stopped
            }
            if (!error) {
                ++self->accepted;
                if (self->tls) {
                    self->Serve<beast::ssl_stream<beast::tcp_stream>>(std::move(socket));
                } else {
                    self->Serve<beast::tcp_stream>(std::move(socket));
                }
            }
            // Out of descriptors and the like: the next accept may do better.
            self->Accept();
        });
}

void HttpServerCore::Enter(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard<std::mutex> lock(mutex);
    connections[connection.get()] = connection;
    if (stopping) {
        connection->Shutdown();
    }
}

void HttpServerCore::Leave(Connection* connection) {
    const std::lock_guard<std::mutex> lock(mutex);
    connections.erase(connection);
}

void HttpServerCore::RunThreads(unsigned count, bool onCallingThread) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (started || stopping) {
            throw ServiceError("the service can be started once");
        }
        started = true;
        runners = static_cast<int>(count);
    }
    Accept();
    const auto run = [self = shared_from_this()] {
        self->context.run();
        const std::lock_guard<std::mutex> lock(self->mutex);
        if (--self->runners == 0) {
            self->allRunnersEnded.notify_all();
        }
    };
    for (unsigned i = onCallingThread ? 1 : 0; i < count; ++i) {
        threads.emplace_back(run);
    }
    if (onCallingThread) {
        run();
    }
}

void HttpServerCore::Stop() {
    std::vector<std::shared_ptr<Connection>> open;
    bool first = false;
    bool wasStarted = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        first = !stopping;
        stopping = true;
        wasStarted = started;
        for (const auto& [raw, weak] : connections) {
            if (auto connection = weak.lock(); connection && first) {
                open.push_back(std::move(connection));
            }
        }
    }
    if (first) {
        beast::error_code ignored;
        if (wasStarted) {
            asio::dispatch(acceptor.get_executor(), [self = shared_from_this()] {
                beast::error_code ignored;
                self->acceptor.close(ignored);
            });
        } else {
            acceptor.close(ignored);  // nothing runs that could use it
        }
        for (const auto& connection : open) {
            connection->Shutdown();
        }
        // The threads end once the last answer under way is written.
        work.reset();
    }
    if (!wasStarted || context.get_executor().running_in_this_thread()) {
        return;  // not serving, or a handler stopped the service: nothing to wait for here
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        allRunnersEnded.wait(lock, [this] { return runners == 0; });
    }
    const std::lock_guard<std::mutex> lock(joinMutex);
    for (std::thread& thread : threads) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

HttpServer::HttpServer(const HttpServerSettings& settings, HttpHandler handler)
    : impl(std::make_shared<HttpServerCore>(settings, std::move(handler))) {
    if (!settings.certificate.empty() || !settings.privateKey.empty()) {
        if (settings.certificate.empty() || settings.privateKey.empty()) {
            throw ServiceError("HTTPS needs both a certificate and a private key");
        }
        impl->tls.emplace(asio::ssl::context::tls_server);
        beast::error_code error;
        // OpenSSL reads its file names as UTF-8 on Windows too.
        impl->tls->use_certificate_chain_file(Utf8OfPath(settings.certificate), error);
        if (!error) {
            impl->tls->use_private_key_file(Utf8OfPath(settings.privateKey),
                                            asio::ssl::context::pem, error);
        }
        if (error) {
            throw ServiceError("cannot use the certificate " + Utf8OfPath(settings.certificate) +
                               " with the key " + Utf8OfPath(settings.privateKey));
        }
    }
    impl->Listen();
}

HttpServer::~HttpServer() { Stop(); }

uint16_t HttpServer::Port() const { return impl->port; }

bool HttpServer::Secure() const { return impl->tls.has_value(); }

int HttpServer::AcceptedConnections() const { return impl->accepted; }

void HttpServer::Start() { impl->RunThreads(ThreadCount(impl->settings.threads), false); }

void HttpServer::Run() { impl->RunThreads(ThreadCount(impl->settings.threads), true); }

void HttpServer::Stop() { impl->Stop(); }

void HttpServer::After(std::chrono::milliseconds delay, std::function<void()> then) {
    auto timer = std::make_shared<asio::steady_timer>(impl->context, delay);
    timer->async_wait([timer, then = std::move(then)](beast::error_code) { then(); });
}

}  // namespace orvservice
