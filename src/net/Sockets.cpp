#include "net/Sockets.h"

#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/NLogger.h"

namespace {

constexpr int ACCEPT_WAIT = 2000;  // milliseconds
constexpr socklen_t ADDRESS_SIZE = sizeof(sockaddr_in);
static_assert(ADDRESS_SIZE == 16);

// A silent peer is asked after 10 seconds, every 5 seconds, and given up when it leaves three questions or half a
// minute of data unanswered.
constexpr int KEEP_ALIVE_IDLE = 10;
constexpr int KEEP_ALIVE_INTERVAL = 5;
constexpr int KEEP_ALIVE_COUNT = 3;
constexpr int UNANSWERED_LIMIT = 30000;  // milliseconds

constexpr uint32_t ROWS_PER_CALL = 64;  // pieces of one receive call; the default tile has 32 rows

// A refused option only means less comfort (it does not exist on a local socket pair), so the result is not looked at.
void setOption(int iSocket, int iLevel, int iName, int iValue) {
    setsockopt(iSocket, iLevel, iName, &iValue, sizeof(iValue));
}

// Steps over the bytes that are through. Returns how many of them lie behind the last piece.
size_t advance(iovec*& pPieces, size_t& uPieces, size_t uBytes) {
    while (uPieces && uBytes >= pPieces->iov_len) {
        uBytes -= pPieces->iov_len;
        ++pPieces;
        --uPieces;
    }
    if (!uPieces) return uBytes;
    pPieces->iov_base = static_cast<uint8_t*>(pPieces->iov_base) + uBytes;
    pPieces->iov_len -= uBytes;
    return 0;
}

// The number goes first, so that nobody ever sees one that is closed already.
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
    sServerAddress = {};
    sServerAddress.sin_family = AF_INET;
    sServerAddress.sin_port = htons(port);
    sServerAddress.sin_addr.s_addr = htonl(INADDR_ANY);
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
    socklen_t uLength = ADDRESS_SIZE;  // for the port when the system chose it
    getsockname(iSocket, reinterpret_cast<sockaddr*>(&sServerAddress), &uLength);
    uMaxConnections = maxConnections;
    uPort = ntohs(sServerAddress.sin_port);
    bConnected = true;
    return false;
}

bool SocketServer::checkRequest(int iWakeFile) {
    uClientAddressLength = ADDRESS_SIZE;
    iClientSocket = 0;
    // Not select, whose sets end at descriptor 1023. A file of -1 is left out.
    pollfd files[2] = {{iSocket, POLLIN, 0}, {iWakeFile, POLLIN, 0}};
    if (poll(files, 2, ACCEPT_WAIT) > 0 && files[0].revents) {
        const int iAccepted = accept(iSocket, reinterpret_cast<sockaddr*>(&sClientAddress), &uClientAddressLength);
        iClientSocket = std::max(iAccepted, 0);
    }
    bConnected = iClientSocket > 0;
    return !bConnected;
}

void SocketServer::release() {
    closeOnce(iSocket);
    bConnected = false;
}

