// HttpGet_linux.cpp: the blocking HTTP GET of the add-on on libcurl, with the behaviour, the
// step order and the error numbers of the Windows HTTP client it stands in for.
//
// One easy handle serves the process, so that libcurl keeps connections and TLS sessions open
// between requests. Everything runs on the caller's thread inside curl_easy_perform, but for the
// mapping of a large body's pages (BodyRoom_linux.h); the callbacks below note what happened, and
// the failure is thrown once libcurl has returned, as no exception may cross libcurl's C frames.
#include "BodyRoom_linux.h"
#include "HttpFailures.h"
#include "HttpProgress.h"
#include "HttpRequest.h"
#include "net/HttpGet.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <curl/curl.h>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
namespace {

constexpr long kMaxRedirects = 10;
// What libcurl takes from the socket at once. The read loop's blocks, which the listener hears
// of, stay kBlockSize (WriteCallback splits what arrives); fewer, larger reads make a large body
// arrive sooner.
constexpr long kReceiveBytes = 256 * 1024;

// The Windows HTTP client's error numbers, so that the texts are the same on every platform.
enum WinHttpError : unsigned {
    kErrorNotEnoughMemory = 8,
    kErrorInvalidParameter = 87,
    kErrorTimeout = 12002,
    kErrorInternal = 12004,
    kErrorInvalidUrl = 12005,
    kErrorNameNotResolved = 12007,
    kErrorCannotConnect = 12029,
    kErrorConnectionError = 12030,
    kErrorInvalidServerResponse = 12152,
    kErrorRedirectFailed = 12156,
    kErrorSecureFailure = 12175,
};

CURL* session = nullptr;
HttpTimeouts timeouts;

// The request carries the host and the agent and nothing of its own: this takes libcurl's
// "Accept" out. A list of one fixed entry that libcurl only reads, so that it lives as long as
// the handle that points to it, and no request allocates it anew.
char noAcceptText[] = "Accept:";
curl_slist noAcceptHeader{noAcceptText, nullptr};

using SteadyClock = std::chrono::steady_clock;

// Why a callback stopped the transfer.
enum class Abort { None, Status, Idle, Listener };

// One GET as the callbacks see it.
struct Exchange {
    CURL* handle = nullptr;
    GetProgressListener* listener = nullptr;
    BodyRoom* room = nullptr;

    // The response whose headers are arriving: a redirect or an informational answer is
    // followed by another one.
    bool inResponse = false;
    bool anyResponse = false;
    bool currentSecure = false;
    std::optional<std::string> location;
    std::optional<WString> contentLength;
    std::optional<WString> contentDisposition;
    bool seenContentLength = false;
    bool seenContentDisposition = false;

    // The final response.
    bool bodyStarted = false;
    int32_t total = -1;
    std::optional<DownloadProgress> progress;

    Abort abort = Abort::None;
    long status = 0;
    std::exception_ptr listenerError;

    // For the time without data; the count tells when libcurl has started a new request.
    SteadyClock::time_point lastData = SteadyClock::now();
    curl_off_t lastPretransfer = -1;
};

bool EqualsNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               const auto lower = [](char c) {
                   return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
               };
               return lower(x) == lower(y);
           });
}

std::string_view TrimBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

WString ToWString(const GS::UniString& text) {
    return WString(text.ToUStr().Get(), text.GetLength());
}

// A header value as the client hands it over: wide text in the system's code page, or nothing
// when it does not fit the buffer.
std::optional<WString> HeaderValue(std::string_view raw) {
    const GS::UniString text(std::string(raw).c_str());
    if ((static_cast<size_t>(text.GetLength()) + 1) * sizeof(char16_t) > kHeaderBufferBytes) {
        return std::nullopt;
    }
    return ToWString(text);
}

// The scheme a Location value leads to: its own, or the current one when it is relative.
bool LocationIsSecure(const std::string& location, bool currentSecure) {
    size_t i = 0;
    const auto isAlpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    if (location.empty() || !isAlpha(location[0])) {
        return currentSecure;
    }
    while (i < location.size() &&
           (isAlpha(location[i]) || (location[i] >= '0' && location[i] <= '9') ||
            location[i] == '+' || location[i] == '-' || location[i] == '.')) {
        ++i;
    }
    if (i == location.size() || location[i] != ':') {
        return currentSecure;
    }
    return EqualsNoCase(std::string_view(location).substr(0, i), "https");
}

