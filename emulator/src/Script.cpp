// Script.cpp: reads and checks a script before anything runs, so that a typo fails at once with
// its line rather than halfway through a run.
#include "emulator/Script.h"

#include "PathText.h"

#include <charconv>
#include <fstream>
#include <map>
#include <sstream>

namespace orvhost {

namespace {

struct VerbShape {
    std::size_t minWords;
    std::size_t maxWords;
    const char* usage;
};

const std::map<std::string, VerbShape>& Verbs() {
    static const std::map<std::string, VerbShape> verbs = {
        {"wait", {1, 1, "wait MS"}},
        {"click", {1, 1, "click ROW"}},
        {"close", {0, 0, "close"}},
        {"ok", {0, 0, "ok"}},
        {"event", {2, 2, "event project N | event library N"}},
        {"place", {1, 2, "place TYPE [PART]"}},
        {"modify", {1, 1, "modify GUID"}},
        {"undo", {0, 0, "undo"}},
        {"reload", {0, 0, "reload"}},
    };
    return verbs;
}

void CheckWords(const presentation::ScriptAction& action) {
    const auto& words = action.words;
    if (action.verb == "wait" && ScriptNumber(words[0]) < 0) {
        throw std::runtime_error("the time must not be negative");
    }
    if (action.verb == "click" && ScriptNumber(words[0]) < 1) {
        throw std::runtime_error("rows count from 1");
    }
    if (action.verb == "event") {
        if (words[0] != "project" && words[0] != "library") {
            throw std::runtime_error("events are \"project\" or \"library\"");
        }
        ScriptNumber(words[1]);
    }
    if (action.verb == "place") {
        const long long type = ScriptNumber(words[0]);
        if (type < 1 || type > 8) {
            throw std::runtime_error("element types are 1 to 8");
        }
        const bool needsPart = type >= 4 && type <= 7;
        if (needsPart != (words.size() == 2)) {
            throw std::runtime_error(needsPart ? "types 4 to 7 need a library part"
                                               : "only types 4 to 7 take a library part");
        }
    }
}

}  // namespace

long long ScriptNumber(const std::string& word) {
    const bool hex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    const char* first = word.data() + (hex ? 2 : 0);
    const char* last = word.data() + word.size();
    long long value = 0;
    const auto [end, error] = std::from_chars(first, last, value, hex ? 16 : 10);
    if (error != std::errc() || end != last || first == last) {
        throw std::runtime_error("\"" + word + "\" is not a number");
    }
    return value;
}

std::vector<presentation::ScriptAction> ParseScript(const std::string& text,
                                                    const std::string& name) {
    std::vector<presentation::ScriptAction> actions;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        std::istringstream words(line);
        presentation::ScriptAction action;
        action.line = number;
        if (!(words >> action.verb) || action.verb.front() == '#') {
            continue;
        }
        for (std::string word; words >> word;) {
            action.words.push_back(word);
        }
        const auto prefix = name + ":" + std::to_string(number) + ": ";
        const auto verb = Verbs().find(action.verb);
        if (verb == Verbs().end()) {
            throw std::runtime_error(prefix + "unknown action \"" + action.verb + "\"");
        }
        const VerbShape& shape = verb->second;
        if (action.words.size() < shape.minWords || action.words.size() > shape.maxWords) {
            throw std::runtime_error(prefix + "expected \"" + shape.usage + "\"");
        }
        try {
            CheckWords(action);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(prefix + error.what());
        }
        actions.push_back(std::move(action));
    }
    return actions;
}

std::vector<presentation::ScriptAction> ReadScript(const std::string& path) {
    std::ifstream file(PathOfUtf8(path), std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read the script " + path);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return ParseScript(text.str(), path);
}

}  // namespace orvhost
