// ServicePort.h: what the service does differently on Linux and on Windows: finding the sockets
// httplib accepted and ending an idle one, keeping a listening address to one service, peers that
// hang up, the command's arguments and stop request, and the durable writes of the catalog and
// the files folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace serviceport {

// A socket as httplib holds it (its socket_t).
#ifdef _WIN32
using Socket = std::uintptr_t;  // SOCKET
#else
using Socket = int;
#endif

// What the process holds open, the sockets that httplib accepted among it (httplib does not tell
// which they are): every descriptor on Linux, every handle on Windows. Most are no socket at all.
std::vector<Socket> OwnHandles();
// Lets the worker that waits on the idle connection `socket` for its next request see the end at
// once; it then closes the connection.
void EndIdleConnection(Socket socket);
void CloseSocket(Socket socket);
// Keeps the address of the listening `socket` to this service: another cannot bind it as well.
void KeepAddressToOneService(Socket socket);
// From here on a write to a peer that has hung up fails instead of ending the process.
void SurviveHungUpPeers();

// The command line in UTF-8, the program first.
std::vector<std::string> Utf8Arguments(int argc, char** argv);
// From here on the user's request to stop (Linux: SIGINT or SIGTERM; Windows: Ctrl+C, Ctrl+Break
// or the console closing) waits for WaitForStopRequest instead of ending the process. Called
// before any thread starts, as Linux threads inherit the signals that are blocked.
void CatchStopRequests();
void WaitForStopRequest();

// Writes `bytes` as a new file at `path`, failing when anything stands there already, and forces
// it and its folder's entry onto the disk, so that a file the catalog names never comes back
// empty or missing after a crash. False with the system's reason in `reason`; a failure leaves no
// file behind.
bool WriteNewFile(const std::filesystem::path& path, const std::string& bytes, std::string& reason);
// Puts the file `from` in place of `to` in one step (Linux rename, Windows MoveFileExW replacing
// the old file), then forces the change onto the disk: a reader sees the old file or the new one,
// never a mix. False with the system's reason in `reason` when nothing was replaced.
bool RenameOver(const std::filesystem::path& from, const std::filesystem::path& to,
                std::string& reason);

}  // namespace serviceport
