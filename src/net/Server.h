#pragma once

#include <cstdint>

#include "net/Sockets.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"
#include "render/RaytracerParameters.h"

/// The server's end of the exchange with one client. Used by that client's thread.
class RSIServer {
 public:
    const RaytracerParameters* pParameters = nullptr;  // sent to the client
    SocketClient* pClient = nullptr;
    uint32_t uState = 0;        // PacketType of the last valid header; 5 after done(), 6 after a failed read
    bool bClientWorks = false;  // it was given a scene to load or a tile to render, so it may be silent for long

    /// Keeps both, which must outlive this object.
    void init(const RaytracerParameters& parameters, SocketClient& client);

    /// Serves the client until it has delivered the task's pixels, which are then in the image. True when the exchange
    /// failed.
    [[nodiscard]] bool run(Task& task);

    /// Tells the client that there is nothing more to do.
    void done();

 private:
    [[nodiscard]] bool getResponse();
    void clientRequest();
    void clientTask(const Task& task);
    [[nodiscard]] bool clientResult(Task& task);
    [[nodiscard]] bool dropPixels(uint32_t uLength);
};

/// Thread of one client: works through untaken tasks with it and frees its slot. pSlot is a busy ClientSlot; returns
/// null.
void* ServerProc(void* pSlot);

/// Starts to serve an accepted connection on a thread of its own. True, with the connection untouched, when it cannot
/// be served: no task is untaken or no slot free. Accept loop only.
[[nodiscard]] bool startClient(TaskBoard& board, int iSocket, const sockaddr_in& address);

/// The accept loop: serves clients until every task is done. True when the stop was requested before.
[[nodiscard]] bool serveClients(SocketServer& server, TaskBoard& board, Wakeup& wakeup);
