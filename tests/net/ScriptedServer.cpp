// ScriptedServer.cpp: the raw scripted HTTP server of the network tests, on the platform's
// sockets.
#include "ScriptedServer.h"

#include <chrono>

namespace nettest {

bool ScriptedServer::Reply::Send(const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const long n = SendSome(socket, bytes.data() + sent, bytes.size() - sent);
        if (n <= 0)
            return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

void ScriptedServer::Reply::Hold() {
    std::unique_lock<std::mutex> lock(server.waitMutex);
    if (!server.waitChanged.wait_for(lock, std::chrono::minutes(1),
                                     [this] { return server.released || server.stopping; })) {
        ++server.expiredHolds;
        close = true;
    }
}

void ScriptedServer::Reply::Pause(int milliseconds) {
    std::unique_lock<std::mutex> lock(server.waitMutex);
    server.waitChanged.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                [this] { return server.stopping.load(); });
}

ScriptedServer::ScriptedServer(Handler handler) : handler(std::move(handler)) {
    listener = ListenOnLoopback(port);
    thread = std::thread([this] { Serve(); });
}

ScriptedServer::~ScriptedServer() {
    {
        const std::lock_guard<std::mutex> lock(waitMutex);
        stopping = true;
    }
    waitChanged.notify_all();
    thread.join();
    CloseSocket(listener);
}

std::string ScriptedServer::BaseUrl() const { return "http://127.0.0.1:" + std::to_string(port); }

void ScriptedServer::Release() {
    {
        const std::lock_guard<std::mutex> lock(waitMutex);
        released = true;
    }
    waitChanged.notify_all();
}

int ScriptedServer::ExpiredHolds() const {
    const std::lock_guard<std::mutex> lock(waitMutex);
    return expiredHolds;
}

std::vector<std::string> ScriptedServer::Requests() const {
    std::lock_guard<std::mutex> lock(mutex);
    return requests;
}

// One connection at a time, as the client uses one; a new connection replaces the old one.
void ScriptedServer::Serve() {
    SocketHandle connection = kNoSocket;
    std::string pending;
    while (!stopping) {
        const Readiness ready = WaitForInput(listener, connection, 20);
        if (ready.listener) {
            const SocketHandle acceptedSocket = AcceptConnection(listener);
            if (acceptedSocket != kNoSocket) {
                if (connection != kNoSocket)
                    CloseSocket(connection);
                connection = acceptedSocket;
                pending.clear();
                ++accepted;
            }
            continue;
        }
        if (!ready.connection)
            continue;
        char buffer[4096];
        const long n = ReceiveSome(connection, buffer, sizeof(buffer));
        if (n <= 0) {
            CloseSocket(connection);
            connection = kNoSocket;
            continue;
        }
        pending.append(buffer, static_cast<size_t>(n));
        size_t end;
        while (connection != kNoSocket && (end = pending.find("\r\n\r\n")) != std::string::npos) {
            const std::string request = pending.substr(0, end + 4);
            pending.erase(0, end + 4);
            {
                std::lock_guard<std::mutex> lock(mutex);
                requests.push_back(request);
            }
            Reply reply(connection, *this);
            handler(request, reply);
            if (reply.Closing()) {
                CloseSocket(connection);
                connection = kNoSocket;
            }
        }
    }
    if (connection != kNoSocket)
        CloseSocket(connection);
}

std::string OkResponse(const std::string& body, const std::string& extraHeaders) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           extraHeaders + "\r\n" + body;
}

}  // namespace nettest
