#pragma once

#include <netinet/in.h>
#include <sys/uio.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace rt {

// TCP sockets: one that listens, and one end of a connection.

/// IPv4 addresses with a common beginning. The default holds all.
struct AddressRange {
    uint32_t uFirst = 0;  // host byte order
    uint32_t uMask = 0;   // the bits in common

    bool holds(const sockaddr_in& address) const { return (ntohl(address.sin_addr.s_addr) & uMask) == uFirst; }
    bool contains(const AddressRange& other) const {
        return (other.uMask & uMask) == uMask && (other.uFirst & uMask) == uFirst;
    }
};

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
    int iClientSocket = 0;   // connection accepted by the last checkRequest, the caller's to close; 0 when none
    int iAcceptWait = 2000;  // milliseconds that checkRequest waits
    int iAcceptError = 0;    // errno of the accept in the last checkRequest, 0 when it succeeded or nobody came
    AddressRange allowed;    // connections from elsewhere are closed at once, but for this machine's own
    bool bReuse = false;     // a port may be taken whose last connections ended a moment ago

    SocketServer() = default;
    ~SocketServer() { release(); }
    SocketServer(const SocketServer&) = delete;
    SocketServer& operator=(const SocketServer&) = delete;

    /// Listens on all local addresses, or on 127.0.0.1 when no other machine is allowed, at a port that the system
    /// chooses (see uPort) when port is 0. True on failure, which is logged.
    [[nodiscard]] bool initServer(unsigned short port, unsigned maxConnections);

    /// Waits up to iAcceptWait for a connection and accepts it; returns early when iWakeFile becomes readable. False
    /// when a connection was accepted, true when none was (see iAcceptError).
    [[nodiscard]] bool checkRequest(int iWakeFile = -1);

    /// Closes the socket, if it is open.
    void release();
};

/// How long to wait for the first byte of a message. Either way the rest must follow without a pause longer than the
/// stall limit.
enum WaitLimit {
    WAIT_STALL_LIMIT,
    WAIT_FOREVER  // while the peer computes
};

/// One connected TCP socket, opened by itself or taken over from an accept. Used by one thread at a time.
class SocketClient {
 public:
    using Clock = std::chrono::steady_clock;

    char szIP[30] = "";        // host connected to, cut to what fits
    uint16_t uPort = 0;        // port connected to, host byte order
    bool bConnected = false;   // cleared by a receive that fails; each send sets it to whether it succeeded
    int iSocket = -1;          // owned; -1 when closed
    sockaddr_in sAddress{};    // peer of an accepted connection
    int iStopFile = -1;        // waiting for the peer fails once this file is readable; -1: none
    bool bFinishSend = false;  // the stop file does not end sending
    int iStallLimit = 30000;   // milliseconds without progress after which sending and receiving fail
    std::string sFailure;      // why the last connect failed, in the system's words
    std::atomic<Clock::time_point> tReceived{};  // when bytes last arrived, zero before; any thread may read it

    SocketClient() = default;
    ~SocketClient() { release(); }
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    /// Connects to the first IPv4 address of the host. True on failure, which is logged (see sFailure).
    [[nodiscard]] bool initClient(const char* host, unsigned short port);

    /// Takes over an accepted connection, which this object will close.
    void initClient(int socket, const sockaddr_in& address);

    /// Receives exactly uSize bytes. True on failure, which is not logged; the connection is unusable then, because the
    /// bytes received before are lost.
    [[nodiscard]] bool getResponse(void* pBuffer, unsigned uSize, WaitLimit limit = WAIT_STALL_LIMIT);

    /// The same for uRows rows of uRowBytes bytes, straight into rows that lie uStride bytes apart.
    [[nodiscard]] bool getRows(uint8_t* pFirst, size_t uRowBytes, uint32_t uRows, size_t uStride,
                               WaitLimit limit = WAIT_STALL_LIMIT);

    /// Bytes to be sent, not copied.
    struct Piece {
        const void* pBytes;
        size_t uBytes;

        Piece(const void* pFirst, size_t uCount) : pBytes(pFirst), uBytes(uCount) {}
        template <typename Record>
        Piece(const Record& record) : Piece(&record, sizeof(record)) {}
    };

    /// Sends up to four pieces, with one system call if possible. True on failure; if some bytes are out already, the
    /// connection is shut down then.
    bool send(std::initializer_list<Piece> vPieces);

    /// Closes the socket, if it is open.
    void release();

 private:
    bool awaitEvent(short iEvent, int iMilliseconds) const;
    size_t receiveSome(iovec* pPieces, size_t uPieces, int iMilliseconds);
    void tune() const;

    uint32_t uAheadStart = 0;  // the unread part of readAhead
    uint32_t uAheadEnd = 0;
    uint8_t readAhead[4096];  // fits the result of a tile of 32 x 32 pixels
};

/// Makes the system detect within half a minute that the peer of a connection vanished without closing it.
void watchPeer(int iSocket);

/// Address and port as text, such as "10.0.0.7:51234".
std::string addressText(const sockaddr_in& address);

}  // namespace rt
