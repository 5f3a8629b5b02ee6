// Config.h: INI-style configuration, handed out by a factory.
//
// ConfigImpl reads a file of "key = value" lines and keeps those of one section, "OrvTools" unless
// the build names another. Lines starting with ";" are comments; "[name]" switches the current
// section; keys are trimmed and lower-cased, values trimmed; a later line wins. A missing file or
// a malformed line is no error: the key is simply not there and the caller's default holds.
//
// The add-on configures no file: the default factory makes a Config_Dummy, whose empty path makes
// every lookup fall to its default. Config() makes a new object at every call.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

class ConfigImpl {
public:
    using Factory = std::unique_ptr<ConfigImpl> (*)();

    static constexpr char16_t kDefaultSection[] = u"OrvTools";
    // The value GetConfigInt takes for "not a number".
    static constexpr int64_t kNotANumber = -999999;

    virtual ~ConfigImpl();

    static void RegisterFactory(Factory factory);
    // A new configuration object from the registered factory, the default one if none is.
    static std::unique_ptr<ConfigImpl> Config();

    // Clears the values, takes the section and loads the file.
    void Init();
    void Load();

    // Empty when the key is missing. Keys are matched without regard to case.
    WString GetConfigString(const WString& key) const;
    // A number, "true"/"on" as 1, "false"/"off" as 0; anything else gives `defaultValue`.
    int32_t GetConfigInt(const std::string& key, int32_t defaultValue) const;

    bool IsInitialized() const { return initialized; }
    const WString& GetSection() const { return section; }

protected:
    // A subclass that reads a file gives its path here and calls Init.
    explicit ConfigImpl(WString path = WString());

private:
    void ReadLine(const WString& line, WString& currentSection);

    WString path;
    std::map<WString, WString> values;
    bool initialized = false;
    WString section;
};

// The configuration of this add-on: no file, every key at its default.
class Config_Dummy : public ConfigImpl {
public:
    Config_Dummy() = default;
    ~Config_Dummy() override;
};
