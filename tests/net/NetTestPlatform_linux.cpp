// NetTestPlatform_linux.cpp: the network tests' platform calls on POSIX sockets.
#include "NetTestPlatform.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace nettest {

SocketHandle ListenOnLoopback(uint16_t& port) {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
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
    return listener;
}

SocketHandle AcceptConnection(SocketHandle listener) {
    const int connection = ::accept(static_cast<int>(listener), nullptr, nullptr);
    return connection >= 0 ? connection : kNoSocket;
}

Readiness WaitForInput(SocketHandle listener, SocketHandle connection, int milliseconds) {
    pollfd fds[2] = {{static_cast<int>(listener), POLLIN, 0},
                     {static_cast<int>(connection), POLLIN, 0}};
    if (::poll(fds, connection != kNoSocket ? 2 : 1, milliseconds) <= 0)
        return {};
    return {(fds[0].revents & POLLIN) != 0,
            connection != kNoSocket && (fds[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0};
}

long SendSome(SocketHandle socket, const char* data, size_t size) {
    return ::send(static_cast<int>(socket), data, size, MSG_NOSIGNAL);
}

long ReceiveSome(SocketHandle socket, char* buffer, size_t size) {
    return ::recv(static_cast<int>(socket), buffer, size, 0);
}

void CloseSocket(SocketHandle socket) { ::close(static_cast<int>(socket)); }

unsigned long TimeoutErrorNumber() { return 12002; }

void SetEnvironment(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(name.c_str());
}

}  // namespace nettest
