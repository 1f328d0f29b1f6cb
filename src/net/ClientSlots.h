#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/Server.h"
#include "net/Sockets.h"
#include "net/TaskBoard.h"

namespace rt {

class ClientSlots;

/// The slot of one client. While bBusy is set, the connection belongs to the client's thread. The connection's own flag
/// does not tell that: a failed send clears it while the thread still runs.
struct ClientSlot {
    using Clock = std::chrono::steady_clock;

    SocketClient client;
    RSIServer exchange;
    ClientSlots* pSlots = nullptr;
    TaskBoard* pBoard = nullptr;
    pthread_t thread{};           // accept loop only
    bool bHasThread = false;      // accept loop only: started and not joined yet
    bool bBusy = false;           // this and all below: guarded by the mutex of ClientSlots
    uint32_t uConnection = 0;     // number of clients connected before this one
    const Task* pTask = nullptr;  // the tile that the client holds
    Clock::time_point tTaken{};   // when it took that tile
    bool bDelivered = false;      // it has delivered a tile
    uint32_t uTiles = 0;          // that it has delivered
    Clock::duration rendering{};  // the time of these, from sending a task to the end of its result
};

/// A client that is served.
struct ClientStatus {
    std::string sAddress;
    uint32_t uTiles;                      // delivered
    std::chrono::milliseconds rendering;  // in all
    std::chrono::milliseconds silent;     // since anything came from it
    bool bHoldsTask;
    uint32_t uTask;  // of these two only if so
    std::chrono::milliseconds held;
};

/// A tile that a client holds.
struct Holder {
    ClientSlot* pSlot;  // for disconnect()
    uint32_t uTask;
    std::string sAddress;
    std::chrono::milliseconds held;
    std::chrono::milliseconds silent;      // since the last message that made progress, or the last pixels
    std::chrono::milliseconds delivering;  // since its result began to arrive, 0 before that
    uint32_t uBytes;                       // of the result's pixels
    bool bDelivered;                       // an earlier tile
};

/// The slots of the clients that are served at the same time. After create() every public operation but joinThreads()
/// is atomic and blocks only on the lock.
class ClientSlots {
 public:
    std::unique_ptr<ClientSlot[]> vClients;
    uint32_t uMaxConnections = 0;  // number of slots

    ClientSlots() = default;
    ~ClientSlots() { joinThreads(); }
    ClientSlots(const ClientSlots&) = delete;
    ClientSlots& operator=(const ClientSlots&) = delete;

    /// Makes the slots. The board must outlive this object; the threads stop waiting when iStopFile becomes readable.
    /// True when out of memory, which is logged.
    [[nodiscard]] bool create(uint32_t uSlots, TaskBoard& board, int iStopFile);

    /// Takes a free slot and hands it the connection. Null, with the connection untouched, when every slot is busy.
    /// Accept loop only.
    ClientSlot* admit(int iSocket, const sockaddr_in& address);

    /// Records that the slot's client now holds a tile, or that it delivered that tile after the given time.
    void taskTaken(ClientSlot& slot, const Task& task);
    void taskDelivered(ClientSlot& slot, ClientSlot::Clock::duration rendering);

    /// Records that the slot's client gave its task back: it has no such scene, or another. One that leaves after a
    /// tile, before it got the next, does not count.
    void taskRefused(const ClientSlot& slot);

    /// Closes the slot's connection and frees the slot.
    void leave(ClientSlot& slot);

    /// Shuts a holder's connection down, so that its thread gives the tile back. Returns false, and does nothing, when
    /// it no longer holds that tile.
    bool disconnect(const Holder& holder);

    /// The tiles held now.
    std::vector<Holder> holders() const;

    /// The clients that are served now.
    std::vector<ClientStatus> clients() const;

    /// How many clients gave a task back, and where the last of them is.
    uint32_t refusals(std::string& sAddress) const;

    /// The longest time between a tile's sending and its delivery so far.
    std::chrono::milliseconds slowestTile() const;

    uint32_t connectedClients() const;

    /// Waits for the clients' threads, which end once every task is done or a stop is requested. Accept loop only.
    void joinThreads();

 private:
    mutable std::mutex mutex;        // guards all below and the shared fields of the slots
    uint32_t uFreeClient = 0;        // where the next search for a free slot starts
    uint32_t uConnectedClients = 0;  // busy slots
    ClientSlot::Clock::duration slowest{};
    uint32_t uRefusals = 0;
    std::string sRefuser;
};

}  // namespace rt
