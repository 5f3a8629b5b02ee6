// ScriptedServer.h: a raw HTTP server for the network tests. It listens on 127.0.0.1 at a free
// port and answers each request with whatever bytes the test's handler writes, so that a test can
// send answers no real server would: broken status lines, odd headers, a cut body, a stall.
#pragma once

#include "NetTestPlatform.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nettest {

class ScriptedServer {
public:
    // What the handler answers with, on the connection of the request.
    class Reply {
    public:
        Reply(SocketHandle socket, ScriptedServer& server) : socket(socket), server(server) {}
        // Writes all bytes; false once the client has gone.
        bool Send(const std::string& bytes);
        // Says nothing until the test calls Release or the server stops, so that a silence lasts
        // exactly as long as the test wants. After a minute, a limit that only turns a hang
        // into a failure, the hold counts as expired and the connection is closed.
        void Hold();
        // Waits, but returns early when the server stops.
        void Pause(int milliseconds);
        // Closes the connection after the handler returns.
        void Close() { close = true; }
        bool Closing() const { return close; }

    private:
        SocketHandle socket;
        ScriptedServer& server;
        bool close = false;
    };
    // Called with each complete request (request line and headers).
    using Handler = std::function<void(const std::string& request, Reply& reply)>;

    explicit ScriptedServer(Handler handler);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    uint16_t Port() const { return port; }
    // "http://127.0.0.1:PORT".
    std::string BaseUrl() const;
    std::vector<std::string> Requests() const;
    int AcceptedConnections() const { return accepted; }
    // Ends every hold, now and later.
    void Release();
    // How many holds ended at their limit instead of by Release or the server's end.
    int ExpiredHolds() const;

private:
    void Serve();

    Handler handler;
    SocketHandle listener = kNoSocket;
    uint16_t port = 0;
    std::atomic<bool> stopping{false};
    // Told when the server stops or the holds are released.
    mutable std::mutex waitMutex;
    std::condition_variable waitChanged;
    bool released = false;
    int expiredHolds = 0;
    std::atomic<int> accepted{0};
    mutable std::mutex mutex;
    std::vector<std::string> requests;
    std::thread thread;
};

// A complete answer with status 200, the given extra header lines (each ending in CRLF), a
// Content-Length and the body.
std::string OkResponse(const std::string& body, const std::string& extraHeaders = "");

}  // namespace nettest
