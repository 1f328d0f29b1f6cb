// Bookkeeping of the served clients: their connections, threads and tiles.
#include "net/ClientSlots.h"

#include <sys/socket.h>

#include <algorithm>

#include "base/InputReport.h"
#include "base/NewArray.h"

namespace rt {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using Lock = std::lock_guard<std::mutex>;

bool ClientSlots::create(uint32_t uSlots, TaskBoard& board, int iStopFile) {
    vClients.reset(Velk::newArray<ClientSlot>(uSlots));
    if (!vClients) {
        Velk::memoryError(uint64_t{uSlots} * sizeof(ClientSlot), "%u clients", uSlots);
        return true;
    }
    uMaxConnections = uSlots;
    for (uint32_t u = 0; u < uSlots; ++u) {
        vClients[u].pSlots = this;
        vClients[u].pBoard = &board;
        vClients[u].client.iStopFile = iStopFile;
    }
    return false;
}

ClientSlot* ClientSlots::admit(int iSocket, const sockaddr_in& address) {
    const Lock lock(mutex);
    if (uConnectedClients == uMaxConnections) return nullptr;
    uint32_t u = uFreeClient < uMaxConnections ? uFreeClient : 0;
    while (vClients[u].bBusy) u = u + 1 < uMaxConnections ? u + 1 : 0;
    uFreeClient = u + 1;
    ClientSlot& slot = vClients[u];
    slot.bBusy = true;
    slot.uConnection = uConnectedClients++;
    slot.pTask = nullptr;
    slot.bDelivered = false;
    slot.uTiles = 0;
    slot.rendering = {};
    slot.client.initClient(iSocket, address);
    return &slot;
}

void ClientSlots::taskTaken(ClientSlot& slot, const Task& task) {
    const Lock lock(mutex);
    slot.pTask = &task;
    slot.tTaken = ClientSlot::Clock::now();
}

void ClientSlots::taskDelivered(ClientSlot& slot, ClientSlot::Clock::duration rendering) {
    const Lock lock(mutex);
    slot.pTask = nullptr;
    slot.bDelivered = true;
    ++slot.uTiles;
    slot.rendering += rendering;
    slowest = std::max(slowest, rendering);
}

void ClientSlots::taskRefused(const ClientSlot& slot) {
    const Lock lock(mutex);
    if (slot.bDelivered && !slot.exchange.bTaskSent) return;  // it only leaves
    ++uRefusals;
    sRefuser = addressText(slot.client.sAddress);
}

void ClientSlots::leave(ClientSlot& slot) {
    const Lock lock(mutex);
    slot.client.release();
    slot.bBusy = false;
    slot.pTask = nullptr;
    uFreeClient = static_cast<uint32_t>(&slot - vClients.get());
    --uConnectedClients;
}

bool ClientSlots::disconnect(const Holder& holder) {
    const Lock lock(mutex);
    ClientSlot& slot = *holder.pSlot;
    if (!slot.pTask || slot.pTask->uId != holder.uTask) return false;
    slot.pTask = nullptr;
    shutdown(slot.client.iSocket, SHUT_RDWR);  // not closed: the thread may be using it
    return true;
}

std::vector<Holder> ClientSlots::holders() const {
    const Lock lock(mutex);
    const auto tNow = ClientSlot::Clock::now();
    std::vector<Holder> vHolders;
    for (uint32_t u = 0; u < uMaxConnections; ++u) {
        ClientSlot& slot = vClients[u];
        if (!slot.pTask) continue;
        const auto since = [tNow](ClientSlot::Clock::time_point t) { return duration_cast<milliseconds>(tNow - t); };
        const auto tResult = slot.exchange.tResult.load(), tHeard = slot.exchange.tHeard.load();
        const bool bComes = tResult != ClientSlot::Clock::time_point{};
        vHolders.push_back({&slot, slot.pTask->uId, addressText(slot.client.sAddress), since(slot.tTaken),
                            since(bComes ? std::max(tHeard, slot.client.tReceived.load()) : tHeard),
                            bComes ? since(tResult) : milliseconds(0), slot.pTask->uColumns * 3 * slot.pTask->uRows,
                            slot.bDelivered});
    }
    return vHolders;
}

std::vector<ClientStatus> ClientSlots::clients() const {
    const Lock lock(mutex);
    const auto tNow = ClientSlot::Clock::now();
    std::vector<ClientStatus> vStatus;
    for (uint32_t u = 0; u < uMaxConnections; ++u) {
        const ClientSlot& slot = vClients[u];
        if (!slot.bBusy) continue;
        const auto tHeard = std::max(slot.exchange.tHeard.load(), slot.client.tReceived.load());
        vStatus.push_back({addressText(slot.client.sAddress), slot.uTiles, duration_cast<milliseconds>(slot.rendering),
                           std::max(milliseconds(0), duration_cast<milliseconds>(tNow - tHeard)), slot.pTask != nullptr,
                           slot.pTask ? slot.pTask->uId : 0,
                           slot.pTask ? duration_cast<milliseconds>(tNow - slot.tTaken) : milliseconds(0)});
    }
    return vStatus;
}

uint32_t ClientSlots::refusals(std::string& sAddress) const {
    const Lock lock(mutex);
    sAddress = sRefuser;
    return uRefusals;
}

milliseconds ClientSlots::slowestTile() const {
    const Lock lock(mutex);
    return duration_cast<milliseconds>(slowest);
}

uint32_t ClientSlots::connectedClients() const {
    const Lock lock(mutex);
    return uConnectedClients;
}

void ClientSlots::joinThreads() {
    for (uint32_t u = 0; u < uMaxConnections; ++u) {
        if (vClients[u].bHasThread) pthread_join(vClients[u].thread, nullptr);
        vClients[u].bHasThread = false;
    }
}

}  // namespace rt
