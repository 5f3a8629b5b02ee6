// TestPlatform_linux.cpp: the helpers of TestFiles.h that the platform decides: commands through
// the shell and a free port.
#include "TestFiles.h"

#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testfiles {

int RunCommand(const std::string& command, std::string* output) {
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    std::array<char, 4096> buffer;
    std::string printed;
    for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        printed.append(buffer.data(), n);
    }
    const int status = pclose(pipe);
    if (output != nullptr) {
        *output = printed;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int UnusedPort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        throw std::runtime_error("no socket for a free port");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t size = sizeof address;
    const bool found = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(fd);
    if (!found) {
        throw std::runtime_error("no free port on 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

bool RunningUnderWine() { return false; }

void AnswerSystemAlerts() {}

}  // namespace testfiles
