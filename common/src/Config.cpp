// Config.cpp: the INI reader and its factory.
#include "common/Config.h"

#include "common/CUtils.h"

#include <stdexcept>

namespace {

// The section this build reads; empty, so the default section applies.
constexpr char16_t kBuildSection[] = u"";

constinit ConfigImpl::Factory registeredFactory = nullptr;

std::unique_ptr<ConfigImpl> MakeDefaultConfig() {
    auto config = std::make_unique<Config_Dummy>();
    config->Init();
    return config;
}

}  // namespace

ConfigImpl::ConfigImpl(WString path) : path(std::move(path)) {}

ConfigImpl::~ConfigImpl() = default;

Config_Dummy::~Config_Dummy() = default;

void ConfigImpl::RegisterFactory(Factory factory) { registeredFactory = factory; }

std::unique_ptr<ConfigImpl> ConfigImpl::Config() {
    if (registeredFactory == nullptr) {
        RegisterFactory(&MakeDefaultConfig);
    }
    if (registeredFactory == nullptr) {
        throw std::runtime_error(
            "Config not yet initialized. Didn't you forget to call ConfigImpl::RegisterFactory? "
            "and in Factory class call Reset");
    }
    return registeredFactory();
}

void ConfigImpl::Init() {
    initialized = true;
    values.clear();
    const WString buildSection = kBuildSection;
    section = buildSection.empty() ? WString(kDefaultSection) : buildSection;
    Load();
}

void ConfigImpl::Load() {
    if (path.empty()) {
        return;
    }
    const WString text = CUtils::ReadTextFile(path);
    WString currentSection;
    size_t position = 0;
    while (position < text.size()) {
        size_t end = text.find(u'\n', position);
        if (end == WString::npos) {
            end = text.size();
        }
        ReadLine(text.substr(position, end - position), currentSection);
        position = end + 1;
    }
}

void ConfigImpl::ReadLine(const WString& line, WString& currentSection) {
    // Only the very first character marks a comment or a header.
    if (line.empty() || line.front() == u';') {
        return;
    }
    if (line.front() == u'[') {
        const size_t close = line.find(u']');
        if (close != WString::npos) {
            currentSection = line.substr(1, close - 1);
        }
        return;
    }
    if (currentSection != section) {
        return;
    }
    const size_t equals = line.find(u'=');
    if (equals == WString::npos) {
        return;
    }
    const WString key = CUtils::ToLower(CUtils::Trim(line.substr(0, equals), CUtils::kTrimChars));
    if (key.empty()) {
        return;
    }
    values[key] = CUtils::Trim(line.substr(equals + 1), CUtils::kTrimChars);
}

WString ConfigImpl::GetConfigString(const WString& key) const {
    const auto found = values.find(CUtils::ToLower(key));
    return found == values.end() ? WString() : found->second;
}

int32_t ConfigImpl::GetConfigInt(const std::string& key, int32_t defaultValue) const {
    const WString value = CUtils::ToLower(GetConfigString(WString(key.begin(), key.end())));
    const int64_t number = CUtils::ParseIntW(value, 10, kNotANumber);
    if (number != kNotANumber) {
        return static_cast<int32_t>(number);
    }
    if (value == u"true" || value == u"on") {
        return 1;
    }
    if (value == u"false" || value == u"off") {
        return 0;
    }
    return defaultValue;
}
