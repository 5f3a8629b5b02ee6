// Commands.h: the commands of orvhost's command line. Each returns the process's exit status:
// 0 done, 1 failed (the message is on standard error), 2 a bad command line.
#pragma once

#include <string>
#include <vector>

namespace orvhost {

int RunOpen(const std::vector<std::string>& arguments);
int RunStatus(const std::vector<std::string>& arguments);

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

}  // namespace orvhost
