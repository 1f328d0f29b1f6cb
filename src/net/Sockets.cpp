// Sockets with timeouts. Accepting, sending and receiving wait in poll(), which a second file descriptor can end.
#include "net/Sockets.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/LineReader.h"
#include "base/NLogger.h"

namespace rt {

namespace {

constexpr socklen_t ADDRESS_SIZE = sizeof(sockaddr_in);
static_assert(ADDRESS_SIZE == 16);

// A silent peer is probed after 10 seconds, then every 5 seconds. It is lost after three unanswered probes, or when
// data is not acknowledged for half a minute.
constexpr int KEEP_ALIVE_IDLE = 10;
constexpr int KEEP_ALIVE_INTERVAL = 5;
constexpr int KEEP_ALIVE_COUNT = 3;
constexpr int UNANSWERED_LIMIT = 30000;  // milliseconds

constexpr AddressRange LOOPBACK{0x7F000000, 0xFF000000};

constexpr uint32_t ROWS_PER_CALL = 64;  // pieces of one receive call; the default tile has 32 rows

// The result is ignored: some options do not exist on a local socket pair, and the connection works without them.
void setOption(int iSocket, int iLevel, int iName, int iValue) {
    setsockopt(iSocket, iLevel, iName, &iValue, sizeof(iValue));
}

// Clears the variable first: once closed, the system may reuse the descriptor.
void closeOnce(int& iSocket) {
    const int iOld = iSocket;
    iSocket = -1;
    if (iOld != -1) close(iOld);
}

}  // namespace

void watchPeer(int iSocket) {
    setOption(iSocket, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(iSocket, IPPROTO_TCP, TCP_KEEPIDLE, KEEP_ALIVE_IDLE);
    setOption(iSocket, IPPROTO_TCP, TCP_KEEPINTVL, KEEP_ALIVE_INTERVAL);
    setOption(iSocket, IPPROTO_TCP, TCP_KEEPCNT, KEEP_ALIVE_COUNT);
    setOption(iSocket, IPPROTO_TCP, TCP_USER_TIMEOUT, UNANSWERED_LIMIT);
}

bool SocketServer::initServer(unsigned short port, unsigned maxConnections) {
    release();
    iSocket = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (iSocket == -1) {
        ReportError("socket() failed!\n");
        return true;
    }
    if (bReuse) setOption(iSocket, SOL_SOCKET, SO_REUSEADDR, 1);
    sServerAddress = {};
    sServerAddress.sin_family = AF_INET;
    sServerAddress.sin_port = htons(port);
    sServerAddress.sin_addr.s_addr = htonl(LOOPBACK.contains(allowed) ? INADDR_LOOPBACK : INADDR_ANY);
    if (bind(iSocket, reinterpret_cast<const sockaddr*>(&sServerAddress), ADDRESS_SIZE) == -1) {
        ReportError("bind() failed!\n");
        release();
        return true;
    }
    if (listen(iSocket, static_cast<int>(maxConnections)) == -1) {
        ReportError("listen() failed!\n");
        release();
        return true;
    }
    socklen_t uLength = ADDRESS_SIZE;  // reads back the port, which the system may have chosen
    getsockname(iSocket, reinterpret_cast<sockaddr*>(&sServerAddress), &uLength);
    uMaxConnections = maxConnections;
    uPort = ntohs(sServerAddress.sin_port);
    bConnected = true;
    return false;
}

bool SocketServer::checkRequest(int iWakeFile) {
    uClientAddressLength = ADDRESS_SIZE;
    iClientSocket = 0;
    // Not select(), which is limited to descriptors below 1024. poll() ignores a descriptor of -1.
    pollfd files[2] = {{iSocket, POLLIN, 0}, {iWakeFile, POLLIN, 0}};
    iAcceptError = 0;
    if (poll(files, 2, iAcceptWait) > 0 && files[0].revents) {
        const int iAccepted = accept(iSocket, reinterpret_cast<sockaddr*>(&sClientAddress), &uClientAddressLength);
        if (iAccepted == -1) iAcceptError = errno;
        iClientSocket = std::max(iAccepted, 0);
        if (iClientSocket && !allowed.holds(sClientAddress) && !LOOPBACK.holds(sClientAddress)) {
            Velk::NLogger::LogMessage("Client %s may not connect\n", addressText(sClientAddress).c_str());
            close(iClientSocket);
            iClientSocket = 0;
        }
    }
    bConnected = iClientSocket > 0;
    return !bConnected;
}

void SocketServer::release() {
    closeOnce(iSocket);
    bConnected = false;
}

std::string addressText(const sockaddr_in& address) {
    char szHost[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &address.sin_addr, szHost, sizeof(szHost));
    return std::string(szHost) + ':' + std::to_string(ntohs(address.sin_port));
}

bool SocketClient::initClient(const char* host, unsigned short port) {
    release();
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* pAddress = nullptr;
    if (const int iError = getaddrinfo(host, std::to_string(port).c_str(), &hints, &pAddress)) {
        sFailure = gai_strerror(iError);
        ReportError("getaddrinfo() failed!\n");
        return true;
    }
    if (!pAddress) {
        sFailure = "no address";
        ReportError("Empty address list");
        return true;
    }
    iSocket = socket(pAddress->ai_family, pAddress->ai_socktype, pAddress->ai_protocol);
    if (iSocket == -1) {
        sFailure = strerror(errno);
        ReportError("socket() failed!\n");
    } else if (connect(iSocket, pAddress->ai_addr, pAddress->ai_addrlen) == -1) {
        sFailure = strerror(errno);
        ReportError("connect() failed\n");
        release();
    }
    freeaddrinfo(pAddress);
    if (iSocket == -1) return true;
    Velk::copyText(szIP, sizeof(szIP), host);
    uPort = port;
    bConnected = true;
    tune();
    return false;
}

void SocketClient::initClient(int socket, const sockaddr_in& address) {
    release();
    iSocket = socket;
    sAddress = address;
    bConnected = true;
    tune();
}

// Also turns off Nagle's algorithm, which would delay small packets.
void SocketClient::tune() const {
    watchPeer(iSocket);
    setOption(iSocket, IPPROTO_TCP, TCP_NODELAY, 1);
}

// True on a timeout, or when the stop file is readable.
bool SocketClient::awaitEvent(short iEvent, int iMilliseconds) const {
    const bool bStops = !(bFinishSend && iEvent == POLLOUT);
    pollfd files[2] = {{iSocket, iEvent, 0}, {bStops ? iStopFile : -1, POLLIN, 0}};
    int iReady = 0;
    do {
        iReady = poll(files, 2, iMilliseconds);
    } while (iReady == -1 && errno == EINTR);
    return iReady < 1 || files[1].revents;
}

// Receives at least one byte into the pieces. Returns the number of bytes, 0 on failure.
size_t SocketClient::receiveSome(iovec* pPieces, size_t uPieces, int iMilliseconds) {
    msghdr message{};
    message.msg_iov = pPieces;
    message.msg_iovlen = uPieces;
    while (iSocket != -1 && !awaitEvent(POLLIN, iMilliseconds)) {
        const ssize_t iReceived = recvmsg(iSocket, &message, MSG_NOSIGNAL);
        if (iReceived > 0) {
            tReceived = Clock::now();
            return static_cast<size_t>(iReceived);
        }
        if (iReceived == 0 || errno != EINTR) break;
    }
    bConnected = false;
    return 0;
}

bool SocketClient::getResponse(void* pBuffer, unsigned uSize, WaitLimit limit) {
    return getRows(static_cast<uint8_t*>(pBuffer), uSize, uSize ? 1 : 0, 0, limit);
}

bool SocketClient::getRows(uint8_t* pFirst, size_t uRowBytes, uint32_t uRows, size_t uStride, WaitLimit limit) {
    int iWait = limit == WAIT_FOREVER && uAheadStart == uAheadEnd ? -1 : iStallLimit;
    const size_t uAll = uRowBytes * uRows;
    for (size_t uDone = 0; uDone < uAll;) {
        const size_t uColumn = uDone % uRowBytes;
        uint8_t* pNext = pFirst + uDone / uRowBytes * uStride + uColumn;
        if (uAheadStart < uAheadEnd) {
            const size_t uBytes = std::min(size_t{uAheadEnd - uAheadStart}, uRowBytes - uColumn);
            memcpy(pNext, readAhead + uAheadStart, uBytes);
            uAheadStart += static_cast<uint32_t>(uBytes);
            uDone += uBytes;
            continue;
        }
        iovec pieces[ROWS_PER_CALL + 1];
        pieces[0] = {pNext, uRowBytes - uColumn};
        size_t uPieces = 1, uEnd = uDone + pieces[0].iov_len;
        for (pNext -= uColumn; uPieces < ROWS_PER_CALL && uEnd < uAll; uEnd += uRowBytes) {
            pieces[uPieces++] = {pNext += uStride, uRowBytes};
        }
        // Reads ahead into a buffer, so that a small message or the result of a default tile takes one call.
        pieces[uPieces++] = {readAhead, sizeof(readAhead)};
        const size_t uReceived = receiveSome(pieces, uPieces, iWait);
        if (!uReceived) return true;
        const size_t uWanted = std::min(uReceived, uEnd - uDone);
        uAheadStart = 0;
        uAheadEnd = static_cast<uint32_t>(uReceived - uWanted);
        uDone += uWanted;
        iWait = iStallLimit;
    }
    return false;
}

bool SocketClient::send(std::initializer_list<Piece> vPieces) {
    iovec pieces[4];
    assert(vPieces.size() <= std::size(pieces));
    size_t uPieces = 0, uFirst = 0;
    for (const Piece& piece : vPieces) pieces[uPieces++] = {const_cast<void*>(piece.pBytes), piece.uBytes};
    bool bStarted = false;
    bConnected = true;
    while (uFirst < uPieces && bConnected) {
        msghdr message{};
        message.msg_iov = pieces + uFirst;
        message.msg_iovlen = uPieces - uFirst;
        const ssize_t iSent = sendmsg(iSocket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (iSent == -1) {
            // Waits in poll(), which the stop file ends, and not in sendmsg().
            const bool bFull = errno == EAGAIN || errno == EWOULDBLOCK;
            if (bFull ? awaitEvent(POLLOUT, iStallLimit) : errno != EINTR) bConnected = false;
            continue;
        }
        bStarted = true;
        size_t uSent = static_cast<size_t>(iSent);
        for (; uFirst < uPieces && uSent >= pieces[uFirst].iov_len; ++uFirst) uSent -= pieces[uFirst].iov_len;
        if (uFirst == uPieces) break;
        pieces[uFirst].iov_base = static_cast<uint8_t*>(pieces[uFirst].iov_base) + uSent;
        pieces[uFirst].iov_len -= uSent;
    }
    if (!bConnected && bStarted) shutdown(iSocket, SHUT_RDWR);  // nothing must follow half a packet
    return !bConnected;
}

void SocketClient::release() {
    closeOnce(iSocket);
    bConnected = false;
    uAheadStart = uAheadEnd = 0;
    tReceived = Clock::time_point{};
}

}  // namespace rt
