// Connections that wait to be served.
#include "net/ParkedClients.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cassert>

#include "base/NLogger.h"
#include "net/Sockets.h"

namespace rt {

namespace {

// New descriptors get the lowest free number, so one near the limit means that nearly all are in use.
bool isNearLimit(int iFile) {
    rlimit files{};
    return !getrlimit(RLIMIT_NOFILE, &files) &&
           static_cast<rlim_t>(iFile) + ParkedClients::SPARE_FILES >= files.rlim_cur;
}

}  // namespace

ParkedClients::~ParkedClients() {
    while (count()) dropOldest();
}

void ParkedClients::add(int iSocket, const sockaddr_in& address) {
    watchPeer(iSocket);
    vParked.push_back({iSocket, POLLRDHUP, 0});
    vAddresses.push_back(address);
    if (isNearLimit(iSocket)) makeRoom();
}

void ParkedClients::makeRoom() {
    const uint32_t uBefore = count();
    dropClosed();
    if (!count() || count() < uBefore) return;
    ++uSentAway;
    if (!(uSentAway & (uSentAway - 1))) {
        Velk::NLogger::LogMessage("No descriptor is free (see ulimit -n): waiting client %s is sent away, %u so far\n",
                                  addressText(oldestAddress()).c_str(), uSentAway);
    }
    dropOldest();
}

void ParkedClients::dropClosed() {
    if (poll(vParked.data(), vParked.size(), 0) < 1) return;
    size_t uKept = 0;
    for (size_t u = 0; u < vParked.size(); ++u) {
        if (vParked[u].revents) {
            close(vParked[u].fd);
        } else {
            vParked[uKept] = vParked[u];
            vAddresses[uKept++] = vAddresses[u];
        }
    }
    vParked.resize(uKept);
    vAddresses.resize(uKept);
}

void ParkedClients::dropOldest() {
    close(oldest());
    forgetOldest();
}

void ParkedClients::forgetOldest() {
    assert(count());
    vParked.erase(vParked.begin());
    vAddresses.erase(vAddresses.begin());
}

}  // namespace rt
