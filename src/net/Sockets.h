#pragma once

#include <netinet/in.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

/// The listening TCP socket of server mode. Used by one thread.
class SocketServer {
 public:
    uint32_t uMaxConnections = 0;  // backlog, and the most clients served at the same time
    uint16_t uPort = 0;            // host byte order
    bool bConnected = false;       // listening; after checkRequest: a connection was accepted
    int iSocket = -1;              // owned; -1 when closed
    sockaddr_in sServerAddress{};
    sockaddr_in sClientAddress{};  // peer of the connection accepted last
    socklen_t uClientAddressLength = 0;
    int iClientSocket = 0;  // connection accepted by the last checkRequest, the caller's to close; 0 when none

    SocketServer() = default;
    ~SocketServer() { release(); }
    SocketServer(const SocketServer&) = delete;
    SocketServer& operator=(const SocketServer&) = delete;

    /// Listens on the port of every local address; on one that the system chooses (see uPort) when port is 0. True on
    /// failure, which is logged.
    [[nodiscard]] bool initServer(unsigned short port, unsigned maxConnections);

    /// Waits up to 2 seconds for a connection and accepts it; ends early when iWakeFile becomes readable. False when a
    /// connection was accepted, true when none was.
    [[nodiscard]] bool checkRequest(int iWakeFile = -1);

    /// Closes the socket; harmless when it is closed.
    void release();
};

/// How long to wait for the first byte: while the peer computes there is no limit. Behind the first byte of a message
/// the rest must follow without a pause of more than the stall limit.
enum WaitLimit { WAIT_STALL_LIMIT, WAIT_FOREVER };

/// One connected TCP socket, opened by itself or taken over from an accept. Used by one thread at a time.
class SocketClient {
 public:
    char szIP[30] = "";       // host connected to
    uint16_t uPort = 0;       // port connected to, host byte order
    bool bConnected = false;  // no send or receive has failed yet
    int iSocket = -1;         // owned; -1 when closed
    sockaddr_in sAddress{};   // peer of an accepted connection
    int iStopFile = -1;       // receiving fails once this file is readable; -1: none
    int iStallLimit = 30000;  // milliseconds without a byte after which a peer that owes some is given up

    SocketClient() = default;
    ~SocketClient() { release(); }
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    /// Connects to the first IPv4 address of the host (at most 29 characters). True on failure, which is logged.
    [[nodiscard]] bool initClient(const char* host, unsigned short port);

    /// Takes over an accepted connection, which this object closes.
    void initClient(int socket, const sockaddr_in& address);

    /// Receives exactly uSize bytes. True on failure, without a log entry: what came in part is lost with the stream.
    [[nodiscard]] bool getResponse(void* pBuffer, unsigned uSize, WaitLimit limit = WAIT_STALL_LIMIT);

    /// Receives uRows rows of uRowBytes bytes straight into rows that lie uStride bytes apart. True on failure.
    [[nodiscard]] bool getRows(uint8_t* pFirst, size_t uRowBytes, uint32_t uRows, size_t uStride);

    /// Sends a packet's fixed part, what follows it, and the next packet with them, all of it or the connection is
    /// given up. True on failure.
    bool sendPacket(const void* pFixed, size_t uFixed, const void* pPayload = nullptr, size_t uPayload = 0,
                    const void* pNext = nullptr, size_t uNext = 0);

    /// Closes the socket; harmless when it is closed.
    void release();

 private:
    void takeAhead(iovec*& pPieces, size_t& uPieces);
    bool receive(iovec* pPieces, size_t uPieces, WaitLimit limit);
    bool awaitData(int iMilliseconds) const;
    bool isStopped() const;
    void tune() const;

    uint32_t uAheadStart = 0;  // of what was read ahead and not handed out
    uint32_t uAheadEnd = 0;
    uint8_t ahead[4096];  // the result of a tile of 32 x 32 pixels, and a little more
};

/// Lets the system notice by itself, within half a minute, that the peer of a connection vanished without closing it.
void watchPeer(int iSocket);