bool SocketClient::initClient(const char* host, unsigned short port) {
    release();
    const size_t uLength = strnlen(host, sizeof(szIP));
    if (uLength == sizeof(szIP)) {
        ReportError("Invalid string: 'host'");
        return true;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    char szService[8];
    snprintf(szService, sizeof(szService), "%u", unsigned{port});
    addrinfo* pAddress = nullptr;
    if (getaddrinfo(host, szService, &hints, &pAddress)) {
        ReportError("getaddrinfo() failed!\n");
        return true;
    }
    if (!pAddress) {
        ReportError("Empty address list");
        return true;
    }
    iSocket = socket(pAddress->ai_family, pAddress->ai_socktype, pAddress->ai_protocol);
    if (iSocket == -1) {
        ReportError("socket() failed!\n");
    } else if (connect(iSocket, pAddress->ai_addr, pAddress->ai_addrlen) == -1) {
        ReportError("connect() failed\n");
        release();
    }
    freeaddrinfo(pAddress);
    if (iSocket == -1) return true;
    memcpy(szIP, host, uLength + 1);
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

// Small packets go out at once, and a send that makes no progress fails in the end.
void SocketClient::tune() const {
    watchPeer(iSocket);
    setOption(iSocket, IPPROTO_TCP, TCP_NODELAY, 1);
    timeval limit{};
    limit.tv_sec = UNANSWERED_LIMIT / 1000;
    setsockopt(iSocket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

// True when nothing came in time, or the stop file is readable.
bool SocketClient::awaitData(int iMilliseconds) const {
    pollfd files[2] = {{iSocket, POLLIN, 0}, {iStopFile, POLLIN, 0}};
    int iReady = 0;
    do {
        iReady = poll(files, 2, iMilliseconds);
    } while (iReady == -1 && errno == EINTR);
    return iReady < 1 || files[1].revents;
}

bool SocketClient::isStopped() const {
    pollfd file{iStopFile, POLLIN, 0};
    return poll(&file, 1, 0) > 0;
}

// Hands out what was read ahead.
void SocketClient::takeAhead(iovec*& pPieces, size_t& uPieces) {
    while (uPieces && uAheadStart < uAheadEnd) {
        const size_t uBytes = std::min(size_t{uAheadEnd - uAheadStart}, pPieces->iov_len);
        memcpy(pPieces->iov_base, ahead + uAheadStart, uBytes);
        uAheadStart += static_cast<uint32_t>(uBytes);
        advance(pPieces, uPieces, uBytes);
    }
}

// Fills the pieces. Requires room for one more behind them: what comes behind the wanted bytes is read ahead with them,
// so that a small message, or a result of a usual tile, costs one call.
bool SocketClient::receive(iovec* pPieces, size_t uPieces, WaitLimit limit) {
    int iWait = limit == WAIT_FOREVER && uAheadStart == uAheadEnd ? -1 : iStallLimit;
    takeAhead(pPieces, uPieces);
    while (uPieces) {
        pPieces[uPieces] = {ahead, sizeof(ahead)};
        msghdr message{};
        message.msg_iov = pPieces;
        message.msg_iovlen = uPieces + 1;
        ssize_t iReceived = -1;
        if (iSocket != -1 && !awaitData(iWait)) {
            iReceived = recvmsg(iSocket, &message, MSG_NOSIGNAL);
            if (iReceived == -1 && errno == EINTR) continue;
        }
        if (iReceived < 1) {
            bConnected = false;
            return true;
        }
        uAheadStart = 0;
        uAheadEnd = static_cast<uint32_t>(advance(pPieces, uPieces, static_cast<size_t>(iReceived)));
        iWait = iStallLimit;
    }
    return false;
}

bool SocketClient::getResponse(void* pBuffer, unsigned uSize, WaitLimit limit) {
    iovec pieces[2] = {{pBuffer, uSize}, {}};
    return receive(pieces, uSize ? 1 : 0, limit);
}

bool SocketClient::getRows(uint8_t* pFirst, size_t uRowBytes, uint32_t uRows, size_t uStride) {
    while (uRows) {
        const uint32_t uCount = std::min(uRows, ROWS_PER_CALL);
        iovec pieces[ROWS_PER_CALL + 1];
        for (uint32_t u = 0; u < uCount; ++u) pieces[u] = {pFirst + u * uStride, uRowBytes};
        if (receive(pieces, uCount, WAIT_STALL_LIMIT)) return true;
        pFirst += uCount * uStride;
        uRows -= uCount;
    }
    return false;
}

bool SocketClient::sendPacket(const void* pFixed, size_t uFixed, const void* pPayload, size_t uPayload,
                              const void* pNext, size_t uNext) {
    // The calls only read them.
    iovec pieces[3] = {{const_cast<void*>(pFixed), uFixed},
                       {const_cast<void*>(pPayload), uPayload},
                       {const_cast<void*>(pNext), uNext}};
    iovec* pPieces = pieces;
    size_t uPieces = std::size(pieces);
    bool bStarted = false;
    bConnected = true;
    while (uPieces && bConnected) {
        msghdr message{};
        message.msg_iov = pPieces;
        message.msg_iovlen = uPieces;
        const ssize_t iSent = sendmsg(iSocket, &message, MSG_NOSIGNAL);
        if (iSent >= 0) {
            advance(pPieces, uPieces, static_cast<size_t>(iSent));
            bStarted = true;
        } else if (errno != EINTR || isStopped()) {
            bConnected = false;
        }
    }
    if (uPieces && bStarted) shutdown(iSocket, SHUT_RDWR);  // half a packet is out: nothing must follow it
    return !bConnected;
}

void SocketClient::release() {
    closeOnce(iSocket);
    bConnected = false;
    uAheadStart = uAheadEnd = 0;
}
