// The server's side of the render protocol, for one client.
#include "net/Server.h"

#include <algorithm>
#include <cstdio>

#include "base/NLogger.h"
#include "base/Progress.h"
#include "net/ClientSlots.h"
#include "net/Protocol.h"

namespace rt {

using Velk::NLogger;

namespace {

constexpr ParametersPacket serverFilename{{PACKET_SERVER_PARAMETERS, 12}, sizeof(RaytracerParameters)};
constexpr TaskPacket packetTask{{PACKET_SERVER_TASK, 32}, 0, 0, 0, 0, 0, 0};
constexpr PacketHeader packetDone{PACKET_SERVER_DONE, 8};

}  // namespace

void RSIServer::init(const RaytracerParameters& parameters, SocketClient& client) {
    pParameters = &parameters;
    pClient = &client;
    uState = PACKET_CLIENT_READY;
    bClientWorks = false;
    bRefused = false;
    tHeard = Clock::now();
    tResult = Clock::time_point{};
}

bool RSIServer::run(Task& task) {
    uState = PACKET_CLIENT_READY;
    uMessages = 0;
    uProgressTypes = 0;
    bTaskSent = false;
    tTaskSent = Clock::now();
    while (!task.bDone) {
        if (getResponse()) return true;
        switch (uState) {
            case PACKET_CLIENT_REQUEST:
                recordProgress();
                clientRequest();
                break;
            case PACKET_CLIENT_READY:
                recordProgress();
                clientTask(task);
                break;
            case PACKET_CLIENT_RESULT:
                if (clientResult(task)) return true;
                break;
            case PACKET_CLIENT_DONE:
                bRefused = true;
                return true;
            default:
                break;  // a valid header that servers ignore
        }
    }
    return false;
}

bool RSIServer::getResponse() {
    PacketHeader header{};
    if (pClient->getResponse(&header, sizeof(header), bClientWorks ? WAIT_FOREVER : WAIT_STALL_LIMIT)) {
        ReportError("getResponse() failed\n");
        uState = PACKET_CLIENT_DONE;
        return true;
    }
    if (!isValidHeader(header)) return true;
    uState = header.uType;
    if (++uMessages > MAX_MESSAGES_PER_TILE) {
        ReportErrorFormat("More than %u messages without a tile, the client is sent away\n", MAX_MESSAGES_PER_TILE);
        return true;
    }
    return false;
}

// Only the first message of each type is progress on a task: a client that repeats itself counts as silent.
void RSIServer::recordProgress() {
    const uint32_t uBit = 1u << uState;
    if (!(uProgressTypes & uBit)) tHeard = Clock::now();
    uProgressTypes |= uBit;
}

// A send that fails is reported by the next read.
void RSIServer::clientRequest() {
    pClient->send({serverFilename, *pParameters});
    bClientWorks = true;
    NLogger::LogMessage("Server ready for tasks\n");
}

void RSIServer::clientTask(const Task& task) {
    TaskPacket packet = packetTask;
    packet.uId = task.uId;
    packet.uX = task.uX;
    packet.uY = task.uY;
    packet.uColumns = task.uColumns;
    packet.uRows = task.uRows;
    packet.uPackSize = pParameters->uPackSize;
    pClient->send({packet});
    bTaskSent = true;
    tTaskSent = Clock::now();
    bClientWorks = true;
}

// Receives the pixels straight into the image. If that fails midway, the next client's result overwrites them. True
// when the exchange failed.
bool RSIServer::clientResult(Task& task) {
    uint32_t fields[2];  // task number and length of the pixels
    if (pClient->getResponse(fields, sizeof(fields))) {
        ReportError("The connection was lost in a result");
        return true;
    }
    const auto [uId, uLength] = fields;
    if (uId != task.uId) {
        if (dropPixels(uLength)) return true;
        uState = PACKET_CLIENT_READY;
        clientTask(task);
        return false;
    }
    const size_t uRowBytes = size_t{task.uColumns} * 3;
    if (uLength != uint64_t{uRowBytes} * task.uRows) {
        ReportErrorFormat("Invalid length of the result of task %u: %u bytes for %u x %u pixels\n", uId, uLength,
                          task.uColumns, task.uRows);
        return true;
    }
    tResult = Clock::now();
    if (pClient->getRows(task.pDestination, uRowBytes, task.uRows, task.uStride)) {
        ReportErrorFormat("The connection was lost in the result of task %u\n", uId);
        return true;
    }
    NLogger::LogMessage("task %d result received\n", static_cast<int>(uId));
    bClientWorks = false;
    tHeard = Clock::now();
    tResult = Clock::time_point{};
    task.bDone = true;
    return false;
}

// Reads and discards the pixels of another task. True when there are more than a tile has, or the connection was lost.
bool RSIServer::dropPixels(uint32_t uLength) {
    const uint64_t uPackSize = pParameters->uPackSize;
    if (uLength / 3 > uPackSize * uPackSize) {
        ReportErrorFormat("Invalid length of a result for another task: %u bytes\n", uLength);
        return true;
    }
    uint8_t pixels[4096];
    for (uint32_t uPart = 0; uLength; uLength -= uPart) {
        uPart = std::min(uLength, uint32_t{sizeof(pixels)});
        if (pClient->getResponse(pixels, uPart)) {
            ReportError("The connection was lost in a result for another task");
            return true;
        }
    }
    return false;
}

void RSIServer::done() {
    pClient->send({packetDone});
    uState = PACKET_SERVER_DONE;
}

void* ServerProc(void* pSlot) {
    ClientSlot& slot = *static_cast<ClientSlot*>(pSlot);
    TaskBoard& board = *slot.pBoard;
    RSIServer& server = slot.exchange;
    server.init(*board.pParameters, slot.client);
    while (Task* pTask = board.takeTask()) {
        slot.pSlots->taskTaken(slot, *pTask);
        Velk::printProgress("Current task: %d/%d\n", static_cast<int>(pTask->uId + 1),
                            static_cast<int>(board.vTasks.uSize));
        if (server.run(*pTask)) {
            board.giveBack(*pTask);
            if (server.bRefused) slot.pSlots->taskRefused(slot);
            if (slot.client.tReceived.load() == SocketClient::Clock::time_point{}) {
                NLogger::LogMessage("Client %s never spoke, task %u is untaken again\n",
                                    addressText(slot.client.sAddress).c_str(), pTask->uId);
            }
            break;
        }
        slot.pSlots->taskDelivered(slot, RSIServer::Clock::now() - server.tTaskSent);
        board.finishTask(*pTask);
    }
    server.done();
    slot.pSlots->leave(slot);
    return nullptr;
}

}  // namespace rt
