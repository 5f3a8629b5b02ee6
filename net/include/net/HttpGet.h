// HttpGet.h: the add-on's one network operation, a blocking HTTP GET that returns the whole body,
// and the URL and header readings it is built from.
//
// On Windows the GET is WinHTTP's, with one session for the process and the machine's default
// proxy setting. On Linux libcurl stands in for it and keeps its behaviour: one handle for the
// process, so that connections and TLS sessions are reused; the machine's proxy from the
// environment; redirects followed (at most 10, never from https to http); 60 s to connect and
// 30 s without data end an exchange. Failures carry WinHTTP's error numbers on both (12002
// timeout, 12007 name not resolved, 12029 cannot connect, 12030 connection aborted, 12152
// invalid server response, 12175 secure failure), so that a user reads the same text on every
// platform. On Linux a certificate file named by SSL_CERT_FILE is trusted besides the machine's
// store.
#pragma once

#include "common/WideString.h"
#include "hostkit/UniString.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// A URL split the way HttpGet needs it. No user name, fragment or percent escape is handled.
struct ParsedUrl {
    GS::UniString query;   // from the first "?" on, the "?" included
    GS::UniString path;    // from the first "/" after the host up to the query; "/" if empty
    GS::UniString scheme;  // the text before "://", empty if there is none
    GS::UniString host;
    uint16_t port = 0;  // 0 if the URL gives none
    GS::UniString pathAndQuery;
};

// Told of a download's file name and progress.
class GetProgressListener {
public:
    // `total` is the Content-Length, -1 without one; `percent` is -1 without a positive total.
    virtual void OnProgress(uint32_t received, int32_t total, int32_t percent) = 0;
    // The file name the response's Content-Disposition gives, possibly empty.
    virtual void OnFileName(const GS::UniString& name) = 0;

protected:
    ~GetProgressListener() = default;
};

ParsedUrl ParseUrl(const GS::UniString& url);

// The body of a GET of `url`. Throws std::runtime_error (or std::exception) whose what() is UTF-8
// text ready to show; returns only a body of at least 2 bytes.
std::string HttpGet(const GS::UniString& url, GetProgressListener* listener);

// Closes the process's HTTP session and the connections it keeps; the next HttpGet opens a new
// one.
void CloseHttpSession();

// The exchange's time limits, in milliseconds: to connect, and without data (on Windows the
// session's send and receive limits; the name lookup keeps WinHTTP's, none). For tests: without
// this call the client's own limits apply, which these defaults match.
struct HttpTimeouts {
    long connectMilliseconds = 60000;
    long idleMilliseconds = 30000;
};
void SetHttpTimeouts(const HttpTimeouts& timeouts);

#if !defined(_WIN32)
// For tests, on Linux: called on the thread that maps a large body's pages ahead of its bytes,
// each time that thread has mapped all it may for the bytes so far and waits for more, with how
// much of the body's room, from its start, it has mapped. Null (the default): nobody is told.
void SetMappedAheadObserver(void (*observer)(std::size_t mapped));
#endif

// The figures of the progress reports. The total a Content-Length value gives: -1 without one,
// 0 for text that is no number, else the number's low 32 bits. The percent of `received`: -1
// without a positive total, else received * 100 / total in signed 32-bit arithmetic, so that it
// turns meaningless above about 21 million bytes.
int32_t ContentLengthTotal(const std::optional<WString>& value);
int32_t ProgressPercent(uint32_t received, int32_t total);

// The file name of a Content-Disposition value; empty when it names none.
WString FileNameFromContentDisposition(const WString& header);
// "%XX" escapes to bytes; every other character gives its low 8 bits.
std::string PercentDecode(const WString& text);
