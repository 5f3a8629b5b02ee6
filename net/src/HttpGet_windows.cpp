// HttpGet_windows.cpp: the blocking HTTP GET of the add-on on WinHTTP.
//
// One session serves the process; each GET opens a connection and a request handle on it and
// closes them when it is done. The numbers in the failure texts are GetLastError()'s, taken
// before any handle is closed.
#include "HttpFailures.h"
#include "HttpProgress.h"
#include "HttpRequest.h"
#include "net/HttpGet.h"

#include <windows.h>

#include <optional>
#include <string>
#include <winhttp.h>

namespace {

// The status code as a number.
constexpr DWORD kQueryStatusNumber = WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER;
static_assert(kQueryStatusNumber == 0x20000013);

HINTERNET session = nullptr;
// Set only by SetHttpTimeouts; without it WinHTTP's own limits apply.
std::optional<HttpTimeouts> timeouts;

// A connection or request handle, closed when it goes out of scope.
class Handle {
public:
    explicit Handle(HINTERNET handle) : handle(handle) {}
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    HINTERNET Get() const { return handle; }
    void Close() {
        if (handle != nullptr) {
            WinHttpCloseHandle(handle);
            handle = nullptr;
        }
    }
    // Left open for the life of the process.
    void Abandon() { handle = nullptr; }

private:
    HINTERNET handle;
};

// The name lookup keeps WinHTTP's limit (none). "Without data" is each send and receive, and the
// wait for the response's headers, which WinHTTP limits on its own (90 s by default).
void ApplyTimeouts() {
    if (session == nullptr || !timeouts) {
        return;
    }
    const auto idle = static_cast<int>(timeouts->idleMilliseconds);
    WinHttpSetTimeouts(session, 0, static_cast<int>(timeouts->connectMilliseconds), idle, idle);
    DWORD headers = static_cast<DWORD>(idle);
    WinHttpSetOption(session, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headers, sizeof headers);
}

const wchar_t* WideText(const GS::UniString::UStr& text) {
    return reinterpret_cast<const wchar_t*>(text.Get());
}

// A header's value, read into the 1024-byte buffer; nothing when it is absent or does not fit.
std::optional<WString> QueryHeader(HINTERNET request, const wchar_t* name) {
    wchar_t buffer[kHeaderBufferBytes / sizeof(wchar_t)];
    DWORD size = sizeof buffer;
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_CUSTOM, name, buffer, &size,
                             WINHTTP_NO_HEADER_INDEX)) {
        return std::nullopt;
    }
    return WString(reinterpret_cast<const char16_t*>(buffer), size / sizeof(wchar_t));
}

}  // namespace

std::string HttpGet(const GS::UniString& url, GetProgressListener* listener) {
    std::string result;
    if (session == nullptr) {
        const std::wstring agent(kUserAgent, kUserAgent + sizeof kUserAgent - 1);
        session = WinHttpOpen(agent.c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                              WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
        if (session == nullptr) {
            ThrowSessionFailure();
        }
        ApplyTimeouts();
    }

    const ParsedUrl parsed = ParseUrl(url);
    const auto [secure, port] = TargetOf(parsed);

    Handle connection(WinHttpConnect(session, WideText(parsed.host.ToUStr()), port, 0));
    if (connection.Get() == nullptr) {
        ThrowConnectFailure(GetLastError());
    }

    Handle request(WinHttpOpenRequest(
        connection.Get(), L"GET", WideText(parsed.pathAndQuery.ToUStr()), nullptr,
        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, secure ? WINHTTP_FLAG_SECURE : 0));
    if (request.Get() == nullptr) {
        ThrowRequestFailure(GetLastError());
    }
    if (!WinHttpSendRequest(request.Get(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                            WINHTTP_NO_REQUEST_DATA, 0, 0, 0)) {
        ThrowSendFailure(GetLastError());
    }
    if (!WinHttpReceiveResponse(request.Get(), nullptr)) {
        ThrowResponseFailure(GetLastError());
    }

    const int32_t total = ContentLengthTotal(QueryHeader(request.Get(), L"Content-Length"));
    DWORD status = 0;
    DWORD statusSize = sizeof status;
    if (!WinHttpQueryHeaders(request.Get(), kQueryStatusNumber, WINHTTP_HEADER_NAME_BY_INDEX,
                             &status, &statusSize, WINHTTP_NO_HEADER_INDEX)) {
        status = 0;
    }
    if (status != 200) {
        // The request and its connection stay open for the life of the process on this failure
        // alone.
        request.Abandon();
        connection.Abandon();
        ThrowStatusFailure(status);
    }
    if (listener != nullptr) {
        TellFileName(listener, QueryHeader(request.Get(), L"Content-Disposition"));
    }

    DownloadProgress progress(listener, total);
    char block[kBlockSize] = {};
    DWORD read = 0;
    do {
        DWORD available = 0;
        if (!WinHttpQueryDataAvailable(request.Get(), &available) ||
            !WinHttpReadData(request.Get(), block, kBlockSize, &read)) {
            ThrowReadFailure(GetLastError());
        }
        result.append(block, read);
        progress.Block(read);
    } while (read > 0);

    request.Close();
    connection.Close();
    CheckBody(result);
    return result;
}

void CloseHttpSession() {
    if (session != nullptr) {
        WinHttpCloseHandle(session);
        session = nullptr;
    }
}

void SetHttpTimeouts(const HttpTimeouts& newTimeouts) {
    timeouts = newTimeouts;
    ApplyTimeouts();
}
