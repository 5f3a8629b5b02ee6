// ServiceTestSupport_linux.cpp: the service tests' helper that only Linux has: the orvservice
// command in the background, stopped by a signal.
#include "ServiceTestSupport.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace servicetest {

BackgroundCommand::BackgroundCommand(const std::string& command) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
        ADD_FAILURE() << "pipe failed";
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
    // exec, so that the signals reach the command itself and not a shell around it.
    const std::string line = "exec " + command;
    char* const args[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                          const_cast<char*>(line.c_str()), nullptr};
    if (posix_spawn(&pid, "/bin/sh", &actions, nullptr, args, environ) != 0) {
        ADD_FAILURE() << "cannot start " << command;
        pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    output = pipeEnds[0];
}

BackgroundCommand::~BackgroundCommand() {
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    if (output >= 0) {
        close(output);
    }
}

std::string BackgroundCommand::ReadLine(int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (pending.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return "";
        }
        pollfd waitFor{output, POLLIN, 0};
        if (poll(&waitFor, 1, static_cast<int>(left.count())) <= 0) {
            return "";
        }
        char buffer[512];
        const ssize_t count = read(output, buffer, sizeof buffer);
        if (count <= 0) {
            return "";
        }
        pending.append(buffer, static_cast<std::size_t>(count));
    }
    const std::size_t end = pending.find('\n');
    std::string line = pending.substr(0, end);
    pending.erase(0, end + 1);
    return line;
}

void BackgroundCommand::Signal(int signal) {
    if (pid > 0) {
        kill(pid, signal);
    }
}

int BackgroundCommand::Wait(int timeoutMs) {
    if (pid <= 0) {
        return -1;
    }
    // The process's own descriptor turns readable when it ends; the limit only turns a command
    // that never ends into a failure.
    // Through syscall: Debian 12's <sys/pidfd.h> declares pidfd_open without C linkage.
    const int ended = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (ended < 0) {
        ADD_FAILURE() << "pidfd_open failed: " << errno;
        return -1;
    }
    pollfd waitFor{ended, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&waitFor, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    close(ended);
    int status = 0;
    if (ready <= 0 || waitpid(pid, &status, 0) != pid) {
        return -1;
    }
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace servicetest
