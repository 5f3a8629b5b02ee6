// Commands.h: the commands of orvhost's command line. Each returns the process's exit status:
// 0 done, 1 failed (the message is on standard error), 2 a bad command line.
#pragma once

#include "presentation/ScriptAction.h"

#include <string>
#include <vector>

namespace orvhost {

int RunOpen(const std::vector<std::string>& arguments);
int RunStatus(const std::vector<std::string>& arguments);

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// One run of a project in the host, as `orvhost open` makes it.
struct OpenRequest {
    std::string project;                              // the project folder
    std::string addon;                                // the add-on module's file
    std::string ui;                                   // gui, text, script or none
    std::vector<presentation::ScriptAction> actions;  // the script backend's
};

// Loads the add-on, fires the open event, runs the main loop until nothing is left to do, fires
// the close event, stops the add-on and saves the project. kExitFailed when a script action
// could not be carried out; throws std::exception for a project or add-on that fails.
int OpenProject(const OpenRequest& request);

// OrvUpdate.so beside orvhost.
std::string DefaultAddOnPath();

// What `orvhost status PROJECT` prints; throws std::exception for a project it cannot read.
void PrintProjectStatus(const std::string& projectPath);

}  // namespace orvhost
