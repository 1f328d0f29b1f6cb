#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

#include "net/AcceptLoop.h"

using namespace rt;

/// 32-bit words as they lie on the wire.
std::string words(std::initializer_list<uint32_t> vWords);

/// The bytes of a plain record.
template <typename T>
std::string bytesOf(const T& record) {
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

/// Waits, with a generous limit, until the condition holds. False when it never did.
bool waitUntil(const std::function<bool()>& pfnCondition);

/// The two ends of a new connection.
std::array<int, 2> makeConnection();

/// A connection to a port of this machine, -1 when there is none.
int connectTo(uint16_t uPort);

/// How many files a process has open.
long openFiles(const std::string& sProcess = "self");

/// The most memory that a process has held so far.
long peakKilobytes(const std::string& sProcess);

/// One end of a connection, driven byte by byte.
class Peer {
 public:
    explicit Peer(int iEnd) : iSocket(iEnd) {}
    ~Peer() { close(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const std::string& sBytes) const;

    /// What comes, up to so many bytes; fewer when the connection ends or nothing comes for a long time.
    std::string receive(size_t uBytes) const;

    /// Sends nothing more, but listens on.
    void shut() const;

    /// True when the other end closed, with nothing sent before that.
    bool isClosed() const { return receive(1).empty() && !bTimeout; }

    void close();

 private:
    int iSocket;
    mutable bool bTimeout = false;
};

/// A server, whose tiles have known pixels. Its connections are socket pairs unless its loop is run.
class TestServer {
 public:
    RaytracerParameters parameters;
    Velk::NBitmap image;
    Wakeup wakeup;
    TaskBoard board;
    ClientSlots slots;
    SocketServer listener;
    AcceptLoop loop{listener, board, slots, wakeup};

    TestServer(uint32_t uWidth, uint32_t uHeight, uint32_t uPackSize, uint32_t uSlots);
    ~TestServer() { wakeup.requestStop(); }

    /// The client's end of a new connection, -1 when it is not served.
    int connect();

    /// The same once a slot is free.
    int connectWhenFree();

    /// Lets clients without fault do what is left.
    void finish();

    /// A client without fault: asks for the settings, delivers up to so many tiles and says ready again. Returns how
    /// many it delivered.
    unsigned deliver(const Peer& peer, unsigned uTiles) const;

    /// The pixels that belong to a task.
    std::string pixels(const Task& task) const;

    /// True when every tile has its pixels.
    bool isComplete() const;
};
