// The accept loop: which clients are served, parked or disconnected.
#include "net/AcceptLoop.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include "base/NLogger.h"
#include "net/Server.h"

namespace rt {

using Velk::NLogger;

namespace {

long long toSeconds(std::chrono::milliseconds time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

}  // namespace

bool AcceptLoop::run() {
    tInterval = Clock::now();
    while (!board.isDone() && !wakeup.isStopRequested()) {
        if (!server.checkRequest(wakeup.file())) {
            if (startClient(server.iClientSocket, server.sClientAddress)) {
                parked.add(server.iClientSocket, server.sClientAddress);
            }
            parked.dropClosed();
        } else if (server.iAcceptError) {
            // Without a free descriptor no new connection could ever be accepted.
            if (server.iAcceptError == EMFILE || server.iAcceptError == ENFILE) parked.makeRoom();
            wakeup.waitFor(iPause);
        } else if (!wakeup.isStopRequested()) {
            serveParked();  // no new client within the accept timeout
        }
        disconnectSilent();
        uParked = parked.count();
        report();
    }
    return !board.isDone();
}

bool AcceptLoop::startClient(int iSocket, const sockaddr_in& address) {
    if (!board.untakenTasks()) return true;
    ClientSlot* pSlot = slots.admit(iSocket, address);
    if (!pSlot) return true;
    const int iConnection = static_cast<int>(pSlot->uConnection);
    NLogger::LogMessage("Client %d connected\n", iConnection);
    if (pSlot->bHasThread) pthread_join(pSlot->thread, nullptr);  // the slot's previous thread, about to end
    pSlot->bHasThread = !pthread_create(&pSlot->thread, nullptr, ServerProc, pSlot);
    if (pSlot->bHasThread) {
        NLogger::LogMessage("Client %d created\n", iConnection);
    } else {
        ReportError("pthread_create() failed");
        slots.leave(*pSlot);
    }
    return false;
}

void AcceptLoop::serveParked() {
    parked.dropClosed();
    // At most one client per untaken tile: a client that gets no tile is sent away.
    for (uint32_t u = board.untakenTasks(); u && parked.count(); --u) {
        if (startClient(parked.oldest(), parked.oldestAddress())) return;
        parked.forgetOldest();
    }
}

// Disconnects clients that hold up the end of the render: every tile is taken, and a parked client could render theirs.
// A client may be silent for too long, or its result may arrive too slowly. The limit for slow results is so generous
// that no usable link reaches it.
void AcceptLoop::disconnectSilent() {
    if (!parked.count() || board.untakenTasks()) return;
    const Milliseconds limit = std::max(silenceLimit, uSlowestFactor * slots.slowestTile());
    for (const Holder& holder : slots.holders()) {
        const bool bSilent = holder.bDelivered && holder.silent > limit;
        const bool bTrickles = holder.delivering > uTrickleFactor * limit + Milliseconds(holder.uBytes);
        if (!bSilent && !bTrickles) continue;
        parked.dropClosed();
        if (!parked.count()) return;
        if (!slots.disconnect(holder)) continue;
        NLogger::LogMessage("Client %s is given up: %s for %lld s, with task %u\n", holder.sAddress.c_str(),
                            bSilent ? "silent" : "its result trickles in",
                            toSeconds(bSilent ? holder.silent : holder.delivering), holder.uTask);
    }
}

// Logs what the server waits for when no tile has arrived for a whole interval.
void AcceptLoop::report() {
    const uint32_t uDone = board.doneTasks();
    const Clock::time_point tNow = Clock::now();
    if (uDone == uReportedDone && tNow - tInterval < reportInterval) return;
    tInterval = tNow;
    if (uDone != uReportedDone) {
        uReportedDone = uDone;
        return;
    }
    NLogger::LogMessage("Waiting: %u of %u tasks done, %u untaken, %u connections parked\n", uDone, board.vTasks.uSize,
                        board.untakenTasks(), parked.count());
    if (board.untakenTasks() && !slots.connectedClients() && !parked.count()) {
        NLogger::LogMessage("Waiting: a task is untaken and no client is connected, start one\n");
    }
    for (const Holder& holder : slots.holders()) {
        NLogger::LogMessage("Waiting for task %u, held by %s for %lld s\n", holder.uTask, holder.sAddress.c_str(),
                            toSeconds(holder.held));
    }
}

}  // namespace rt
