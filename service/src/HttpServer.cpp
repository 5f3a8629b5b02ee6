// HttpServer.cpp: the service's HTTP/1.1 server on Boost.Asio, with Boost.Beast's request parser.
// Each serving thread runs an io_context of its own, and the connections are dealt out among
// them as they are accepted: a connection's work never needs a lock against another thread's.
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
// How long the acceptor waits after an accept failed for want of descriptors or memory.
constexpr std::chrono::milliseconds kAcceptPause{100};
// What a read asks the system for at most.
constexpr std::size_t kReadBytes = 8 * 1024;

std::string Reason(int status) {
    const std::string_view reason = http::obsolete_reason(http::int_to_status(status));
    return reason == "<unknown-status>" ? "Status" : std::string(reason);
}

bool StatusHasBody(int status) { return status >= 200 && status != 204 && status != 304; }

unsigned ThreadCount(unsigned wanted) {
    return wanted != 0 ? wanted : std::max(1u, std::thread::hardware_concurrency());
}

using Socket = asio::basic_stream_socket<tcp, asio::io_context::executor_type>;

// Beast's request parser, keeping only what the service reads of a request, in the connection's
// own strings: once they have grown, a request costs no allocation. A body is read and dropped.
class RequestParser final : public http::basic_parser<true> {
public:
    explicit RequestParser(HttpRequest& request) : request(request) {
        request.method.clear();
        request.target.clear();
        request.host.clear();
        request.referer.clear();
        request.userAgent.clear();
    }

    bool GotRequestLine() const { return gotRequestLine; }

private:
    void on_request_impl(http::verb, beast::string_view method, beast::string_view target,
                         int version, beast::error_code&) override {
        request.method.assign(method.data(), method.size());
        request.target.assign(target.data(), target.size());
        request.version = version;
        gotRequestLine = true;
    }
    void on_response_impl(int, beast::string_view, int, beast::error_code&) override {}
    void on_field_impl(http::field name, beast::string_view, beast::string_view value,
                       beast::error_code&) override {
        std::string* into = name == http::field::host         ? &request.host
                            : name == http::field::referer    ? &request.referer
                            : name == http::field::user_agent ? &request.userAgent
                                                              : nullptr;
        if (into != nullptr && into->empty()) {  // the first of a repeated field counts
            into->assign(value.data(), value.size());
        }
    }
    void on_header_impl(beast::error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, beast::error_code&) override {}
    std::size_t on_body_impl(beast::string_view body, beast::error_code&) override {
        return body.size();
    }
    void on_chunk_header_impl(std::uint64_t, beast::string_view, beast::error_code&) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, beast::string_view body,
                                   beast::error_code&) override {
        return body.size();
    }
    void on_finish_impl(beast::error_code&) override {}

    HttpRequest& request;
    bool gotRequestLine = false;
};

// What the server asks of a connection, on the connection's own thread.
class Connection {
public:
    virtual ~Connection() = default;
    // The server stops: a wait for a request ends, an answer under way is the last.
    virtual void Shutdown() = 0;
    // Closes the connection when what it waits for is overdue at `now`.
    virtual void ExpireIfDue(std::chrono::steady_clock::time_point now) = 0;
};

}  // namespace

std::size_t BytesSent(const ServiceAnswer& answer, const HttpRequest& request) {
    if (request.method == "HEAD" || !StatusHasBody(answer.status)) {
        return 0;
    }
    const bool cut = answer.framing == ServiceAnswer::Framing::CutAfterLength ||
                     answer.framing == ServiceAnswer::Framing::CutInChunks;
    return cut ? answer.body.Size() / 2 : answer.body.Size();
}

// What one serving thread keeps: its io_context, its connections (touched on that thread only),
// and the coarse time by which their deadlines are measured, moved on by a timer each second, so
// that a request costs no timer of its own.
struct ServingThread {
    ServingThread() : context(BOOST_ASIO_CONCURRENCY_HINT_UNSAFE_IO), sweep(context) {}

    // One thread runs it, and a socket is used only on its connection's thread, so the sockets'
    // operations need no lock; posts and timers may come from any thread.
    asio::io_context context;
    asio::steady_timer sweep;
    std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    std::map<Connection*, std::weak_ptr<Connection>> connections;
};

