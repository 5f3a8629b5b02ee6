// ScriptedServer.cpp: the raw scripted HTTP server of the network tests, on plain POSIX sockets.
#include "ScriptedServer.h"

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace nettest {

bool ScriptedServer::Reply::Send(const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
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
    listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0)
        throw std::runtime_error("ScriptedServer: no socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof(address);
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener, 16) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::close(listener);
        throw std::runtime_error("ScriptedServer: cannot listen");
    }
    port = ntohs(address.sin_port);
    thread = std::thread([this] { Serve(); });
}

ScriptedServer::~ScriptedServer() {
    {
        const std::lock_guard<std::mutex> lock(waitMutex);
        stopping = true;
    }
    waitChanged.notify_all();
    thread.join();
    ::close(listener);
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
    int connection = -1;
    std::string pending;
    while (!stopping) {
        pollfd fds[2] = {{listener, POLLIN, 0}, {connection, POLLIN, 0}};
        const int count = ::poll(fds, connection >= 0 ? 2 : 1, 20);
        if (count <= 0)
            continue;
        if (fds[0].revents & POLLIN) {
            const int accepted_socket = ::accept(listener, nullptr, nullptr);
            if (accepted_socket >= 0) {
                if (connection >= 0)
                    ::close(connection);
                connection = accepted_socket;
                pending.clear();
                ++accepted;
            }
            continue;
        }
        if (connection < 0 || !(fds[1].revents & (POLLIN | POLLHUP | POLLERR)))
            continue;
        char buffer[4096];
        const ssize_t n = ::recv(connection, buffer, sizeof(buffer), 0);
        if (n <= 0) {
            ::close(connection);
            connection = -1;
            continue;
        }
        pending.append(buffer, static_cast<size_t>(n));
        size_t end;
        while (connection >= 0 && (end = pending.find("\r\n\r\n")) != std::string::npos) {
            const std::string request = pending.substr(0, end + 4);
            pending.erase(0, end + 4);
            {
                std::lock_guard<std::mutex> lock(mutex);
                requests.push_back(request);
            }
            Reply reply(connection, *this);
            handler(request, reply);
            if (reply.Closing()) {
                ::close(connection);
                connection = -1;
            }
        }
    }
    if (connection >= 0)
        ::close(connection);
}

std::string OkResponse(const std::string& body, const std::string& extraHeaders) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           extraHeaders + "\r\n" + body;
}

}  // namespace nettest
