// BodyRoom_linux.h: the memory a body is received into on Linux.
//
// A body is kept whole in memory, so its pages cost as much to place as its bytes to receive:
// the system maps and zeroes every one of them. The room for a declared size is made at once,
// which costs address space alone, and the body is never copied. Its pages are mapped in large
// steps ahead of the bytes; for a large body on a second thread, in the time the receiving one
// waits for the network. A size the server merely claims maps little: never more than 16 MiB,
// or four times what has arrived, ahead of the bytes. A body of no declared size moves to a room
// four times larger each time it outgrows one.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

class BodyRoom {
public:
    explicit BodyRoom(std::string& body) : body(body) {}
    ~BodyRoom() { StopMapping(); }
    BodyRoom(const BodyRoom&) = delete;
    BodyRoom& operator=(const BodyRoom&) = delete;

    // The server has declared `size` bytes; before any of them arrive.
    void Expect(std::size_t size);
    void Append(const char* bytes, std::size_t size);
    // Ends the mapping ahead; once it returns, no other thread touches the body.
    void StopMapping();

private:
    void MoveTo(std::size_t size);
    void MapAhead(std::size_t needed);
    void StartMapper();
    static void MapUpTo(std::atomic<std::size_t>& mayMap, char* start, std::size_t size);

    std::string& body;
    // How much of the room is mapped, from its start, by this thread.
    std::size_t mapped = 0;

    // The mapper, while a large declared body arrives.
    std::thread mapper;
    std::atomic<std::size_t> mapperMayMap{0};  // from the room's start
    std::size_t nextAllowance = 0;             // the body's size at which mapperMayMap grows next
};
