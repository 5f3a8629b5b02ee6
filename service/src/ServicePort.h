// ServicePort.h: what the service does differently on Linux and on Windows: keeping a listening
// address to one service, peers that hang up, and the command's arguments and the user's
// requests to stop or to take the catalog again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace serviceport {

// A socket as the system gives it.
#ifdef _WIN32
using Socket = std::uintptr_t;  // SOCKET
#else
using Socket = int;
#endif

// Keeps the address of the listening `socket` to this service: another cannot bind it as well.
void KeepAddressToOneService(Socket socket);
// From here on a write to a peer that has hung up fails instead of ending the process.
void SurviveHungUpPeers();

// The command line in UTF-8, the program first.
std::vector<std::string> Utf8Arguments(int argc, char** argv);
// From here on the user's request to stop (Linux: SIGINT or SIGTERM; Windows: Ctrl+C, Ctrl+Break
// or the console closing) and, on Linux, to take the catalog again (SIGHUP) wait for
// WaitForRequest instead of ending the process. Called before any thread starts, as Linux threads
// inherit the signals that are blocked.
void CatchRequests();
enum class Request { Stop, ReloadCatalog };
Request WaitForRequest();

}  // namespace serviceport