class HttpServerCore : public std::enable_shared_from_this<HttpServerCore> {
public:
    HttpServerCore(const HttpServerSettings& settings, HttpHandler handler)
        : settings(settings), handler(std::move(handler)),
          serving(MakeThreads(ThreadCount(settings.threads))), acceptor(serving.front()->context),
          acceptPause(serving.front()->context) {
        for (const auto& thread : serving) {
            works.push_back(asio::make_work_guard(thread->context));
        }
    }

    void Listen();
    void Accept();
    void RunThreads(bool onCallingThread);
    void Stop();

    // On the connection's own thread.
    void Enter(ServingThread& thread, const std::shared_ptr<Connection>& connection);
    // From wherever the connection's last owner lets it go.
    void Leave(ServingThread& thread, Connection* connection);

    const HttpServerSettings settings;
    const HttpHandler handler;
    // The first also runs the acceptor and the timers of After.
    const std::vector<std::unique_ptr<ServingThread>> serving;
    std::optional<asio::ssl::context> tls;
    tcp::acceptor acceptor;
    asio::steady_timer acceptPause;  // after a failed accept
    uint16_t port = 0;
    std::atomic<int> accepted{0};
    std::atomic<bool> stopping{false};

private:
    static std::vector<std::unique_ptr<ServingThread>> MakeThreads(unsigned count) {
        std::vector<std::unique_ptr<ServingThread>> made;
        for (unsigned i = 0; i < count; ++i) {
            made.push_back(std::make_unique<ServingThread>());
        }
        return made;
    }
    // An accepted connection, dealt to `thread`.
    void Take(ServingThread& thread, Socket socket);
    template <class Stream> void Serve(ServingThread& thread, Socket socket);
    void Sweep(ServingThread& thread);

    std::vector<asio::executor_work_guard<asio::io_context::executor_type>> works;
    unsigned nextThread = 0;  // the acceptor's thread alone deals them out
    std::vector<std::thread> threads;
    std::mutex joinMutex;
    std::mutex mutex;
    std::condition_variable allRunnersEnded;
    int runners = 0;
    bool started = false;
};

