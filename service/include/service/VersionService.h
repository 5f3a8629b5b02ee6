// VersionService.h: the reference version service that a library maker runs, with fault
// injection for tests; also started in-process by tests and the demo.
//
//   GET /check?id=ID&version=V&format=json   the JSON answer: "version", "up_to_date",
//                                            "test_version", "update_available", "url"
//   GET /files/NAME                          the file, with
//                                            Content-Disposition: attachment; filename*=UTF-8''NAME
//
//   GET /bytes?size=N                        N bytes of "0123456789" repeated, for client tests
//   GET /healthz                             "ok", for load balancers and monitors
//
// The catalog (JSON) names the objects; see README for its form and the faults it may ask for.
// A request may ask for a fault itself with the query key "fault_NAME" (the same names), which
// overrides the catalog's.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvservice {

// A catalog that cannot be read, or a service that cannot listen; the message says why.
class ServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ServiceOptions {
    std::filesystem::path catalog;
    std::filesystem::path files;
    std::string host = "127.0.0.1";
    uint16_t port = 0;  // 0: any free port
    // HTTPS when both are given (PEM files).
    std::filesystem::path certificate;
    std::filesystem::path privateKey;
    // The access log in the Combined Log Format: on standard output with `log`, and to the file
    // `accessLog` when one is named (appended to).
    bool log = false;
    std::filesystem::path accessLog;
    // A connection is closed when no whole request comes this long after it opened or after its
    // last answer: idle keep-alive connections and too slow clients alike.
    int requestTimeoutSeconds = 5;
    // The serving threads; 0: one per processor.
    unsigned threads = 0;
    // Where the download addresses point: the service's own /files/ when empty, else this base
    // (a static file host serving the same files folder), followed by "/" and the file's name.
    std::string filesUrl;
    // Whether Requests() keeps every request; a long-running service keeps none.
    bool recordRequests = true;
    // Takes a changed catalog file, checked for its modification time and size this often; 0:
    // only on ReloadCatalog.
    int watchCatalogMilliseconds = 0;
    // Called, on a serving thread, each time a catalog read again has been taken.
    std::function<void()> catalogTaken;
    // How the fault "delay_ms" waits; empty: a timer of the service, without holding a thread. A
    // test may pass a clock of its own, so that a delay is counted rather than waited out.
    std::function<void(std::chrono::milliseconds)> delay;
};

// One request as the service saw it.
struct RequestRecord {
    std::string method;
    std::string target;  // path and query as sent
    int status = 0;
};

class VersionService {
public:
    // Reads the catalog and binds; throws ServiceError. Serves on a thread of its own from
    // Start until Stop or destruction.
    explicit VersionService(const ServiceOptions& options);
    ~VersionService();
    VersionService(const VersionService&) = delete;
    VersionService& operator=(const VersionService&) = delete;

    // A service serves once: Start or Run, a second time throws ServiceError. Start returns
    // when the service accepts connections.
    void Start();
    // Stops accepting, lets answers being made finish, ends idle keep-alive connections and
    // waits for the serving threads. Safe to call more than once.
    void Stop();
    // Serves on the calling thread until Stop is called from elsewhere.
    void Run();

    // Reads the catalog file again and serves it from the next request on; a catalog that
    // cannot be read leaves the one in service, and the error (ServiceError) says why. Both are
    // written to standard error as well.
    void ReloadCatalog();

    uint16_t Port() const;
    // "http://127.0.0.1:PORT" (https for a secure service).
    std::string BaseUrl() const;

    // What was asked so far, and how many connections were accepted.
    std::vector<RequestRecord> Requests() const;
    int AcceptedConnections() const;

    // The fault "hold" keeps a request waiting before its answer until ReleaseHeld or Stop, so
    // that a test can act while a client waits on the service, for as long as it needs.
    // The requests being held now, in the order they came (status 0: not answered yet).
    std::vector<RequestRecord> HeldRequests() const;
    // Waits until `count` requests are being held at once; false when `limit` passes first or
    // ReleaseHeld was called (nothing is held from then on). The limit only turns a hang into a
    // failure.
    bool WaitForHeld(std::size_t count, std::chrono::milliseconds limit) const;
    // Lets every held request go on to its answer; from then on the fault holds nothing.
    void ReleaseHeld();

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace orvservice
