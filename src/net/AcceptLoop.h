#pragma once

#include <chrono>
#include <cstdint>

#include "net/ClientSlots.h"
#include "net/ParkedClients.h"
#include "net/Sockets.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"

/// The main thread of a server: accepts connections and serves or parks them, serves parked ones later, breaks with
/// clients that keep the farm from ending, and says what it waits for. Uses, and does not own, what it is made of.
class AcceptLoop {
 public:
    using Milliseconds = std::chrono::milliseconds;

    Milliseconds silenceLimit{60000};    // a client that delivered before is given up after so much silence,
    unsigned uSlowestFactor = 20;        // and not before so many times the slowest tile's time
    Milliseconds reportInterval{60000};  // between two reports while no tile arrives
    int iPause = 100;                    // milliseconds after an accept that failed, which it may do at once

    AcceptLoop(SocketServer& listener, TaskBoard& tasks, ClientSlots& clients, Wakeup& end)
        : server(listener), board(tasks), slots(clients), wakeup(end) {}

    /// Serves clients until every task is done. True when the stop was requested before.
    [[nodiscard]] bool run();

    /// Starts to serve an accepted connection on a thread of its own. True, with the connection untouched, when it
    /// cannot be served: no task is untaken or no slot free.
    [[nodiscard]] bool startClient(int iSocket, const sockaddr_in& address);

 private:
    using Clock = ClientSlot::Clock;

    void serveParked();
    void breakOffSilent();
    void report();

    SocketServer& server;
    TaskBoard& board;
    ClientSlots& slots;
    Wakeup& wakeup;
    ParkedClients parked;
    uint32_t uReportedDone = 0;  // tasks done when the interval began
    Clock::time_point tInterval{};
};
