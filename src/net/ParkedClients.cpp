// Connections that wait to be served.
#include "net/ParkedClients.h"

#include <unistd.h>

#include <algorithm>
#include <cassert>

#include "base/NLogger.h"
#include "net/Sockets.h"

ParkedClients::~ParkedClients() {
    while (uCount) dropOldest();
}

void ParkedClients::add(int iSocket, const sockaddr_in& address) {
    if (uCount == MAX_PARKED) {
        if (!bWasFull) {
            Velk::NLogger::LogMessage("More than %u clients wait in vain, from now on the oldest is sent away\n",
                                      MAX_PARKED);
        }
        bWasFull = true;
        dropOldest();
    }
    watchPeer(iSocket);
    vParked[uCount] = {iSocket, POLLRDHUP, 0};
    vAddresses[uCount++] = address;
}

void ParkedClients::dropClosed() {
    if (poll(vParked, uCount, 0) < 1) return;
    for (uint32_t u = uCount; u-- > 0;) {
        if (!vParked[u].revents) continue;
        close(vParked[u].fd);
        remove(u);
    }
}

void ParkedClients::dropOldest() {
    close(oldest());
    remove(0);
}

void ParkedClients::remove(uint32_t u) {
    assert(u < uCount);
    std::copy(vParked + u + 1, vParked + uCount, vParked + u);
    std::copy(vAddresses + u + 1, vAddresses + uCount, vAddresses + u);
    --uCount;
}
