#pragma once

#include <cstdint>
#include <memory>

#include "net/Protocol.h"
#include "net/SharedScene.h"
#include "net/Sockets.h"
#include "render/RayTracer.h"
#include "render/TileRenderer.h"

namespace rt {

/// The client's end of the exchange: renders tiles for one server. Used by one thread.
class RSIClient {
 public:
    SocketClient* pClient = nullptr;
    RayTracer* pRayTracer = nullptr;  // its settings are replaced by the server's
    uint32_t uState = 0;              // PacketType of the last valid header; 2 after a result, 5 when all is over
    bool bSceneReady = false;         // loaded and preprocessed as the server asked
    bool bSentHome = false;           // the server said that it is done

    /// Keeps references to both, which must outlive this object, and asks for the settings. True when the request could
    /// not be sent; run() then reports that the connection is lost.
    bool init(SocketClient& client, RayTracer& rayTracer);

    /// The same for one of several clients that share a scene.
    bool init(SocketClient& client, SharedScene& scene);

    /// Renders tiles until the server has no more or the exchange fails, which is logged. Then releases the renderer,
    /// unless the scene is shared, and closes the connection.
    void run();

 private:
    [[nodiscard]] bool getResponse();
    [[nodiscard]] bool serverRaytracerParams();
    [[nodiscard]] bool readParameters(RaytracerParameters& settings);
    [[nodiscard]] bool loadScene(const RaytracerParameters& settings);
    [[nodiscard]] bool serverTask();
    [[nodiscard]] bool checkTask(const TaskPacket& task) const;
    void render(const TaskPacket& task, uint8_t* pPixels);
    bool sendClientRequest();
    bool sendClientReady();
    void clientDone();

    SharedScene* pShared = nullptr;           // null when the renderer is this client's alone
    std::unique_ptr<TileRenderer> pRenderer;  // of a shared scene; the renderer above has its own
};

}  // namespace rt
