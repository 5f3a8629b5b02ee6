// Trace.cpp: the trace file, written a line at a time and flushed, so that a run that dies
// still leaves what happened before.
#include "emulator/Trace.h"

#include "PathText.h"
#include "winsys/MainLoop.h"

#include <json/writer.h>
#include <stdexcept>

namespace orvhost {

Trace& Trace::Instance() {
    static Trace trace;
    return trace;
}

void Trace::Open(const std::string& path) {
    file.open(PathOfUtf8(path), std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot write the trace file " + path);
    }
    // The host kit's lines get their time stamp here, as ours do in Write.
    winsys::MainLoop::Instance().SetTraceSink([this](const std::string& jsonLine) {
        const std::string stamp =
            "{\"t\":" + std::to_string(winsys::MainLoop::Instance().NowMilliseconds());
        if (jsonLine.size() > 2 && jsonLine.front() == '{') {
            WriteRaw(stamp + "," + jsonLine.substr(1));
        } else {
            WriteRaw(jsonLine);
        }
    });
}

void Trace::Write(const Json::Value& line) {
    if (!file.is_open()) {
        return;
    }
    Json::Value stamped = line;
    stamped["t"] = Json::UInt64(winsys::MainLoop::Instance().NowMilliseconds());
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    WriteRaw(Json::writeString(builder, stamped));
}

void Trace::WriteRaw(const std::string& jsonLine) {
    if (!file.is_open()) {
        return;
    }
    file << jsonLine << '\n';
    file.flush();
}

}  // namespace orvhost