namespace {

// One connection: reads a request, hands it to the handler, writes its answer, and so on while
// the client keeps it alive. Everything it does runs on its serving thread.
template <class Stream>
class StreamConnection final : public Connection,
                               public AnswerSink,
                               public std::enable_shared_from_this<StreamConnection<Stream>> {
public:
    StreamConnection(std::shared_ptr<HttpServerCore> server, ServingThread& thread, Stream stream,
                     std::string remote)
        : server(std::move(server)), thread(thread), stream(std::move(stream)) {
        request.remoteAddress = std::move(remote);
    }

    ~StreamConnection() override { server->Leave(thread, this); }

    void Begin() {
        if constexpr (kSecure) {
            deadline = Due(server->settings.requestTimeout);
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
        closeAfterAnswer = true;
        if (reading) {
            Close();  // the read ends, and the connection with it
        }
    }

    void ExpireIfDue(std::chrono::steady_clock::time_point now) override {
        if (deadline <= now) {
            Close();
        }
    }

    void Take(ServiceAnswer answer) override {
        if (thread.context.get_executor().running_in_this_thread()) {
            Answer(std::move(answer));
            return;
        }
        asio::post(thread.context,
                   [self = this->shared_from_this(), answer = std::move(answer)]() mutable {
                       self->Answer(std::move(answer));
                   });
    }

private:
    static constexpr bool kSecure = !std::is_same_v<Stream, Socket>;

    Socket& Lowest() {
        if constexpr (kSecure) {
            return stream.next_layer();
        } else {
            return stream;
        }
    }

    void Close() {
        beast::error_code ignored;
        Lowest().close(ignored);
    }

    // A second more than asked, as the serving thread's time may be that far behind.
    std::chrono::steady_clock::time_point Due(std::chrono::seconds within) const {
        return thread.now + within + std::chrono::seconds(1);
    }

    void Read() {
        reading = true;
        parser.emplace(request);
        parser->header_limit(static_cast<std::uint32_t>(server->settings.headerLimit));
        parser->body_limit(kBodyLimit);
        deadline = Due(server->settings.requestTimeout);
        Parse();
    }

    // Feeds the parser what the buffer holds (a pipelined request may be there already), and
    // reads more while the request is not whole.
    void Parse() {
        while (buffer.size() > 0) {
            beast::error_code error;
            const std::size_t used = parser->put(buffer.data(), error);
            buffer.consume(used);
            if (error == http::error::need_more) {
                break;
            }
            if (error || parser->is_done()) {
                OnRequest(error);
                return;
            }
            if (used == 0) {
                break;
            }
        }
        stream.async_read_some(
            buffer.prepare(kReadBytes),
            [self = this->shared_from_this()](beast::error_code error, std::size_t count) {
                if (error) {
                    return;  // the peer went, or the time for a request ran out
                }
                self->buffer.commit(count);
                self->Parse();
            });
    }

    void OnRequest(beast::error_code error) {
        reading = false;
        deadline = kNever;
        if (error == http::error::header_limit) {
            // The request line alone is too long when the parser has not got past it and no line
            // of what waits in the buffer has ended either.
            const auto data = buffer.cdata();
            const std::string_view received(static_cast<const char*>(data.data()), data.size());
            const bool requestLineEnded =
                parser->GotRequestLine() || received.find("\r\n") != std::string_view::npos;
            RefuseAndClose(requestLineEnded ? 431 : 414);
            return;
        }
        if (error == http::error::body_limit) {
            RefuseAndClose(413);
            return;
        }
        if (error) {
            RefuseAndClose(400);  // not HTTP
            return;
        }
        keepAlive = parser->keep_alive();
        head = request.method == "HEAD";
        http10 = request.version == 10;
        server->handler(request, HttpResponder(this->shared_from_this()));
    }

    void RefuseAndClose(int status) {
        keepAlive = false;
        head = false;
        http10 = false;
        Answer(TextAnswer(status, Reason(status)));
    }

    void Answer(ServiceAnswer given) {
        answer = std::move(given);
        const bool cut = answer.framing == ServiceAnswer::Framing::CutAfterLength ||
                         answer.framing == ServiceAnswer::Framing::CutInChunks;
        chunked = answer.framing == ServiceAnswer::Framing::Chunked ||
                  answer.framing == ServiceAnswer::Framing::CutInChunks;
        closeAfterAnswer = closeAfterAnswer || !keepAlive || cut;
        const bool hasBody = StatusHasBody(answer.status);
        offset = 0;
        end = head || !hasBody ? 0 : cut ? answer.body.Size() / 2 : answer.body.Size();

        out.clear();
        out += "HTTP/1.1 ";
        out += std::to_string(answer.status);
        out += ' ';
        out += Reason(answer.status);
        out += "\r\n";
        for (const auto& [name, value] : answer.headers) {
            out += name;
            out += ": ";
            out += value;
            out += "\r\n";
        }
        if (chunked) {
            out += "Transfer-Encoding: chunked\r\n";
        } else if (hasBody) {
            out += "Content-Length: ";
            out += std::to_string(answer.body.Size());
            out += "\r\n";
        }
        if (closeAfterAnswer) {
            out += "Connection: close\r\n";
        } else if (http10) {
            out += "Connection: keep-alive\r\n";
        }
        out += "\r\n";
        AppendBody(kPieceBytes);
        WriteOut();
    }

    // Adds up to `most` bytes of the body to `out`, framed.
    void AppendBody(std::size_t most) {
        while (offset < end && most > 0) {
            const std::string_view piece = answer.body.Piece(offset, std::min(most, end - offset));
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
        const bool cut = answer.framing == ServiceAnswer::Framing::CutInChunks;
        if (offset == end && chunked && !cut && !lastChunkWritten) {
            out += "0\r\n\r\n";
            lastChunkWritten = true;
        }
    }

    void WriteOut() {
        deadline = Due(kWriteTimeout);
        sent = 0;
        if constexpr (!kSecure) {
            // Most answers leave in one call, with no handler to run after it: a thread's round
            // over its ready connections then ends in a wait for more, not in a queue of writes.
            for (;;) {
                beast::error_code error;
                sent +=
                    stream.write_some(asio::buffer(out.data() + sent, out.size() - sent), error);
                if (error == asio::error::would_block) {
                    break;  // the rest when the peer has taken some
                }
                if (error) {
                    return;  // the peer went
                }
                if (sent < out.size()) {
                    continue;
                }
                if (offset < end) {
                    NextPiece();
                    continue;
                }
                // A request that waits in the buffer goes to the back of the queue, behind the
                // other connections, instead of being answered from within this answer.
                AnswerWritten(/*nested=*/true);
                return;
            }
        }
        asio::async_write(stream, asio::buffer(out.data() + sent, out.size() - sent),
                          [self = this->shared_from_this()](beast::error_code error, std::size_t) {
                              self->OnWritten(error);
                          });
    }

    void NextPiece() {
        out.clear();
        sent = 0;
        AppendBody(kPieceBytes);
    }

    void OnWritten(beast::error_code error) {
        if (error) {
            return;
        }
        if (offset < end) {
            NextPiece();
            WriteOut();
            return;
        }
        AnswerWritten(/*nested=*/false);
    }

    void AnswerWritten(bool nested) {
        lastChunkWritten = false;
        answer = ServiceAnswer();
        if (closeAfterAnswer) {
            // Only the connection's end tells a client of a cut answer that bytes are missing;
            // the others have read every byte they were promised.
            beast::error_code ignored;
            Lowest().shutdown(tcp::socket::shutdown_send, ignored);
            Close();
            return;
        }
        if (nested && buffer.size() > 0) {
            asio::post(thread.context, [self = this->shared_from_this()] { self->Read(); });
            return;
        }
        Read();
    }

    static constexpr auto kNever = std::chrono::steady_clock::time_point::max();

    std::shared_ptr<HttpServerCore> server;
    ServingThread& thread;
    Stream stream;
    beast::flat_buffer buffer;
    HttpRequest request;  // the one being answered
    std::optional<RequestParser> parser;
    std::chrono::steady_clock::time_point deadline = kNever;
    bool reading = false;
    bool keepAlive = false;
    bool head = false;
    bool http10 = false;
    bool closeAfterAnswer = false;

    // The answer being written.
    ServiceAnswer answer;
    std::string out;
    std::size_t sent = 0;  // of `out`
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
        tcp::resolver resolver(serving.front()->context);
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
        serviceport::KeepFromChildren(acceptor.native_handle());
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (!error) {
        acceptor.non_blocking(true, error);  // Accept takes connections until none waits
    }
    if (error) {
        throw ServiceError("cannot listen on " + where + ": " + error.message());
    }
    port = acceptor.local_endpoint().port();
}

template <class Stream> void HttpServerCore::Serve(ServingThread& thread, Socket socket) {
    beast::error_code error;
    socket.set_option(tcp::no_delay(true), error);  // answers leave at once
    socket.non_blocking(true, error);               // a write that cannot go on says so
    const auto peer = socket.remote_endpoint(error);
    const std::string remote = error ? std::string("-") : peer.address().to_string();
    std::shared_ptr<StreamConnection<Stream>> connection;
    if constexpr (std::is_same_v<Stream, Socket>) {
        connection = std::make_shared<StreamConnection<Stream>>(shared_from_this(), thread,
                                                                std::move(socket), remote);
    } else {
        connection = std::make_shared<StreamConnection<Stream>>(
            shared_from_this(), thread, Stream(std::move(socket), *tls), remote);
    }
    Enter(thread, connection);
    connection->Begin();
}

void HttpServerCore::Accept() {
    ServingThread& next = *serving[nextThread % serving.size()];
    acceptor.async_accept(
        next.context, [self = shared_from_this(), &next](beast::error_code error, Socket socket) {
            if (error == asio::error::operation_aborted || !self->acceptor.is_open()) {
                return;  // stopped
            }
            if (!error) {
                self->Take(next, std::move(socket));
                // Every other connection that waits is taken now too, not one a round of the first
                // thread's other work: a burst of new clients is not kept behind the ones being
                // served.
                for (;;) {
                    ServingThread& after = *self->serving[self->nextThread % self->serving.size()];
                    Socket waiting = self->acceptor.accept(after.context, error);
                    if (error) {
                        break;
                    }
                    self->Take(after, std::move(waiting));
                }
            }
            if (!error || error == asio::error::would_block || error == asio::error::try_again) {
                self->Accept();
                return;
            }
            // Out of descriptors and the like: tried again a little later rather than at once,
            // which would only spin.
            self->acceptPause.expires_after(kAcceptPause);
            self->acceptPause.async_wait([self](beast::error_code paused) {
                if (!paused && self->acceptor.is_open()) {
                    self->Accept();
                }
            });
        });
}

void HttpServerCore::Take(ServingThread& thread, Socket socket) {
    serviceport::KeepFromChildren(socket.native_handle());
    ++nextThread;
    ++accepted;
    // The connection starts on its own thread, which alone touches it from then on.
    asio::post(thread.context,
               [self = shared_from_this(), &thread, socket = std::move(socket)]() mutable {
                   if (self->tls) {
                       self->Serve<asio::ssl::stream<Socket>>(thread, std::move(socket));
                   } else {
                       self->Serve<Socket>(thread, std::move(socket));
                   }
               });
}

void HttpServerCore::Enter(ServingThread& thread, const std::shared_ptr<Connection>& connection) {
    thread.connections[connection.get()] = connection;
    if (stopping) {
        connection->Shutdown();
    }
}

void HttpServerCore::Leave(ServingThread& thread, Connection* connection) {
    // The last owner may be another thread's (an answer given from there): the entry goes on the
    // connection's own thread, where the sweep finds it gone in the meantime.
    asio::post(thread.context, [self = shared_from_this(), &thread, connection] {
        thread.connections.erase(connection);
        if (self->stopping && thread.connections.empty()) {
            thread.sweep.cancel();  // nothing left to wait for
        }
    });
}

void HttpServerCore::Sweep(ServingThread& thread) {
    thread.sweep.expires_after(std::chrono::seconds(1));
    thread.sweep.async_wait([self = shared_from_this(), &thread](beast::error_code) {
        thread.now = std::chrono::steady_clock::now();
        for (auto it = thread.connections.begin(); it != thread.connections.end();) {
            if (auto connection = it->second.lock()) {
                connection->ExpireIfDue(thread.now);
                ++it;
            } else {
                it = thread.connections.erase(it);
            }
        }
        if (!self->stopping || !thread.connections.empty()) {
            self->Sweep(thread);
        }
    });
}

void HttpServerCore::RunThreads(bool onCallingThread) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (started || stopping) {
            throw ServiceError("the service can be started once");
        }
        started = true;
        runners = static_cast<int>(serving.size());
    }
    Accept();
    for (const auto& thread : serving) {
        Sweep(*thread);
    }
    const auto run = [self = shared_from_this()](ServingThread& thread) {
        thread.context.run();
        const std::lock_guard<std::mutex> lock(self->mutex);
        if (--self->runners == 0) {
            self->allRunnersEnded.notify_all();
        }
    };
    for (std::size_t i = onCallingThread ? 1 : 0; i < serving.size(); ++i) {
        threads.emplace_back(run, std::ref(*serving[i]));
    }
    if (onCallingThread) {
        run(*serving.front());
    }
}

void HttpServerCore::Stop() {
    bool wasStarted = false;
    const bool first = !stopping.exchange(true);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        wasStarted = started;
    }
    if (first) {
        beast::error_code ignored;
        if (wasStarted) {
            asio::post(serving.front()->context, [self = shared_from_this()] {
                beast::error_code ignored;
                self->acceptor.close(ignored);
                self->acceptPause.cancel();
            });
            for (const auto& thread : serving) {
                asio::post(thread->context, [&thread = *thread] {
                    for (const auto& [raw, weak] : thread.connections) {
                        if (auto connection = weak.lock()) {
                            connection->Shutdown();
                        }
                    }
                    if (thread.connections.empty()) {
                        thread.sweep.cancel();
                    }
                });
            }
        } else {
            acceptor.close(ignored);  // nothing runs that could use it
        }
        // The threads end once the last answer under way is written.
        for (auto& work : works) {
            work.reset();
        }
    }
    const bool onServingThread =
        std::any_of(serving.begin(), serving.end(), [](const auto& thread) {
            return thread->context.get_executor().running_in_this_thread();
        });
    if (!wasStarted || onServingThread) {
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

void HttpServer::Start() { impl->RunThreads(false); }

void HttpServer::Run() { impl->RunThreads(true); }

void HttpServer::Stop() { impl->Stop(); }

void HttpServer::After(std::chrono::milliseconds delay, std::function<void()> then) {
    auto timer = std::make_shared<asio::steady_timer>(impl->serving.front()->context, delay);
    timer->async_wait([timer, then = std::move(then)](beast::error_code) { then(); });
}

}  // namespace orvservice
