// ScriptAction.h: one line of a script, as the script backend and the emulator read it.
#pragma once

#include <string>
#include <vector>

namespace presentation {

// The verb and its words, with its line number for messages.
struct ScriptAction {
    int line = 0;
    std::string verb;
    std::vector<std::string> words;
};

}  // namespace presentation
