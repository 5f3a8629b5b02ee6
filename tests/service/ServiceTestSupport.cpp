// ServiceTestSupport.cpp: the shared set-up of the version service tests.
#include "ServiceTestSupport.h"

#include <cctype>
#include <sstream>

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

const char* const kGoodCatalog =
    R"({"objects": [{"id": "D01", "versions": ["1.0", "2.0"], "latest": "2.0", "file": "D01.zip"}]})";

void ServiceTest::StartService(const std::string& catalog, orvservice::ServiceOptions options) {
    ASSERT_TRUE(testfiles::WriteFileBytes(CatalogPath(), catalog));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/" + kD01File, D01Bytes()));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/P01.zip", "PK plain file"));
    ASSERT_TRUE(testfiles::WriteFileBytes(FilesPath() + "/X01.zip", "0123456789abcdefghij"));
    options.catalog = testfiles::PathOf(CatalogPath());
    options.files = testfiles::PathOf(FilesPath());
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

int RunInProcess(Command command, const std::vector<std::string>& args, std::string& out,
                 std::string& err) {
    std::ostringstream outStream;
    std::ostringstream errStream;
    const int status = command(args, outStream, errStream);
    out = outStream.str();
    err = errStream.str();
    return status;
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

}  // namespace servicetest
