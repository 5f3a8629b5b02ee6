// ServiceTestSupport.h: what the version service tests share: a service on a free port over a
// temporary catalog and files folder, curl as a second client (a Linux program: on Windows the
// tests skip what they check through it), and on Linux a command run in the background with its
// standard output readable line by line.
#pragma once

#include "TestFiles.h"
#include "service/VersionService.h"

#include <gtest/gtest.h>
#include <json/json.h>
#include <memory>
#include <ostream>
#include <string>
#include <vector>
#ifndef _WIN32
#include <sys/types.h>
#endif

// A test that checks what only curl shows as it is sent (a raw path, bytes that httplib's client
// mends): curl is a Linux tool, so the Windows program skips it.
#define SKIP_WITHOUT_CURL()                                                                        \
    if (!testfiles::kLinuxTools)                                                                   \
    GTEST_SKIP() << "checks through curl, a Linux tool"

namespace servicetest {

// The file offered for D01: a name that needs percent-encoding, bytes with zeros in them.
extern const char* const kD01File;
std::string D01Bytes();

// D01 (three versions, a test version, a file), W01 (no file), P01 (a plain file name).
std::string DefaultCatalog();
// One object "X01" (versions 1.0 and 2.0, file X01.zip) with these fault sets, JSON objects
// or empty for none.
std::string CatalogWithFaults(const std::string& checkFaults, const std::string& fileFaults);
// One object "D01" (versions 1.0 and 2.0) whose file, D01.zip, the test writes.
extern const char* const kGoodCatalog;

class ServiceTest : public ::testing::Test {
protected:
    // Writes the catalog and the files of the default catalog, starts the service.
    void StartService(const std::string& catalog = DefaultCatalog(),
                      orvservice::ServiceOptions options = {});
    std::string CatalogPath() const { return folder.At("catalog.json"); }
    std::string FilesPath() const { return folder.At("files"); }
    // "http://127.0.0.1:PORT" + target.
    std::string Url(const std::string& target) const { return service->BaseUrl() + target; }

    testfiles::TempFolder folder;
    std::unique_ptr<orvservice::VersionService> service;
};

Json::Value ParseJson(const std::string& text);

// An orvservice command besides serving, as its library gives it (RunPublish, RunStats).
using Command = int (*)(const std::vector<std::string>&, std::ostream&, std::ostream&);
// The exit status of `command` run in-process on `args`; what it wrote goes to `out` and `err`.
int RunInProcess(Command command, const std::vector<std::string>& args, std::string& out,
                 std::string& err);

struct CurlResult {
    int exitCode = -1;
    std::string headers;  // every response's header block, as received
    std::string body;
    std::string output;  // curl's own messages
    // The value of `name` in the last response's headers, "" when absent.
    std::string Header(const std::string& name) const;
    int Status() const;  // of the last response
};
// curl -sS with `options` (already quoted as needed) on `url`.
CurlResult Curl(const std::string& url, const std::string& options = "");

#ifndef _WIN32
// A command run through the shell in the background (ServiceTestSupport_linux.cpp).
class BackgroundCommand {
public:
    explicit BackgroundCommand(const std::string& command);
    ~BackgroundCommand();
    BackgroundCommand(const BackgroundCommand&) = delete;
    BackgroundCommand& operator=(const BackgroundCommand&) = delete;

    // The next line of standard output without its end; "" after `timeoutMs` or at the end.
    std::string ReadLine(int timeoutMs = 10000);
    void Signal(int signal);
    // The exit status; -1 when it did not end within `timeoutMs` (it is then killed).
    int Wait(int timeoutMs = 10000);

private:
    pid_t pid = -1;
    int output = -1;
    std::string pending;
};
#endif

}  // namespace servicetest
