// NetTestPlatform_windows.cpp: the network tests' platform calls on Winsock.
#include "NetTestPlatform.h"
#include "TestFiles.h"

#include <cstdlib>
#include <stdexcept>
#include <winsock2.h>

namespace nettest {

namespace {

// Winsock is started once, for the life of the test program.
void StartWinsock() {
    static const bool started = [] {
        WSADATA data{};
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    if (!started)
        throw std::runtime_error("ScriptedServer: no Winsock");
}

SOCKET Native(SocketHandle socket) { return static_cast<SOCKET>(socket); }

}  // namespace

SocketHandle ListenOnLoopback(uint16_t& port) {
    StartWinsock();
    const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener == INVALID_SOCKET)
        throw std::runtime_error("ScriptedServer: no socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    int length = sizeof(address);
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listener, 16) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        ::closesocket(listener);
        throw std::runtime_error("ScriptedServer: cannot listen");
    }
    port = ntohs(address.sin_port);
    return static_cast<SocketHandle>(listener);
}

SocketHandle AcceptConnection(SocketHandle listener) {
    const SOCKET connection = ::accept(Native(listener), nullptr, nullptr);
    return connection != INVALID_SOCKET ? static_cast<SocketHandle>(connection) : kNoSocket;
}

Readiness WaitForInput(SocketHandle listener, SocketHandle connection, int milliseconds) {
    WSAPOLLFD fds[2] = {{Native(listener), POLLRDNORM, 0}, {Native(connection), POLLRDNORM, 0}};
    if (::WSAPoll(fds, connection != kNoSocket ? 2 : 1, milliseconds) <= 0)
        return {};
    return {(fds[0].revents & POLLRDNORM) != 0,
            connection != kNoSocket && (fds[1].revents & (POLLRDNORM | POLLHUP | POLLERR)) != 0};
}

long SendSome(SocketHandle socket, const char* data, size_t size) {
    return ::send(Native(socket), data, static_cast<int>(size), 0);
}

long ReceiveSome(SocketHandle socket, char* buffer, size_t size) {
    return ::recv(Native(socket), buffer, static_cast<int>(size), 0);
}

void CloseSocket(SocketHandle socket) { ::closesocket(Native(socket)); }

unsigned long TimeoutErrorNumber() {
    // WinHTTP's ERROR_WINHTTP_TIMEOUT; wine's WinHTTP passes the socket's WSAETIMEDOUT on instead.
    return testfiles::RunningUnderWine() ? 10060 : 12002;
}

void SetEnvironment(const std::string& name, const std::optional<std::string>& value) {
    // An empty value removes the variable.
    ::_putenv_s(name.c_str(), value ? value->c_str() : "");
}

}  // namespace nettest
