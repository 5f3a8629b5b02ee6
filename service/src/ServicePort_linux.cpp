// ServicePort_linux.cpp: the listening socket's reuse, the requests to stop (SIGINT, SIGTERM)
// and to take the catalog again (SIGHUP) taken by sigwait, and durable writes through fsync of the
// file and of its folder.
#include "ServicePort.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace serviceport {

namespace {

std::string SystemReason() { return std::strerror(errno); }

// A new entry in a folder reaches the disk with the folder's own fsync.
bool SyncFolderOf(const std::filesystem::path& path, std::string& reason) {
    std::filesystem::path folder = path.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        reason = SystemReason();
        return false;
    }
    const bool synced = fsync(fd) == 0;
    if (!synced) {
        reason = SystemReason();
    }
    close(fd);
    return synced;
}

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
// end; SO_REUSEPORT would let a second service bind it and take half of the connections.
void KeepAddressToOneService(Socket socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

// Asio opens and accepts its sockets without SOCK_CLOEXEC.
void KeepFromChildren(Socket socket) { fcntl(socket, F_SETFD, FD_CLOEXEC); }

// OpenSSL writes with write(2), which raises SIGPIPE on a connection the peer closed.
void SurviveHungUpPeers() { std::signal(SIGPIPE, SIG_IGN); }

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

bool WriteNewFile(const std::filesystem::path& path, const std::string& bytes,
                  std::string& reason) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        reason = SystemReason();
        return false;
    }
    std::size_t written = 0;
    bool ok = true;
    while (ok && written < bytes.size()) {
        const ssize_t count = write(fd, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        ok = count > 0;
        written += ok ? static_cast<std::size_t>(count) : 0;
    }
    ok = ok && fsync(fd) == 0;
    if (!ok) {
        reason = SystemReason();
    }
    if (close(fd) != 0 && ok) {
        reason = SystemReason();
        ok = false;
    }
    ok = ok && SyncFolderOf(path, reason);
    if (!ok) {
        unlink(path.c_str());
    }
    return ok;
}

bool MakeNewFolder(const std::filesystem::path& path, std::string& reason) {
    if (mkdir(path.c_str(), 0777) != 0) {
        reason = SystemReason();
        return false;
    }
    if (!SyncFolderOf(path, reason)) {
        rmdir(path.c_str());
        return false;
    }
    return true;
}

bool RenameOver(const std::filesystem::path& from, const std::filesystem::path& to,
                std::string& reason) {
    if (rename(from.c_str(), to.c_str()) != 0) {
        reason = SystemReason();
        return false;
    }
    // Done once renamed: a folder that fails its sync cannot take the rename back.
    std::string ignored;
    SyncFolderOf(to, ignored);
    return true;
}

}  // namespace serviceport
