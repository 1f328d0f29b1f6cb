#include "net/ParkedClients.h"

#include <unistd.h>

#include <algorithm>

#include "base/NLogger.h"
#include "net/Sockets.h"

ParkedClients::~ParkedClients() {
    while (uCount) drop(uCount - 1);
}

void ParkedClients::add(int iSocket) {
    if (uCount == MAX_PARKED) {
        Velk::NLogger::LogMessage("More than %u clients wait in vain, the oldest is sent away\n", MAX_PARKED);
        drop(0);
    }
    watchPeer(iSocket);
    vParked[uCount++] = {iSocket, POLLRDHUP, 0};
}

void ParkedClients::dropClosed() {
    if (poll(vParked, uCount, 0) < 1) return;
    for (uint32_t u = uCount; u-- > 0;) {
        if (vParked[u].revents) drop(u);
    }
}

void ParkedClients::drop(uint32_t u) {
    close(vParked[u].fd);
    std::copy(vParked + u + 1, vParked + uCount, vParked + u);
    --uCount;
}
