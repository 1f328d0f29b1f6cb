#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "net/Sockets.h"
#include "net/TaskBoard.h"
#include "render/shading/RaytracerParameters.h"

namespace rt {

/// The server's end of the exchange with one client. Used by that client's thread.
class RSIServer {
 public:
    using Clock = std::chrono::steady_clock;

    const RaytracerParameters* pParameters = nullptr;  // sent to the client
    SocketClient* pClient = nullptr;
    uint32_t uState = 0;            // PacketType of the last valid header; 5 after done(), 6 after a failed read
    uint32_t uMessages = 0;         // since run() began
    bool bClientWorks = false;      // the client loads a scene or renders, so it may be silent for long
    bool bTaskSent = false;         // the client has the current task
    bool bRefused = false;          // the client gave a task back, or left
    Clock::time_point tTaskSent{};  // when the current task was sent last

    // Any thread may read these.
    std::atomic<Clock::time_point> tHeard{};   // when the client last made progress, arriving results aside
    std::atomic<Clock::time_point> tResult{};  // when the task's result began to arrive, zero when none does

    /// Keeps references to both, which must outlive this object.
    void init(const RaytracerParameters& parameters, SocketClient& client);

    /// Serves the client until it has delivered the task's pixels, which are then in the image. True when the exchange
    /// failed; some rows of the task may have been written then.
    [[nodiscard]] bool run(Task& task);

    /// Tells the client that there is nothing more to do.
    void done();

 private:
    [[nodiscard]] bool getResponse();
    void recordProgress();
    void clientRequest();
    void clientTask(const Task& task);
    [[nodiscard]] bool clientResult(Task& task);
    [[nodiscard]] bool dropPixels(uint32_t uLength);

    uint32_t uProgressTypes = 0;  // a bit for each PacketType received for this task
};

/// Thread of one client: hands it untaken tasks until there are none or the exchange fails, then frees its slot. pSlot
/// is a busy ClientSlot; returns null.
void* ServerProc(void* pSlot);

}  // namespace rt
