// NetTestPlatform.h: what the network tests ask of the platform: the few socket calls of the
// scripted server, the environment, and the one error number the platform's client gives its
// own way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace nettest {

// A socket: a file descriptor on Linux, a Winsock SOCKET on Windows. kNoSocket is none.
using SocketHandle = std::intptr_t;
constexpr SocketHandle kNoSocket = -1;

// A socket listening on 127.0.0.1 at a free port, which `port` receives; throws when there is
// none.
SocketHandle ListenOnLoopback(uint16_t& port);
// The next connection of a listener that has one waiting; kNoSocket on failure.
SocketHandle AcceptConnection(SocketHandle listener);

// Which of the sockets has something to read (a connection, data, or its end).
struct Readiness {
    bool listener = false;
    bool connection = false;
};
// Waits at most `milliseconds` for the listener or, if it is not kNoSocket, the connection.
Readiness WaitForInput(SocketHandle listener, SocketHandle connection, int milliseconds);

// Sends some of the bytes, or receives some; the count, 0 or less once the peer has gone or the
// call failed. Sending never raises a signal.
long SendSome(SocketHandle socket, const char* data, size_t size);
long ReceiveSome(SocketHandle socket, char* buffer, size_t size);
void CloseSocket(SocketHandle socket);

// The error number in the failure of an exchange that went without data for too long.
unsigned long TimeoutErrorNumber();

// Sets an environment variable for this process; nullopt removes it.
void SetEnvironment(const std::string& name, const std::optional<std::string>& value);

}  // namespace nettest
