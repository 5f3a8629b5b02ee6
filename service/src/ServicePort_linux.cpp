// ServicePort_linux.cpp: the listening socket's reuse, and the requests to stop (SIGINT, SIGTERM)
// and to take the catalog again (SIGHUP) taken by sigwait.
#include "ServicePort.h"

#include <csignal>
#include <pthread.h>
#include <sys/socket.h>

namespace serviceport {

namespace {

sigset_t RequestSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    return signals;
}

}  // namespace

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
void CatchRequests() {
    const sigset_t signals = RequestSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Request WaitForRequest() {
    const sigset_t signals = RequestSignals();
    int signal = 0;
    sigwait(&signals, &signal);
    return signal == SIGHUP ? Request::ReloadCatalog : Request::Stop;
}

}  // namespace serviceport
