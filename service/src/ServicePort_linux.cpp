// ServicePort_linux.cpp: the process's descriptors from /proc/self/fd, an idle connection ended by
// shutting its reading side, the stop request as SIGINT or SIGTERM taken by sigwait.
#include "ServicePort.h"

#include <charconv>
#include <csignal>
#include <filesystem>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace serviceport {

namespace {

sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace

std::vector<Socket> OwnHandles() {
    std::vector<Socket> handles;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const std::string name = entry.path().filename().string();
        int fd = -1;
        const auto [end, ec] = std::from_chars(name.data(), name.data() + name.size(), fd);
        if (ec == std::errc() && end == name.data() + name.size()) {
            handles.push_back(fd);
        }
    }
    return handles;
}

// httplib's worker waits in select(), which sees a shut reading side as the end of the stream.
void EndIdleConnection(Socket socket) { shutdown(socket, SHUT_RD); }

void CloseSocket(Socket socket) { close(socket); }

// SO_REUSEADDR lets the port be bound again while the last service's connections wait out their
// end; httplib's default, SO_REUSEPORT, would let a second service bind it and take half of the
// connections.
void KeepAddressToOneService(Socket socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

// OpenSSL writes with write(2), which raises SIGPIPE on a connection the peer closed.
void SurviveHungUpPeers() { std::signal(SIGPIPE, SIG_IGN); }

std::vector<std::string> Utf8Arguments(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}

// The serving threads inherit this mask, so the signals reach only the sigwait, and the service
// stops cleanly on the main thread.
void CatchStopRequests() {
    const sigset_t signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void WaitForStopRequest() {
    const sigset_t signals = StopSignals();
    int signal = 0;
    sigwait(&signals, &signal);
}

}  // namespace serviceport
