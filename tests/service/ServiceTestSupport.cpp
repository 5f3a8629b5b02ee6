// ServiceTestSupport.cpp: the shared set-up of the version service tests.
#include "ServiceTestSupport.h"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace servicetest {

const char* const kD01File = "D01 2.0+\xC5\x99.zip";

std::string D01Bytes() {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += static_cast<char>((i * 7919) % 251);
    }
    return bytes;
}

std::string DefaultCatalog() {
    return std::string(R"({"objects": [
        {"id": "D01", "versions": ["1.0", "1.1", "2.0"], "latest": "2.0",
         "test_versions": ["2.1-beta"], "file": ")") +
           kD01File + R"("},
        {"id": "W01", "versions": ["1.0", "1.5"], "latest": "1.5"},
        {"id": "P01", "versions": ["1", "2"], "latest": "2", "file": "P01.zip"}
    ]})";
}

std::string CatalogWithFaults(const std::string& checkFaults, const std::string& fileFaults) {
    std::string faults;
    if (!checkFaults.empty()) {
        faults += "\"check\": " + checkFaults;
    }
    if (!fileFaults.empty()) {
        faults += std::string(faults.empty() ? "" : ", ") + "\"file\": " + fileFaults;
    }
    return R"({"objects": [{"id": "X01", "versions": ["1.0", "2.0"], "latest": "2.0",
               "file": "X01.zip", "faults": {)" +
           faults + "}}]}";
}

void ServiceTest::StartService(const std::string& catalog, orvservice::ServiceOptions options) {
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), catalog));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/" + kD01File, D01Bytes()));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/P01.zip", "PK plain file"));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/X01.zip", "0123456789abcdefghij"));
    options.catalog = CatalogPath();
    options.files = FilesPath();
    service = std::make_unique<orvservice::VersionService>(options);
    service->Start();
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        ADD_FAILURE() << "not JSON: " << text << ": " << errors;
    }
    return value;
}

std::string CurlResult::Header(const std::string& name) const {
    // The last block starts after the last empty line that has something after it.
    std::istringstream lines(headers);
    std::string value;
    std::string lowerName;
    for (const char c : name) {
        lowerName += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.rfind("HTTP/", 0) == 0) {
            value.clear();  // a new response begins
            continue;
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        std::string key;
        for (const char c : line.substr(0, colon)) {
            key += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        if (key == lowerName) {
            value = line.substr(line.find_first_not_of(' ', colon + 1));
        }
    }
    return value;
}

int CurlResult::Status() const {
    int status = 0;
    std::istringstream lines(headers);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("HTTP/", 0) == 0) {
            status = std::stoi(line.substr(line.find(' ') + 1, 3));
        }
    }
    return status;
}

CurlResult Curl(const std::string& url, const std::string& options) {
    testfiles::TempFolder work;
    CurlResult result;
    result.exitCode = testfiles::RunCommand(std::string(ORV_CURL) + " -sS --max-time 20 -D " +
                                                testfiles::Quote(work.At("headers")) + " -o " +
                                                testfiles::Quote(work.At("body")) + " " + options +
                                                " " + testfiles::Quote(url),
                                            &result.output);
    result.headers = testfiles::ReadFileBytes(work.At("headers"));
    result.body = testfiles::ReadFileBytes(work.At("body"));
    return result;
}

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
