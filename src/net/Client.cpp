// The client's side of the render protocol.
#include "net/Client.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/InputReport.h"
#include "base/NLogger.h"
#include "base/NewArray.h"

namespace rt {

using Velk::NLogger;

namespace {

constexpr PacketHeader clientRequest{PACKET_CLIENT_REQUEST, 8};
constexpr PacketHeader ready{PACKET_CLIENT_READY, 8};
constexpr ResultPacket result{{PACKET_CLIENT_RESULT, 16}, 0, 0};
constexpr PacketHeader end{PACKET_CLIENT_DONE, 8};

bool isText(const uint8_t* pField, size_t uSize) {
    return memchr(pField, 0, uSize) != nullptr;
}

}  // namespace

bool RSIClient::init(SocketClient& client, RayTracer& rayTracer) {
    pClient = &client;
    pRayTracer = &rayTracer;
    uState = PACKET_CLIENT_REQUEST;
    bSceneReady = false;
    return sendClientRequest();
}

bool RSIClient::init(SocketClient& client, SharedScene& scene) {
    pShared = &scene;
    return init(client, scene.rayTracer);
}

void RSIClient::run() {
    bool bOver = uState == PACKET_SERVER_DONE;
    while (!bOver && !getResponse()) {
        switch (uState) {
            case PACKET_SERVER_PARAMETERS:
                bOver = serverRaytracerParams();
                break;
            case PACKET_SERVER_TASK:
                bOver = serverTask();
                break;
            case PACKET_SERVER_DONE:
                bOver = bSentHome = true;
                break;
            default:
                break;  // a valid header that clients ignore
        }
    }
    uState = PACKET_SERVER_DONE;
    pRenderer.reset();
    if (!pShared) pRayTracer->release();
    pClient->release();
}

// Reads until there is a valid header. After an invalid one it asks for the settings again, which restarts the
// exchange. True when the exchange has failed.
bool RSIClient::getResponse() {
    PacketHeader header{};
    for (;;) {
        if (pClient->getResponse(&header, sizeof(header), WAIT_FOREVER)) {
            ReportError("getResponse() failed\n");
            return true;
        }
        if (isValidHeader(header)) break;
        if (sendClientRequest()) {
            ReportError("Invalid header, and the connection is lost");
            return true;
        }
    }
    uState = header.uType;
    return false;
}

// True when the client gives up. The server then gives the task to another client.
bool RSIClient::serverRaytracerParams() {
    uint32_t uLength = 0;
    if (pClient->getResponse(&uLength, sizeof(uLength))) return false;  // the next read reports the loss
    if (uLength != sizeof(RaytracerParameters)) {
        ReportError("Invalid raytracer parameters");
        return false;
    }
    bSceneReady = false;
    RaytracerParameters settings;
    if (readParameters(settings) || loadScene(settings)) {
        ReportError("No scene to render, this client gives up");
        clientDone();
        return true;
    }
    bSceneReady = true;
    sendClientReady();
    return false;
}

// True when the record is lost or invalid.
bool RSIClient::readParameters(RaytracerParameters& settings) {
    uint8_t record[sizeof(RaytracerParameters)];
    if (pClient->getResponse(record, sizeof(record))) {
        ReportError("The connection was lost in the raytracer parameters");
        return true;
    }
    // A byte other than 0 and 1 is not a valid bool.
    for (size_t u = offsetof(RaytracerParameters, bDirt); u <= offsetof(RaytracerParameters, bResetCache); ++u) {
        record[u] = record[u] != 0;
    }
    const bool bTexts = isText(record + offsetof(RaytracerParameters, szDescFile), sizeof(settings.szDescFile)) &&
                        isText(record + offsetof(RaytracerParameters, szOutFile), sizeof(settings.szOutFile));
    uint32_t uPackSize = 0;
    memcpy(&uPackSize, record + offsetof(RaytracerParameters, uPackSize), sizeof(uPackSize));
    if (!bTexts || !uPackSize) {
        ReportError("Invalid raytracer parameters");
        return true;
    }
    memcpy(&settings, record, sizeof(record));
    return false;
}

bool RSIClient::loadScene(const RaytracerParameters& settings) {
    if (!pShared) {
        pRayTracer->parameters = settings;
        std::vector<std::string> vFiles;
        return loadNamedScene(*pRayTracer, vFiles);
    }
    if (pShared->take(settings)) return true;
    pRenderer.reset(new (std::nothrow) TileRenderer(*pRayTracer, pRayTracer->parameters));
    if (!pRenderer) Velk::memoryError(sizeof(TileRenderer), "shading");
    return !pRenderer;
}

// True when the task is not a tile of this client's image.
bool RSIClient::checkTask(const TaskPacket& task) const {
    if (!bSceneReady) {
        ReportError("A task came before a scene");
        return true;
    }
    const RaytracerParameters& own = pRayTracer->parameters;
    const bool bInside = task.uX < own.uWidth && task.uY < own.uHeight;
    if (!bInside || task.uColumns != std::min(own.uPackSize, own.uWidth - task.uX) ||
        task.uRows != std::min(own.uPackSize, own.uHeight - task.uY)) {
        ReportErrorFormat(
            "Task %u does not fit: %u x %u pixels at ( %u, %u ), here the image has %u x %u pixels. Compare the "
            "lines \"Scene file\" here and in the server's log\n",
            task.uId, task.uColumns, task.uRows, task.uX, task.uY, own.uWidth, own.uHeight);
        if (pShared) pShared->fail("the server's picture has another size: its scene files are not those here");
        return true;
    }
    return false;
}

// True when the exchange is over.
bool RSIClient::serverTask() {
    TaskPacket task{};
    if (pClient->getResponse(&task.uId, sizeof(task) - sizeof(task.header))) return false;  // the next read reports it
    if (task.uPackSize < task.uColumns || task.uPackSize < task.uRows) {
        ReportError("Invalid header\n");
        return true;
    }
    if (checkTask(task)) {
        clientDone();
        return true;
    }
    const uint64_t uLength = uint64_t{task.uColumns} * 3 * task.uRows;
    std::unique_ptr<uint8_t[]> pPixels;
    if (uLength <= UINT32_MAX) pPixels.reset(Velk::newArray<uint8_t>(uLength));
    if (!pPixels) {
        Velk::memoryError(uLength, "a tile of %u x %u pixels", task.uColumns, task.uRows);
        clientDone();
        return true;
    }
    NLogger::LogMessage("Task %d received, ( %d, %d ) -> ", static_cast<int>(task.uId), static_cast<int>(task.uX),
                        static_cast<int>(task.uY));
    render(task, pPixels.get());
    ResultPacket packet = result;
    packet.uId = task.uId;
    packet.uLength = static_cast<uint32_t>(uLength);
    NLogger::LogAppend("Sending answer, task: %d, buffer size: %d...", static_cast<int>(task.uId),
                       static_cast<int>(packet.uLength));
    // The ready packet goes out with the result, so that the server wakes up only once.
    const bool bLeaves = pShared && pShared->isStopRequested();
    const bool bLost = pClient->send({packet, {pPixels.get(), packet.uLength}, bLeaves ? end : ready});
    NLogger::LogAppend("OK\n");
    if (pShared && !bLost) ++pShared->uDelivered;
    uState = PACKET_CLIENT_READY;
    return bLeaves;
}

void RSIClient::render(const TaskPacket& task, uint8_t* pPixels) {
    if (!pRenderer) {
        pRayTracer->calculatePack(task.uX, task.uY, pPixels);
        return;
    }
    const Frame view = pRayTracer->frame();
    const Tile tile = view.tiles(pRayTracer->parameters.uPackSize).tileAt(task.uX, task.uY);
    pRenderer->render(view, tile, pPixels, size_t{tile.uColumns} * 3);
}

bool RSIClient::sendClientRequest() {
    return pClient->send({clientRequest});
}

// A send that fails is reported by the next read.
bool RSIClient::sendClientReady() {
    return pClient->send({ready});
}

void RSIClient::clientDone() {
    pClient->send({end});
}

}  // namespace rt