bool IsRedirectStatus(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Runs a call to the listener inside a callback, where no exception may pass: what it throws is
// kept for HttpGet to throw again. False stops the transfer.
template <typename Call> bool CallListener(Exchange& exchange, Call call) {
    try {
        call();
    } catch (...) {
        exchange.listenerError = std::current_exception();
        exchange.abort = Abort::Listener;
        return false;
    }
    return true;
}

// One block of the read loop: `size` bytes have arrived (0 for the final, empty read).
bool ReportBlock(Exchange& exchange, size_t size) {
    return CallListener(exchange, [&] { exchange.progress->Block(size); });
}

// The headers of a response are complete. False stops the transfer.
bool OnHeadersComplete(Exchange& exchange) {
    exchange.inResponse = false;
    long status = 0;
    if (curl_easy_getinfo(exchange.handle, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK) {
        status = 0;
    }
    // An informational answer: the real one follows on the same request.
    if (status >= 100 && status < 200) {
        return true;
    }
    // A redirect that libcurl follows; one from https to http is not followed, and then this
    // is the final response.
    if (IsRedirectStatus(status) && exchange.location) {
        const bool targetSecure = LocationIsSecure(*exchange.location, exchange.currentSecure);
        if (!exchange.currentSecure || targetSecure) {
            exchange.currentSecure = targetSecure;
            return true;
        }
    }

    exchange.bodyStarted = true;
    // libcurl itself refuses a Content-Length that is no number (an invalid server response), so
    // the total of 0 that such a value gives is not met here.
    exchange.total = ContentLengthTotal(exchange.contentLength);
    // The status is checked before any of the body is read. The client this stands in for
    // keeps the request and the connection open for the life of the process on this failure;
    // libcurl has no request or connection handles apart from its easy handle, and closes the
    // connection of a transfer stopped here, so nothing is left open.
    if (status != 200) {
        exchange.status = status;
        exchange.abort = Abort::Status;
        return false;
    }
    if (!CallListener(exchange,
                      [&] { TellFileName(exchange.listener, exchange.contentDisposition); })) {
        return false;
    }
    if (exchange.total > 0) {
        exchange.room->Expect(static_cast<size_t>(exchange.total));
    }
    exchange.progress.emplace(exchange.listener, exchange.total);
    return true;
}

size_t HeaderCallback(char* buffer, size_t size, size_t count, void* user) {
    auto& exchange = *static_cast<Exchange*>(user);
    const size_t length = size * count;
    exchange.lastData = SteadyClock::now();
    exchange.anyResponse = true;
    // Trailers behind the final body change nothing.
    if (exchange.bodyStarted) {
        return length;
    }
    const std::string_view line(buffer, length);
    if (!exchange.inResponse) {
        // A status line begins a response.
        exchange.inResponse = true;
        exchange.location.reset();
        exchange.contentLength.reset();
        exchange.contentDisposition.reset();
        exchange.seenContentLength = false;
        exchange.seenContentDisposition = false;
        return length;
    }
    if (TrimBlanks(line).empty()) {
        return OnHeadersComplete(exchange) ? length : 0;
    }

    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return length;
    }
    const std::string_view name = TrimBlanks(line.substr(0, colon));
    const std::string_view value = TrimBlanks(line.substr(colon + 1));
    // The first occurrence of a header is the one that is queried.
    if (EqualsNoCase(name, "Content-Length") && !exchange.seenContentLength) {
        exchange.seenContentLength = true;
        exchange.contentLength = HeaderValue(value);
    } else if (EqualsNoCase(name, "Content-Disposition") && !exchange.seenContentDisposition) {
        exchange.seenContentDisposition = true;
        exchange.contentDisposition = HeaderValue(value);
    } else if (EqualsNoCase(name, "Location") && !exchange.location) {
        exchange.location = std::string(value);
    }
    return length;
}

size_t WriteCallback(char* buffer, size_t size, size_t count, void* user) {
    auto& exchange = *static_cast<Exchange*>(user);
    const size_t length = size * count;
    exchange.lastData = SteadyClock::now();
    if (!exchange.bodyStarted) {
        return length;
    }
    // The read loop takes at most one block at a time.
    for (size_t offset = 0; offset < length; offset += kBlockSize) {
        const size_t block = std::min(kBlockSize, length - offset);
        exchange.room->Append(buffer + offset, block);
        if (!ReportBlock(exchange, block)) {
            return 0;
        }
    }
    return length;
}

// Ends an exchange that has gone without data for too long, once its connection stands; the
// time to connect is libcurl's own limit.
int ProgressCallback(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto& exchange = *static_cast<Exchange*>(user);
    const SteadyClock::time_point now = SteadyClock::now();
    // libcurl adds to this time each time a request (the first or a redirect's) is about to be
    // sent, and it is 0 until the first connection stands. A redirect's connection is timed
    // from the data of the answer before it.
    curl_off_t pretransfer = 0;
    if (curl_easy_getinfo(exchange.handle, CURLINFO_PRETRANSFER_TIME_T, &pretransfer) != CURLE_OK) {
        pretransfer = 0;
    }
    if (pretransfer == 0 || pretransfer != exchange.lastPretransfer) {
        exchange.lastPretransfer = pretransfer;
        exchange.lastData = now;
        return 0;
    }
    if (now - exchange.lastData > std::chrono::milliseconds(timeouts.idleMilliseconds)) {
        exchange.abort = Abort::Idle;
        return 1;
    }
    return 0;
}

// The client's error number for a failed transfer.
unsigned ErrorNumber(CURLcode code, const Exchange& exchange) {
    if (exchange.abort == Abort::Idle) {
        return kErrorTimeout;
    }
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return kErrorNameNotResolved;
    case CURLE_COULDNT_CONNECT:
        return kErrorCannotConnect;
    case CURLE_OPERATION_TIMEDOUT:
        return kErrorTimeout;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
        return kErrorConnectionError;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_HTTP3:
        return kErrorInvalidServerResponse;
    case CURLE_UNSUPPORTED_PROTOCOL:
        // After a complete answer this is a redirect to a scheme that is not followed; before
        // one, an answer without a status line.
        return exchange.anyResponse && !exchange.inResponse ? kErrorRedirectFailed
                                                            : kErrorInvalidServerResponse;
    case CURLE_TOO_MANY_REDIRECTS:
        return kErrorRedirectFailed;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
        return kErrorSecureFailure;
    case CURLE_URL_MALFORMAT:
        return kErrorInvalidUrl;
    case CURLE_OUT_OF_MEMORY:
        return kErrorNotEnoughMemory;
    default:
        return kErrorInternal;
    }
}

