// VersionAnswer.cpp: the version service's answer read into a part's record.
#include "VersionAnswer.h"

#include <json/reader.h>
#include <json/value.h>

namespace monitor {

namespace {

// 8-bit text of the answer, in the default character code: not read as UTF-8.
GS::UniString AnswerText(const Json::Value& value) {
    return GS::UniString(value.asString().c_str(), CC_Default);
}

}  // namespace

void ReadVersionAnswer(const std::string& body, VersionCheckState& record) {
    // The answer ends at its first zero byte.
    const std::string text(body.c_str());
    Json::Value root;
    // The host's reader, with comment collection on; the newer builder reads otherwise.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
    if (!reader.parse(text, root, true)) {
        return;
    }
#pragma GCC diagnostic pop
    const Json::Value& answer = root;
    record.version = AnswerText(answer["version"]);
    if (answer["up_to_date"].asBool()) {
        record.state = StateUpToDate;
    } else if (answer["test_version"].asBool()) {
        record.state = StateTestVersion;
    } else if (answer["update_available"].asBool()) {
        record.state = StateUpdateAvailable;
    } else {
        record.state = StateUnknown;
    }
    // The address depends on "update_available" alone, whatever the state.
    if (answer["update_available"].asBool()) {
        record.downloadUrl = AnswerText(answer["url"]);
    }
}

}  // namespace monitor
