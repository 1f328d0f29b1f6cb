#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/Sockets.h"
#include "net/TaskBoard.h"

class ClientSlots;

/// A place for one client. The connection belongs to the client's thread while the slot is busy. SocketClient's own
/// flag does not tell: a failed send clears it while the thread still works.
struct ClientSlot {
    using Clock = std::chrono::steady_clock;

    SocketClient client;
    ClientSlots* pSlots = nullptr;
    TaskBoard* pBoard = nullptr;
    pthread_t thread{};           // accept loop only
    bool bHasThread = false;      // accept loop only: started and not joined yet
    bool bBusy = false;           // this and all below: shared
    uint32_t uConnection = 0;     // number of clients connected before this one
    const Task* pTask = nullptr;  // the tile that the client holds
    Clock::time_point tTaken{};   // when it took that tile
    bool bDelivered = false;      // it has delivered a tile
};

/// A tile that a client holds.
struct Holder {
    ClientSlot* pSlot;  // of which only the accept loop may use anything
    uint32_t uTask;
    std::string sAddress;
    std::chrono::milliseconds held;
    bool bDelivered;  // a tile before this one
};

/// The places for the clients that are served at the same time. Each public operation is one indivisible step and none
/// waits for the network, joinThreads() apart.
class ClientSlots {
 public:
    std::unique_ptr<ClientSlot[]> vClients;
    uint32_t uMaxConnections = 0;  // number of slots

    ClientSlots() = default;
    ~ClientSlots() { joinThreads(); }
    ClientSlots(const ClientSlots&) = delete;
    ClientSlots& operator=(const ClientSlots&) = delete;

    /// Makes the slots. The board must outlive this object; the threads' waits end once iStopFile is readable. True
    /// when there is no memory, which is logged.
    [[nodiscard]] bool create(uint32_t uSlots, TaskBoard& board, int iStopFile);

    /// Takes a free slot and hands it the connection. Null, with the connection untouched, when every slot is busy.
    /// Accept loop only.
    ClientSlot* admit(int iSocket, const sockaddr_in& address);

    /// Notes the tile that the slot's client holds from now on, or that it delivered the one it held, rendered in the
    /// given time.
    void taskTaken(ClientSlot& slot, const Task& task);
    void taskDelivered(ClientSlot& slot, ClientSlot::Clock::duration rendering);

    /// Closes the slot's connection and frees the slot.
    void leave(ClientSlot& slot);

    /// Breaks a holder's connection, so that its thread gives the tile back, unless it has moved on since. Returns
    /// whether it did.
    bool breakOff(const Holder& holder);

    /// The tiles held now.
    std::vector<Holder> holders() const;

    /// The longest that a delivered tile took to render.
    std::chrono::milliseconds slowestTile() const;

    uint32_t connectedClients() const;

    /// Waits for the threads of clients, which end by themselves once every task is done or the stop is requested.
    void joinThreads();

 private:
    mutable std::mutex mutex;        // of all below, and what the slots share
    uint32_t uFreeClient = 0;        // where the next search for a free slot starts
    uint32_t uConnectedClients = 0;  // busy slots
    ClientSlot::Clock::duration slowest{};
};
