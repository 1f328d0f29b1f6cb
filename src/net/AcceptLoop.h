#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "net/ClientSlots.h"
#include "net/ParkedClients.h"
#include "net/Sockets.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"

namespace rt {

/// The main thread of a server: accepts connections and serves or parks them, serves parked ones later, disconnects
/// clients that hold up the end of the render, and logs what it waits for. Parked connections are closed when this
/// object is destroyed, so let it live until the picture is written. What the constructor is given must outlive this
/// object.
class AcceptLoop {
 public:
    using Milliseconds = std::chrono::milliseconds;

    Milliseconds silenceLimit{60000};    // a client with a delivered tile may be silent this long,
    unsigned uSlowestFactor = 20;        // or this many times the slowest tile's time, if longer
    unsigned uTrickleFactor = 10;        // a result may take this many times that limit, plus 1 ms per byte
    Milliseconds reportInterval{60000};  // between two reports while no tile arrives
    int iPause = 100;                    // milliseconds after a failed accept, so that the loop does not spin

    std::atomic<uint32_t> uParked{0};  // connections that wait; any thread may read it

    AcceptLoop(SocketServer& listener, TaskBoard& tasks, ClientSlots& clients, Wakeup& end)
        : server(listener), board(tasks), slots(clients), wakeup(end) {}

    /// Serves clients until every task is done. True when a stop was requested before that; threads may still run then.
    [[nodiscard]] bool run();

    /// Starts to serve an accepted connection on a thread of its own. True, with the connection untouched, when it
    /// cannot be served: no task is untaken or no slot free.
    [[nodiscard]] bool startClient(int iSocket, const sockaddr_in& address);

 private:
    using Clock = ClientSlot::Clock;

    void serveParked();
    void disconnectSilent();
    void report();

    SocketServer& server;
    TaskBoard& board;
    ClientSlots& slots;
    Wakeup& wakeup;
    ParkedClients parked;
    uint32_t uReportedDone = 0;  // tasks done when the interval began
    Clock::time_point tInterval{};
};

}  // namespace rt