// Failures that can only happen while the request is being sent.
bool IsSendingFailure(CURLcode code) {
    switch (ErrorNumber(code, Exchange{})) {
    case kErrorNameNotResolved:
    case kErrorCannotConnect:
    case kErrorSecureFailure:
    case kErrorInvalidUrl:
        return true;
    default:
        return code == CURLE_SEND_ERROR;
    }
}

// A host the request line cannot carry; the client this stands in for would ask the name
// service for it, in vain.
bool IsUnusableHost(const std::string& host) {
    constexpr std::string_view forbidden = "/?#@:[]\\%\"<>^`{|}";
    return std::any_of(host.begin(), host.end(), [&](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7F || forbidden.find(c) != std::string_view::npos;
    });
}

// The path and query as UTF-8, with blanks, controls, non-ASCII bytes and "#" escaped, as the
// client does when it builds the request line.
std::string EscapePathAndQuery(const GS::UniString& pathAndQuery) {
    const std::string bytes = pathAndQuery.ToCStr(CC_UTF8).Get();
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7F || c == '#') {
            escaped += '%';
            escaped += hex[byte >> 4];
            escaped += hex[byte & 0x0F];
        } else {
            escaped += c;
        }
    }
    return escaped;
}

}  // namespace

std::string HttpGet(const GS::UniString& url, GetProgressListener* listener) {
    std::string result;
    if (session == nullptr) {
        static const CURLcode globalInit = curl_global_init(CURL_GLOBAL_DEFAULT);
        session = globalInit == CURLE_OK ? curl_easy_init() : nullptr;
        if (session == nullptr) {
            ThrowSessionFailure();
        }
    }

    const ParsedUrl parsed = ParseUrl(url);
    const auto [secure, port] = TargetOf(parsed);

    // The connection step: a name is needed.
    const std::string host = parsed.host.ToCStr(CC_UTF8).Get();
    if (host.empty()) {
        ThrowConnectFailure(kErrorInvalidParameter);
    }

    // The request step.
    const std::string requestUrl = std::string(secure ? "https://" : "http://") + host + ":" +
                                   std::to_string(port) + EscapePathAndQuery(parsed.pathAndQuery);
    BodyRoom room(result);
    Exchange exchange;
    exchange.handle = session;
    exchange.listener = listener;
    exchange.room = &room;
    exchange.currentSecure = secure;
    const char* caFile = std::getenv("SSL_CERT_FILE");
    bool optionsSet =
        curl_easy_setopt(session, CURLOPT_URL, requestUrl.c_str()) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_USERAGENT, kUserAgent) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_HTTPHEADER, &noAcceptHeader) == CURLE_OK &&
        // HTTP/1.1 over TLS as well, as the client this stands in for speaks it.
        curl_easy_setopt(session, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1}) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_FOLLOWLOCATION, 1L) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_MAXREDIRS, kMaxRedirects) == CURLE_OK &&
        // Never from https to http.
        curl_easy_setopt(session, CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https") ==
            CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_CONNECTTIMEOUT_MS, timeouts.connectMilliseconds) ==
            CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_BUFFERSIZE, kReceiveBytes) == CURLE_OK &&
        // A proxy's answer to CONNECT is not the server's answer, and the client this stands in
        // for never shows it.
        curl_easy_setopt(session, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_HEADERFUNCTION, HeaderCallback) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_HEADERDATA, &exchange) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_WRITEFUNCTION, WriteCallback) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_WRITEDATA, &exchange) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_XFERINFOFUNCTION, ProgressCallback) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_XFERINFODATA, &exchange) == CURLE_OK &&
        curl_easy_setopt(session, CURLOPT_NOPROGRESS, 0L) == CURLE_OK;
    // A certificate file named in the environment takes the place of libcurl's bundle; the
    // machine's certificate folder stays trusted. Once set it stays with the handle: a caller
    // that changes the variable closes the session first.
    if (optionsSet && caFile != nullptr && *caFile != '\0') {
        optionsSet = curl_easy_setopt(session, CURLOPT_CAINFO, caFile) == CURLE_OK;
    }
    if (!optionsSet) {
        ThrowRequestFailure(kErrorInternal);
    }

    // Sending, receiving the headers and reading the body, as one transfer. libcurl closes a
    // connection that failed or was stopped; the connection of a complete answer stays open for
    // the next request.
    if (IsUnusableHost(host)) {
        ThrowSendFailure(kErrorNameNotResolved);
    }
    const CURLcode code = curl_easy_perform(session);
    room.StopMapping();
    if (exchange.abort == Abort::Listener) {
        std::rethrow_exception(exchange.listenerError);
    }
    if (exchange.abort == Abort::Status) {
        ThrowStatusFailure(static_cast<unsigned long>(exchange.status));
    }
    // libcurl takes a connection closed within the headers for the end of an empty answer.
    const bool cutInHeaders = code == CURLE_OK && !exchange.bodyStarted;
    if (code == CURLE_OK && !cutInHeaders && exchange.abort == Abort::None) {
        // The read that finds the end delivers nothing, and is reported as well.
        ReportBlock(exchange, 0);
        if (exchange.abort == Abort::Listener) {
            std::rethrow_exception(exchange.listenerError);
        }
    } else {
        // A proxy that refuses the tunnel answers in the server's place: its status is the
        // status.
        long tunnelStatus = 0;
        if (!exchange.anyResponse &&
            curl_easy_getinfo(session, CURLINFO_HTTP_CONNECTCODE, &tunnelStatus) == CURLE_OK &&
            tunnelStatus >= 300) {
            ThrowStatusFailure(static_cast<unsigned long>(tunnelStatus));
        }
        const unsigned number = cutInHeaders ? kErrorConnectionError : ErrorNumber(code, exchange);
        if (exchange.bodyStarted) {
            ThrowReadFailure(number);
        }
        if (exchange.anyResponse) {
            ThrowResponseFailure(number);
        }
        // Without an answer: the name, the connection and the secure handshake belong to
        // sending, and so does anything before the connection stood (libcurl notes the time
        // once it is about to send the request); what fails after that, waiting for the answer.
        curl_off_t pretransfer = 0;
        if (curl_easy_getinfo(session, CURLINFO_PRETRANSFER_TIME_T, &pretransfer) != CURLE_OK) {
            pretransfer = 0;
        }
        if (pretransfer > 0 && !IsSendingFailure(code)) {
            ThrowResponseFailure(number);
        }
        ThrowSendFailure(number);
    }

    CheckBody(result);
    return result;
}

void CloseHttpSession() {
    if (session != nullptr) {
        curl_easy_cleanup(session);
        session = nullptr;
    }
}

void SetHttpTimeouts(const HttpTimeouts& newTimeouts) { timeouts = newTimeouts; }
