// ServicePort.h: what the service does differently on Linux and on Windows: keeping a listening
// address to one service and sockets from child processes, peers that hang up, the user's requests
// to stop or to take the catalog again, and the durable writes of the catalog and the files folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace serviceport {

// A socket as the system gives it.
#ifdef _WIN32
using Socket = std::uintptr_t;  // SOCKET
#else
using Socket = int;
#endif

// Keeps the address of the listening `socket` to this service: another cannot bind it as well.
void KeepAddressToOneService(Socket socket);
// Keeps `socket` from the processes this one starts (a host that runs the service in-process
// and starts programs would otherwise hand them its listening socket and connections).
void KeepFromChildren(Socket socket);
// From here on a write to a peer that has hung up fails instead of ending the process.
void SurviveHungUpPeers();

// From here on the user's request to stop (Linux: SIGINT or SIGTERM; Windows: Ctrl+C, Ctrl+Break
// or the console closing) and, on Linux, to take the catalog again (SIGHUP) wait for
// WaitForRequest instead of ending the process. Called before any thread starts, as Linux threads
// inherit the signals that are blocked.
void CatchRequests();
enum class Request { Stop, ReloadCatalog };
Request WaitForRequest();

// Writes `bytes` as a new file at `path`, failing when anything stands there already, and forces
// it and its folder's entry onto the disk, so that a file the catalog names never comes back
// empty or missing after a crash. False with the system's reason in `reason`; a failure leaves no
// file behind.
bool WriteNewFile(const std::filesystem::path& path, const std::string& bytes, std::string& reason);
// Makes `path` a new folder, failing when anything stands there already, and forces its entry in
// its parent onto the disk, as WriteNewFile does for a file. False with the system's reason.
bool MakeNewFolder(const std::filesystem::path& path, std::string& reason);
// Puts the file `from` in place of `to` in one step (Linux rename, Windows MoveFileExW replacing
// the old file), then forces the change onto the disk: a reader sees the old file or the new one,
// never a mix. False with the system's reason in `reason` when nothing was replaced.
bool RenameOver(const std::filesystem::path& from, const std::filesystem::path& to,
                std::string& reason);

}  // namespace serviceport
