#pragma once

#include <cstdint>

#include "net/Protocol.h"
#include "net/Sockets.h"
#include "render/RayTracer.h"

namespace rt {

/// The client's end of the exchange: renders tiles for one server. Used by one thread.
class RSIClient {
 public:
    SocketClient* pClient = nullptr;
    RayTracer* pRayTracer = nullptr;  // its settings are replaced by the server's
    uint32_t uState = 0;              // PacketType of the last valid header; 2 after a result, 5 when all is over
    bool bSceneReady = false;         // loaded and preprocessed as the server asked

    /// Keeps references to both, which must outlive this object, and asks for the settings. True when the request could
    /// not be sent; run() then reports that the connection is lost.
    bool init(SocketClient& client, RayTracer& rayTracer);

    /// Renders tiles until the server has no more or the exchange fails, which is logged. Then releases the renderer
    /// and closes the connection.
    void run();

 private:
    [[nodiscard]] bool getResponse();
    [[nodiscard]] bool serverRaytracerParams();
    [[nodiscard]] bool readParameters();
    [[nodiscard]] bool loadScene();
    [[nodiscard]] bool serverTask();
    [[nodiscard]] bool checkTask(const TaskPacket& task) const;
    bool sendClientRequest();
    bool sendClientReady();
    void clientDone();
};

}  // namespace rt
